// A whole system in one thread and one process, on virtual time: an event
// loop on a simulated kernel and a simulated network, all chance drawn from
// one seed. Equal seeds give equal runs, so a failure is replayed by its seed.
//
//     SimWorld world(seed);
//     Finder finder(world.loop(), ...);
//     Daemon daemon(world.loop(), ...);
//     ASSERT_TRUE(world.run_until([&] { return daemon.is_ready(); }, seconds(10)))
//         << world.report();
//     world.network().cut_random();
//
// What runs in the world must be destroyed before it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "framework/base/event_loop.h"
#include "tests/simulation/sim_world_agenda.h"
#include "tests/simulation/sim_world_kernel.h"
#include "tests/simulation/sim_world_network.h"
#include "tests/simulation/sim_world_random.h"
#include "tests/simulation/sim_world_trace.h"

class SimWorld {
 public:
  explicit SimWorld(std::uint64_t seed);

  [[nodiscard]] std::uint64_t seed() const { return _seed; }
  [[nodiscard]] EventLoop& loop() { return _loop; }
  [[nodiscard]] SimKernel& kernel() { return _kernel; }
  // Its faults and its manners are set here.
  [[nodiscard]] SimNetwork& network() { return _network; }
  // For what a test draws itself.
  [[nodiscard]] SimRandom& random() { return _random; }
  [[nodiscard]] const SimTrace& trace() const { return _trace; }
  [[nodiscard]] TimePoint now() const { return _agenda.now(); }

  // Adds a line of the test's own to the trace.
  void note(std::string_view text) { _trace.add(text); }

  // Turns the loop until `done` answers true (asked before each turn; true)
  // or `limit` of virtual time has passed (false).
  bool run_until(const std::function<bool()>& done, Duration limit);
  void run_for(Duration time);

  // For those who run on the world's time beside its loop (SimProcesses): when
  // anything happens next, and letting all happen that does until then.
  [[nodiscard]] TimePoint next_event() const {
    return _agenda.is_empty() ? Kernel::NEVER : _agenda.next_time();
  }
  void agenda_until(TimePoint time);

  // Seed, trace hash and the last events, for a failure message.
  [[nodiscard]] std::string report() const;

 private:
  std::uint64_t _seed;
  SimRandom _random;
  SimAgenda _agenda;
  SimTrace _trace;
  SimNetwork _network;
  SimKernel _kernel;
  EventLoop _loop;
};
