// The kernel as the event loop sees it: a clock, a way to sleep until a
// descriptor is ready, and random bytes. EpollKernel is the real one; tests
// run whole systems on a simulated one in virtual time.
#pragma once

#include <cstdint>
#include <span>

#include "framework/base/clock.h"

// What a descriptor is watched for, and what it is ready for. An error or a
// hang-up makes a descriptor ready for whatever it was watched for, so the
// next read or write reports it.
enum class IoInterest : std::uint8_t { NONE = 0, READ = 1, WRITE = 2, READ_WRITE = 3 };

[[nodiscard]] constexpr bool wants_read(IoInterest interest) {
  return (static_cast<unsigned>(interest) & 1U) != 0;
}
[[nodiscard]] constexpr bool wants_write(IoInterest interest) {
  return (static_cast<unsigned>(interest) & 2U) != 0;
}

struct IoReady {
  int fd;
  IoInterest ready;
};

class Kernel {
 public:
  virtual ~Kernel() = default;

  // Never goes back.
  virtual TimePoint now() = 0;

  // Sets what `fd` is watched for; NONE stops watching it. Level-triggered:
  // a descriptor stays ready until it was read or written dry.
  virtual void watch(int fd, IoInterest interest) = 0;

  // What wait() takes besides a time: not to sleep, and to sleep without limit.
  static constexpr TimePoint AT_ONCE = TimePoint::min();
  static constexpr TimePoint NEVER = TimePoint::max();

  // Sleeps until a watched descriptor is ready or now() has come to `until`,
  // then fills `ready` from the front. Answers how many entries it filled; 0
  // when the time has come or after a signal.
  virtual std::size_t wait(TimePoint until, std::span<IoReady> ready) = 0;

  // Unpredictable bytes (in a simulation: drawn from its seed).
  virtual void random_bytes(std::span<std::uint8_t> out) = 0;

 protected:
  Kernel() = default;
  Kernel(const Kernel&) = default;
  Kernel& operator=(const Kernel&) = default;
};
