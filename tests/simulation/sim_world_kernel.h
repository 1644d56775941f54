// The kernel of a simulation: sleeping moves virtual time to the next event.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "framework/base/kernel.h"
#include "tests/simulation/sim_world_agenda.h"
#include "tests/simulation/sim_world_network.h"
#include "tests/simulation/sim_world_random.h"
#include "tests/simulation/sim_world_trace.h"

// The simulated system can never go on by itself, or goes on for ever without
// time passing.
class SimStuck : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class SimKernel final : public Kernel {
 public:
  // So many waits in a row without time passing are taken for a busy loop.
  static constexpr std::uint64_t MAX_WAITS_AT_ONE_TIME = 1'000'000;

  SimKernel(SimAgenda& agenda, SimRandom& random, SimTrace& trace, SimNetwork& network);

  TimePoint now() override { return _agenda.now(); }
  // Only descriptors of the simulated network.
  void watch(int fd, IoInterest interest) override;
  // Reports the ready descriptors in a drawn order. Throws SimStuck.
  std::size_t wait(TimePoint until, std::span<IoReady> ready) override;
  void random_bytes(std::span<std::uint8_t> out) override { _random.fill(out); }

 private:
  void count_wait();
  void let_due_events_happen();
  [[nodiscard]] std::size_t report_ready(std::span<IoReady> ready);
  [[noreturn]] void stuck(const std::string& reason) const;

  SimAgenda& _agenda;
  SimRandom& _random;
  SimTrace& _trace;
  SimNetwork& _network;
  std::map<int, IoInterest> _watched;
  TimePoint _last_wait{};
  std::uint64_t _waits_at_one_time = 0;
};
