// Fixture: strangers at a real finder and a real policyd over real TCP, which go
// on serving, hold no more memory than they may, and say no more than a line for
// each peer they refuse.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "framework/xrl/xrl_args.h"
#include "tests/integration/control_plane.h"
#include "tests/integration/hostile_stranger.h"

class HostileProcesses : public testing::Test {
 protected:
  using Strangers = std::vector<std::unique_ptr<Stranger>>;

  static constexpr std::size_t KIB = 1024;
  static constexpr std::size_t MIB = 1024 * KIB;
  // What the allocator keeps of what was given back, and pages touched for the
  // first time: code that had not run yet, and the 256 KiB that all input is read
  // into.
  static constexpr std::size_t SLACK = 2 * MIB;

  void SetUp() override;

  // The key of that method of policyd.
  std::string key_of(const std::string& method);
  std::string ask(const std::string& request) { return plane.client().ask(request); }
  EventLoop& loop() { return plane.client().loop(); }
  bool turn_until(const std::function<bool()>& done) { return plane.client().turn_until(done); }

  void expect_service();
  static std::size_t refused(const Strangers& strangers);
  static std::size_t count_lines(const std::string& text);
  static std::size_t resident_bytes(pid_t pid);
  // Passes where a sanitizer has most of the memory.
  static void expect_resident_at_most(pid_t pid, std::size_t bytes);

  ControlPlane plane;
  NetAddress finder_address;
  NetAddress policy_address;
  XrlArgs resolution;

 private:
  void start();
  void read_resolution();
};
