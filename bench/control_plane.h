// The programs of this build as processes for a benchmark to measure, and the
// benchmark's own place among them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "framework/base/event_loop.h"
#include "framework/xrl/router/xrl_std_router.h"
#include "tests/support/child_process.h"

class ControlPlane {
 public:
  // Starts a finder and registers with it. Children run where the caller does
  // unless told otherwise; -1 is everywhere they may.
  ControlPlane();

  [[nodiscard]] std::unique_ptr<ChildProcess> start_policyd(int cpu) const;
  // `description` is the path of a switch's description. Returns when all of
  // it is registered.
  [[nodiscard]] std::unique_ptr<ChildProcess> start_chassis(const std::string& description,
                                                            int cpu) const;
  // Asks policyd until it answers.
  void wait_for_policyd();

  // Where programs are told to find the finder: HOST:PORT.
  [[nodiscard]] std::string finder_address() const;
  [[nodiscard]] const ChildProcess& finder() const { return _finder; }
  [[nodiscard]] EventLoop& loop() { return _loop; }
  [[nodiscard]] XrlStdRouter& router() { return _router; }
  // Turns the loop until it is true.
  template <typename Condition>
  void wait_until(Condition condition) {
    while (!condition()) _loop.run();
  }

 private:
  [[nodiscard]] static std::uint16_t listening_port(ChildProcess& finder);

  ChildProcess _finder;
  std::uint16_t _port;
  EventLoop _loop;
  XrlStdRouter _router;
};

// The path of a program of this build.
[[nodiscard]] std::string program(const char* name);
// The number that stands behind the mark.
[[nodiscard]] std::uint16_t port_after(const std::string& text, const std::string& mark);
