// A kernel that does what a test tells it and remembers what it was asked.
#pragma once

#include <algorithm>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "framework/base/kernel.h"
#include "framework/base/network.h"

class ScriptedKernel final : public Kernel {
 public:
  TimePoint time{};
  // What the waits to come report; none left: nothing is ready.
  std::deque<std::vector<IoReady>> ready_sets;

  std::vector<TimePoint> limits;         // of the waits so far
  std::vector<std::string> watch_calls;  // "5 READ"
  std::size_t clock_reads = 0;

  TimePoint now() override {
    ++clock_reads;
    return time;
  }
  void watch(int fd, IoInterest interest) override {
    static constexpr const char* NAMES[] = {"NONE", "READ", "WRITE", "READ_WRITE"};
    watch_calls.push_back(std::to_string(fd) + " " + NAMES[static_cast<std::size_t>(interest)]);
  }
  // Passes the time it was asked to sleep, unless something is ready.
  std::size_t wait(TimePoint until, std::span<IoReady> ready) override {
    limits.push_back(until);
    if (ready_sets.empty()) {
      if (until != NEVER) time = std::max(time, until);
      return 0;
    }
    const std::vector<IoReady> set = ready_sets.front();
    ready_sets.pop_front();
    std::copy(set.begin(), set.end(), ready.begin());
    return set.size();
  }
  void random_bytes(std::span<std::uint8_t> out) override {
    std::fill(out.begin(), out.end(), std::uint8_t{0});
  }
};
