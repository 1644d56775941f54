// The machine's kernel: epoll, the monotonic clock and the kernel's random
// bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "framework/base/kernel.h"

class EpollKernel final : public Kernel {
 public:
  // Which system call sleeps. MILLISECONDS is for kernels that do not have
  // the finer one; it is also what BEST turns to when it finds none.
  enum class Sleep : std::uint8_t { BEST, MILLISECONDS };

  explicit EpollKernel(Sleep sleep = Sleep::BEST);
  ~EpollKernel() override;
  EpollKernel(const EpollKernel&) = delete;
  EpollKernel& operator=(const EpollKernel&) = delete;

  TimePoint now() override;
  // A regular file, which cannot be waited for, is always ready.
  void watch(int fd, IoInterest interest) override;
  // Reports at most MAX_READY descriptors at a time.
  std::size_t wait(Duration timeout, std::span<IoReady> ready) override;
  void random_bytes(std::span<std::uint8_t> out) override;

  static constexpr std::size_t MAX_READY = 64;

 private:
  [[nodiscard]] bool forget_always_ready(int fd);

  int _epoll;
  Sleep _sleep;
  std::vector<IoInterest> _interest;   // by descriptor, as epoll knows it
  std::vector<IoReady> _always_ready;  // regular files
};
