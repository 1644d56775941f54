#include "tests/simulation/sim_process.h"

#include <algorithm>
#include <new>
#include <string>

#include "tests/simulation/sim_memory.h"

SimProcess::SimProcess(SimWorld& world)
    : _world(world), _loop(static_cast<Kernel&>(*this), static_cast<Network&>(*this)) {}

void SimProcess::turn() {
  const bool is_short = _turns_without_memory > 0;
  try {
    const SimMemory::Shortage shortage(is_short);
    _loop.run();
  } catch (const std::bad_alloc&) {
    _has_died = true;
  }
  if (!is_short || SimMemory::Shortage::failures() == 0) return;
  --_turns_without_memory;
  ++_shortages;
}

void SimProcess::begin_anew() {
  _frozen = _has_died = _descriptors.is_lost = false;
  _turns_without_memory = 0;
  poked = true;
}

void SimProcess::watch(int fd, IoInterest interest) {
  const SimMemory::Exempt exempt;
  const bool watched = interest != IoInterest::NONE;
  _world.network().set_watched(fd, watched, this);
  if (watched) {
    _watched[fd] = interest;
    poked = true;
  } else {
    _watched.erase(fd);
  }
}

std::size_t SimProcess::wait(TimePoint until, std::span<IoReady> ready) {
  const SimMemory::Exempt exempt;
  _until = until;
  _found.clear();
  for (const auto& [fd, interest] : _watched) {
    const auto both =
        static_cast<unsigned>(interest) & static_cast<unsigned>(_world.network().readiness(fd));
    if (both != 0) _found.push_back({fd, static_cast<IoInterest>(both)});
  }
  _world.random().shuffle(std::span(_found));
  const std::size_t count = std::min(_found.size(), ready.size());
  std::copy_n(_found.begin(), count, ready.begin());
  // What was found is dealt with in this turn; whether all of it was is asked again.
  poked = count != 0;
  return count;
}

template <typename Ask>
auto SimProcess::ask_network(Ask ask) {
  const SimMemory::Exempt exempt;
  _world.network().set_owner(&_descriptors);
  const auto answer = ask(_world.network());
  _world.network().set_owner(nullptr);
  return answer;
}

int SimProcess::listen(const NetAddress& address) {
  return ask_network([&](SimNetwork& network) { return network.listen(address); });
}

int SimProcess::accept(int listener, NetAddress& peer) {
  return ask_network([&](SimNetwork& network) { return network.accept(listener, peer); });
}

int SimProcess::connect(const NetAddress& address) {
  return ask_network([&](SimNetwork& network) { return network.connect(address); });
}

int SimProcess::connect_result(int fd) {
  return ask_network([&](SimNetwork& network) { return network.connect_result(fd); });
}

std::ptrdiff_t SimProcess::read(int fd, std::span<std::uint8_t> into) {
  return ask_network([&](SimNetwork& network) { return network.read(fd, into); });
}

std::ptrdiff_t SimProcess::write(int fd, std::span<const std::uint8_t> from) {
  return ask_network([&](SimNetwork& network) { return network.write(fd, from); });
}

NetAddress SimProcess::local_address(int fd) {
  return ask_network([&](SimNetwork& network) { return network.local_address(fd); });
}

void SimProcess::close(int fd) {
  const SimMemory::Exempt exempt;
  _world.network().close(fd);
}

bool SimProcess::look_up(const std::string& host, IPv4& address) {
  return ask_network([&](SimNetwork& network) { return network.look_up(host, address); });
}

bool SimProcesses::run_until(const std::function<bool()>& done, Duration limit) {
  const TimePoint end = _world.now() + limit;
  std::uint64_t turns_at_one_time = 0;
  for (;;) {
    if (done()) return true;
    if (turn_those_due()) {
      if (++turns_at_one_time > MAX_TURNS_AT_ONE_TIME) {
        throw SimStuck("simulation stuck: the system is busy without end; the last events were\n" +
                       _world.trace().tail(20));
      }
      continue;
    }
    const TimePoint next = next_time();
    turns_at_one_time = 0;
    _world.agenda_until(std::min(next, end));
    if (next > end) return false;
  }
}

bool SimProcesses::turn_those_due() {
  _due.clear();
  for (SimProcess* process : _processes) {
    if (process->is_due()) _due.push_back(process);
  }
  _world.random().shuffle(std::span(_due));
  for (SimProcess* process : _due) process->turn();
  return !_due.empty();
}

TimePoint SimProcesses::next_time() const {
  TimePoint next = _world.next_event();
  for (const SimProcess* process : _processes) next = std::min(next, process->next_time());
  return next;
}
