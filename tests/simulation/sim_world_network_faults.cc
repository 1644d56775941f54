// What harms connections.
#include <cerrno>
#include <utility>

#include "tests/simulation/sim_world_network.h"

std::vector<SimConnection> SimNetwork::connections() const {
  std::vector<SimConnection> standing;
  for (const auto& [id, connection] : _connections) {
    const bool is_whole = !connection.ends[CLIENT].broken && !connection.ends[SERVER].broken;
    if (connection.stage == Stage::STANDING && is_whole) {
      standing.push_back({id, connection.client, connection.listener,
                          owner_of(connection.ends[CLIENT]), owner_of(connection.ends[SERVER])});
    }
  }
  return standing;
}

bool SimNetwork::cut(std::uint64_t id) {
  Connection* connection = find(id);
  if (connection == nullptr || connection->stage != Stage::STANDING) return false;
  _trace.add("c" + std::to_string(id) + " cut");
  break_end(*connection, CLIENT, ECONNRESET);
  break_end(*connection, SERVER, ECONNRESET);
  return true;
}

bool SimNetwork::cut_random() {
  const std::vector<SimConnection> standing = connections();
  return !standing.empty() && cut(standing[_random.below(standing.size())].id);
}

std::size_t SimNetwork::cut_all(const NetAddress& listener) {
  std::size_t count = 0;
  for (const SimConnection& connection : connections()) {
    if (connection.listener == listener && cut(connection.id)) ++count;
  }
  return count;
}

bool SimNetwork::hold(std::uint64_t id) {
  Connection* connection = find(id);
  if (connection == nullptr) return false;
  _trace.add("c" + std::to_string(id) + " hold");
  connection->held = true;
  return true;
}

bool SimNetwork::release(std::uint64_t id) {
  Connection* connection = find(id);
  if (connection == nullptr || connection->severed) return false;
  _trace.add("c" + std::to_string(id) + " release");
  connection->held = false;
  for (const Side from : {CLIENT, SERVER}) {
    for (const Segment& segment : connection->ends[from].outgoing.items()) {
      deliver_at(segment.due, id, from);
    }
  }
  return true;
}

bool SimNetwork::sever(std::uint64_t id) {
  Connection* connection = find(id);
  if (connection == nullptr || connection->stage != Stage::STANDING) return false;
  _trace.add("c" + std::to_string(id) + " sever");
  connection->held = connection->severed = true;
  _agenda.at(_agenda.now() + SILENCE, [this, id] { notice_silence(id); });
  return true;
}

// An end whose host went without a word.
void SimNetwork::lose_end(Connection& connection, Side side) {
  if (connection.stage == Stage::STANDING && connection.ends[other(side)].open) {
    connection.ends[side].open = false;
    connection.ends[side].inbox.clear();
    static_cast<void>(sever(connection.id));
  } else {
    close_end(connection, side, Mark::RESET);
  }
}

void SimNetwork::notice_silence(std::uint64_t id) {
  Connection* connection = find(id);
  if (connection == nullptr) return;
  for (const Side side : {CLIENT, SERVER}) break_end(*connection, side, ETIMEDOUT);
}

const SimDescriptors* SimNetwork::owner_of(const End& end) const {
  const Descriptor* const own = find_descriptor(end.fd);
  return own != nullptr ? own->owner : nullptr;
}

bool SimNetwork::cut_after(std::uint64_t id, unsigned arrivals, std::uint64_t& sprung) {
  Connection* connection = find(id);
  if (connection == nullptr) return false;
  connection->trap = {arrivals, &sprung};
  return true;
}

void SimNetwork::cut_next(const SimDescriptors& from, const SimDescriptors& to, unsigned arrivals,
                          unsigned count, std::uint64_t& sprung) {
  _traps.push_back({&from, &to, count, {arrivals, &sprung}});
}

void SimNetwork::take_traps_back() {
  _traps.clear();
  for (auto& [id, connection] : _connections) connection.trap = {};
}

// A connection stands: it may be one that is to be cut.
void SimNetwork::set_trap(Connection& connection, const SimDescriptors* to) {
  for (TrapForTheNext& next : _traps) {
    if (next.count == 0 || next.from != owner_of(connection.ends[CLIENT]) || next.to != to) {
      continue;
    }
    --next.count;
    connection.trap = next.trap;
    if (next.trap.arrivals_left == 0) spring(connection);
    return;
  }
}

// A write arrived.
void SimNetwork::arrived(Connection& connection) {
  Trap& trap = connection.trap;
  if (trap.sprung != nullptr && --trap.arrivals_left == 0) spring(connection);
}

void SimNetwork::spring(Connection& connection) {
  ++*std::exchange(connection.trap.sprung, nullptr);
  static_cast<void>(cut(connection.id));
}
