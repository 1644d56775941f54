// A machine on which only time happens: sleeping takes none of the test's.
#pragma once

#include <algorithm>
#include <cerrno>

#include "framework/base/kernel.h"
#include "framework/base/network.h"

class ManualKernel final : public Kernel {
 public:
  TimePoint now() override { return _now; }
  void watch(int /*fd*/, IoInterest /*interest*/) override {}
  std::size_t wait(TimePoint until, std::span<IoReady> /*ready*/) override {
    if (until != NEVER) _now = std::max(_now, until);
    return 0;
  }
  void random_bytes(std::span<std::uint8_t> /*out*/) override {}

 private:
  TimePoint _now{};
};

class NoNetwork final : public Network {
 public:
  int listen(const NetAddress& /*address*/) override { return -ENOSYS; }
  int accept(int /*listener*/, NetAddress& /*peer*/) override { return -ENOSYS; }
  int connect(const NetAddress& /*address*/) override { return -ENOSYS; }
  int connect_result(int /*fd*/) override { return -ENOSYS; }
  std::ptrdiff_t read(int /*fd*/, std::span<std::uint8_t> /*into*/) override { return -ENOSYS; }
  std::ptrdiff_t write(int /*fd*/, std::span<const std::uint8_t> /*from*/) override {
    return -ENOSYS;
  }
  NetAddress local_address(int /*fd*/) override { return {}; }
  void close(int /*fd*/) override {}
  bool look_up(const std::string& /*host*/, IPv4& /*address*/) override { return false; }
};
