// A process of a simulated system: an event loop of its own on the world's time
// and network, so that it can be stopped while the others go on, run out of
// descriptors or of memory, or vanish with its host.
//
//     SimProcess process(world);
//     Daemon daemon(process.loop(), ...);
//     SimProcesses all(world, {&process, ...});
//     all.run_until([&] { return daemon.is_ready(); }, seconds(10));
//
// What runs in it must be destroyed before it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "framework/base/event_loop.h"
#include "framework/base/kernel.h"
#include "framework/base/network.h"
#include "tests/simulation/sim_world.h"

class SimProcess final : private Kernel, private Network, private SimWaiter {
 public:
  explicit SimProcess(SimWorld& world);

  [[nodiscard]] EventLoop& loop() { return _loop; }
  [[nodiscard]] SimDescriptors& descriptors() { return _descriptors; }
  [[nodiscard]] const SimDescriptors& descriptors() const { return _descriptors; }

  // A frozen one takes no turns; the network goes on taking what it is sent.
  void freeze(bool frozen) { _frozen = frozen; }
  [[nodiscard]] bool is_frozen() const { return _frozen; }
  // It has no memory in its next turns that ask for some, so many of them.
  void run_out_of_memory(unsigned turns) { _turns_without_memory = turns; }
  // Turns that had no memory so far.
  [[nodiscard]] std::uint64_t shortages() const { return _shortages; }
  // A turn ended with an exception: it would have died of the lack of memory.
  [[nodiscard]] bool has_died() const { return _has_died; }

  // Whether a turn would do anything now, and when the next one would.
  [[nodiscard]] bool is_due() const { return !_frozen && (poked || _until <= _world.now()); }
  [[nodiscard]] TimePoint next_time() const { return _frozen ? NEVER : _until; }
  // One turn of its loop, which does not sleep.
  void turn();
  // Before it is entered from outside its turns, so that its clock is right.
  void enter() {
    turn();
    poked = true;
  }
  // Another process begins in its place.
  void begin_anew();

 private:
  TimePoint now() override { return _world.now(); }
  void watch(int fd, IoInterest interest) override;
  std::size_t wait(TimePoint until, std::span<IoReady> ready) override;
  void random_bytes(std::span<std::uint8_t> out) override { _world.random().fill(out); }

  int listen(const NetAddress& address) override;
  int accept(int listener, NetAddress& peer) override;
  int connect(const NetAddress& address) override;
  int connect_result(int fd) override;
  std::ptrdiff_t read(int fd, std::span<std::uint8_t> into) override;
  std::ptrdiff_t write(int fd, std::span<const std::uint8_t> from) override;
  NetAddress local_address(int fd) override;
  void close(int fd) override;
  bool look_up(const std::string& host, IPv4& address) override;
  // Asks the world's network on this process's account.
  template <typename Ask>
  auto ask_network(Ask ask);

  SimWorld& _world;
  SimDescriptors _descriptors;
  std::map<int, IoInterest> _watched;
  TimePoint _until = AT_ONCE;  // when its loop goes on by itself
  bool _frozen = false;
  bool _has_died = false;
  unsigned _turns_without_memory = 0;
  std::uint64_t _shortages = 0;
  std::vector<IoReady> _found;
  EventLoop _loop;
};

// Lets processes live side by side, in a drawn order where several are due.
class SimProcesses {
 public:
  // So many turns without time passing are taken for a busy loop.
  static constexpr std::uint64_t MAX_TURNS_AT_ONE_TIME = 1'000'000;

  SimProcesses(SimWorld& world, std::vector<SimProcess*> processes)
      : _world(world), _processes(std::move(processes)) {}

  // Until `done` answers true (asked before each turn; true) or `limit` of
  // virtual time has passed (false). Throws SimStuck.
  bool run_until(const std::function<bool()>& done, Duration limit);

 private:
  [[nodiscard]] bool turn_those_due();
  [[nodiscard]] TimePoint next_time() const;

  SimWorld& _world;
  std::vector<SimProcess*> _processes;
  std::vector<SimProcess*> _due;
};
