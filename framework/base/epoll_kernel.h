// The machine's kernel: epoll, the monotonic clock and the kernel's random
// bytes.
//
// What ends a sleep is a timer descriptor among the watched ones. It is set
// only when a sleep is to end before the time it is set to, so that a limit far
// away, of which there nearly always is one, costs the sleeps before it nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "framework/base/kernel.h"

class EpollKernel final : public Kernel {
 public:
  // Ends the process when the machine has no descriptors left for it.
  EpollKernel();
  ~EpollKernel() override;
  EpollKernel(const EpollKernel&) = delete;
  EpollKernel& operator=(const EpollKernel&) = delete;

  TimePoint now() override;
  // A regular file, which cannot be waited for, is always ready.
  void watch(int fd, IoInterest interest) override;
  // Reports at most MAX_READY descriptors at a time.
  std::size_t wait(TimePoint until, std::span<IoReady> ready) override;
  void random_bytes(std::span<std::uint8_t> out) override;

  static constexpr std::size_t MAX_READY = 64;

 private:
  [[nodiscard]] bool forget_always_ready(int fd);
  void wake_by(TimePoint when);
  [[nodiscard]] std::size_t look(int timeout, std::span<IoReady> ready);

  int _epoll;
  int _alarm;                          // a timer descriptor, watched for always
  TimePoint _alarm_at = NEVER;         // what it is set to
  TimePoint _now{};                    // as last asked for
  std::vector<IoInterest> _interest;   // by descriptor, as epoll knows it
  std::vector<IoReady> _always_ready;  // regular files
};
