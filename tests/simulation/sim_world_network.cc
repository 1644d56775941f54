#include "tests/simulation/sim_world_network.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <utility>

#include "framework/base/xlog.h"

namespace {

constexpr int FIRST_DESCRIPTOR = 3;
constexpr std::uint16_t FIRST_FREE_PORT = 40000;
constexpr std::size_t QUEUE_LIMIT = 128;

IoInterest interest_of(bool readable, bool writable) {
  return static_cast<IoInterest>((readable ? 1U : 0U) | (writable ? 2U : 0U));
}

// Enough to see in a trace that two runs moved other bytes.
std::string summary(std::span<const std::uint8_t> bytes) {
  SimHash hash;
  hash.add(bytes);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%zu bytes %016" PRIx64, bytes.size(), hash.value());
  return text.data();
}

bool is_tcp(const NetAddress& address) {
  return address.family == NetAddress::Family::TCP;
}

}  // namespace

SimNetwork::SimNetwork(SimAgenda& agenda, SimRandom& random, SimTrace& trace)
    : _agenda(agenda), _random(random), _trace(trace), _next_port(FIRST_FREE_PORT) {}

int SimNetwork::listen(const NetAddress& address) {
  if (!is_tcp(address) && address.path.empty()) return -EINVAL;
  NetAddress own = address;
  if (is_tcp(own) && own.port == 0) own.port = free_port();
  if (find_listener(own) != nullptr) return -EADDRINUSE;
  const int fd = free_descriptor();
  if (fd < 0) return fd;
  Descriptor& listener = _descriptors[fd];
  listener.kind = Descriptor::Kind::LISTENER;
  listener.address = own;
  _trace.add("listen " + own.str());
  return fd;
}

int SimNetwork::accept(int listener, NetAddress& peer) {
  Descriptor& listening = descriptor(listener, Descriptor::Kind::LISTENER);
  if (listening.queue.empty()) return -EAGAIN;
  if (_accept_error != 0) return _accept_error;
  const std::uint64_t id = listening.queue.front();
  listening.queue.pop_front();
  Connection& connection = _connections.at(id);
  const int fd = free_descriptor();
  if (fd < 0) {
    _trace.add(name(connection, SERVER) + " no descriptor");
    close_end(connection, SERVER, Mark::RESET);
    return fd;
  }
  Descriptor& stream = _descriptors[fd];
  stream.connection = id;
  stream.side = SERVER;
  peer = connection.client;
  _trace.add(name(connection, SERVER) + " accept");
  return fd;
}

int SimNetwork::connect(const NetAddress& address) {
  if (!is_tcp(address) && address.path.empty()) return -EINVAL;
  const int fd = free_descriptor();
  if (fd < 0) return fd;
  Connection connection{};
  connection.id = ++_last_connection;
  connection.server = address;
  connection.client =
      is_tcp(address) ? NetAddress::tcp(address.host, free_port()) : NetAddress::unix_path({});
  Descriptor& stream = _descriptors[fd];
  stream.connection = connection.id;
  _trace.add(name(connection, CLIENT) + " connect " + address.str());
  const std::uint64_t id = connection.id;
  _connections.emplace(id, std::move(connection));
  _agenda.at(_agenda.now() + drawn_delay(), [this, id] { finish_connect(id); });
  return fd;
}

int SimNetwork::connect_result(int fd) {
  Connection& connection = connection_of(descriptor(fd, Descriptor::Kind::STREAM));
  if (connection.stage == Stage::CONNECTING) return -EINPROGRESS;
  return -std::exchange(connection.ends[CLIENT].error, 0);
}

std::ptrdiff_t SimNetwork::read(int fd, std::span<std::uint8_t> into) {
  const Descriptor& stream = descriptor(fd, Descriptor::Kind::STREAM);
  Connection& connection = connection_of(stream);
  End& end = connection.ends[stream.side];
  if (into.empty()) return 0;
  if (end.inbox.empty()) {
    if (end.error != 0) return -std::exchange(end.error, 0);
    return end.broken || end.at_end ? 0 : -EAGAIN;
  }
  const std::size_t count = drawn_part(std::min(into.size(), end.inbox.size()));
  const auto last = end.inbox.begin() + static_cast<std::ptrdiff_t>(count);
  std::copy(end.inbox.begin(), last, into.begin());
  end.inbox.erase(end.inbox.begin(), last);
  _trace.add(name(connection, stream.side) + " read " + summary(into.first(count)));
  return static_cast<std::ptrdiff_t>(count);
}

std::ptrdiff_t SimNetwork::write(int fd, std::span<const std::uint8_t> from) {
  const Descriptor& stream = descriptor(fd, Descriptor::Kind::STREAM);
  Connection& connection = connection_of(stream);
  End& end = connection.ends[stream.side];
  if (end.error != 0) return -std::exchange(end.error, 0);
  if (end.broken) return -EPIPE;
  if (from.empty()) return 0;
  const std::size_t space = room(connection, stream.side);
  if (connection.stage == Stage::CONNECTING || space == 0) return -EAGAIN;
  const auto bytes = from.first(drawn_part(std::min(from.size(), space)));
  _trace.add(name(connection, stream.side) + " write " + summary(bytes));
  send(connection, stream.side, Mark::DATA, {bytes.begin(), bytes.end()});
  return static_cast<std::ptrdiff_t>(bytes.size());
}

NetAddress SimNetwork::local_address(int fd) {
  const auto found = _descriptors.find(fd);
  if (found == _descriptors.end()) return {};
  const Descriptor& own = found->second;
  if (own.kind == Descriptor::Kind::LISTENER) return own.address;
  const Connection& connection = connection_of(own);
  return own.side == CLIENT ? connection.client : connection.server;
}

void SimNetwork::close(int fd) {
  const auto found = _descriptors.find(fd);
  XLOG_ASSERT(found != _descriptors.end(), "descriptor " + std::to_string(fd) + " is not open");
  XLOG_ASSERT(!found->second.watched, "descriptor " + std::to_string(fd) + " is still watched");
  const Descriptor closing = std::move(found->second);
  _descriptors.erase(found);
  if (closing.kind == Descriptor::Kind::STREAM) {
    Connection& connection = connection_of(closing);
    const bool is_read_dry = connection.ends[closing.side].inbox.empty();
    close_end(connection, closing.side, is_read_dry ? Mark::END : Mark::RESET);
    return;
  }
  _trace.add("close " + closing.address.str());
  for (const std::uint64_t id : closing.queue) {
    close_end(_connections.at(id), SERVER, Mark::RESET);
  }
}

bool SimNetwork::look_up(const std::string& host, IPv4& address) {
  if (IPv4::parse(host, address)) return true;
  ++_look_ups;
  const auto found = _host_names.find(host);
  if (found == _host_names.end()) return false;
  address = found->second;
  return true;
}

IoInterest SimNetwork::readiness(int fd) const {
  const Descriptor& own = _descriptors.at(fd);
  if (own.kind == Descriptor::Kind::LISTENER) return interest_of(!own.queue.empty(), false);
  const Connection& connection = _connections.at(own.connection);
  const End& end = connection.ends[own.side];
  if (end.broken) return IoInterest::READ_WRITE;
  if (connection.stage == Stage::CONNECTING) return IoInterest::NONE;
  return interest_of(!end.inbox.empty() || end.at_end, room(connection, own.side) != 0);
}

void SimNetwork::set_watched(int fd, bool watched) {
  const auto found = _descriptors.find(fd);
  XLOG_ASSERT(found != _descriptors.end(), "descriptor " + std::to_string(fd) + " is not open");
  found->second.watched = watched;
}

void SimNetwork::set_delay(Duration low, Duration high) {
  _delay_low = low;
  _delay_high = std::max(low, high);
}

void SimNetwork::set_partial(unsigned per_mille) {
  _partial_per_mille = per_mille;
}

void SimNetwork::set_buffer_size(std::size_t bytes) {
  _buffer_size = bytes;
}

void SimNetwork::set_descriptor_limit(std::size_t limit) {
  _descriptor_limit = limit;
}

void SimNetwork::set_host_state(IPv4 host, SimHostState state) {
  _host_states[host] = state;
}

void SimNetwork::set_host_name(const std::string& name, IPv4 host) {
  _host_names[name] = host;
}

void SimNetwork::forget_host_name(const std::string& name) {
  _host_names.erase(name);
}

std::vector<SimConnection> SimNetwork::connections() const {
  std::vector<SimConnection> standing;
  for (const auto& [id, connection] : _connections) {
    const bool is_whole = !connection.ends[CLIENT].broken && !connection.ends[SERVER].broken;
    if (connection.stage == Stage::STANDING && is_whole) {
      standing.push_back({id, connection.client, connection.listener});
    }
  }
  return standing;
}

bool SimNetwork::cut(std::uint64_t id) {
  Connection* connection = find(id);
  if (connection == nullptr || connection->stage != Stage::STANDING) return false;
  _trace.add("c" + std::to_string(id) + " cut");
  break_end(*connection, CLIENT);
  break_end(*connection, SERVER);
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
  if (connection == nullptr) return false;
  _trace.add("c" + std::to_string(id) + " release");
  connection->held = false;
  for (const Side from : {CLIENT, SERVER}) {
    for (const Segment& segment : connection->ends[from].outgoing) {
      _agenda.at(segment.due, [this, id, from] { deliver_due(id, from); });
    }
  }
  return true;
}

std::string SimNetwork::name(const Connection& connection, Side side) {
  return "c" + std::to_string(connection.id) + (side == CLIENT ? " client" : " server");
}

int SimNetwork::free_descriptor() const {
  if (_descriptors.size() >= _descriptor_limit) return -EMFILE;
  int fd = FIRST_DESCRIPTOR;
  for (const auto& entry : _descriptors) {
    if (entry.first != fd) break;
    ++fd;
  }
  return fd;
}

SimNetwork::Descriptor& SimNetwork::descriptor(int fd, Descriptor::Kind kind) {
  const auto found = _descriptors.find(fd);
  XLOG_ASSERT(found != _descriptors.end(), "descriptor " + std::to_string(fd) + " is not open");
  XLOG_ASSERT(found->second.kind == kind,
              "descriptor " + std::to_string(fd) + " is not of this kind");
  return found->second;
}

SimNetwork::Connection* SimNetwork::find(std::uint64_t id) {
  const auto found = _connections.find(id);
  return found == _connections.end() ? nullptr : &found->second;
}

SimNetwork::Connection& SimNetwork::connection_of(const Descriptor& stream) {
  return _connections.at(stream.connection);
}

SimNetwork::Descriptor* SimNetwork::find_listener(const NetAddress& address) {
  for (auto& [fd, own] : _descriptors) {
    if (own.kind != Descriptor::Kind::LISTENER) continue;
    const bool is_any_host = is_tcp(own.address) && is_tcp(address) && own.address.host == IPv4() &&
                             own.address.port == address.port;
    if (own.address == address || is_any_host) return &own;
  }
  return nullptr;
}

bool SimNetwork::is_port_taken(std::uint16_t port) const {
  const bool by_listener =
      std::any_of(_descriptors.begin(), _descriptors.end(), [port](const auto& entry) {
        const Descriptor& own = entry.second;
        return own.kind == Descriptor::Kind::LISTENER && own.address.port == port;
      });
  return by_listener ||
         std::any_of(_connections.begin(), _connections.end(),
                     [port](const auto& entry) { return entry.second.client.port == port; });
}

std::uint16_t SimNetwork::free_port() {
  std::uint16_t port = 0;
  do {
    port = _next_port++;
    if (_next_port == 0) _next_port = FIRST_FREE_PORT;
  } while (is_port_taken(port));
  return port;
}

std::size_t SimNetwork::room(const Connection& connection, Side from) const {
  const std::size_t used =
      connection.ends[from].outgoing_bytes + connection.ends[other(from)].inbox.size();
  return _buffer_size - std::min(used, _buffer_size);
}

std::size_t SimNetwork::drawn_part(std::size_t most) {
  if (most < 2 || !_random.chance(_partial_per_mille)) return most;
  return static_cast<std::size_t>(1 + _random.below(most));
}

void SimNetwork::finish_connect(std::uint64_t id) {
  Connection* connection = find(id);
  if (connection == nullptr) return;
  if (is_tcp(connection->server)) {
    const auto state = _host_states.find(connection->server.host);
    if (state != _host_states.end() && state->second == SimHostState::SILENT) return;
    if (state != _host_states.end() && state->second == SimHostState::UNREACHABLE) {
      fail_connect(*connection, EHOSTUNREACH);
      return;
    }
  }
  Descriptor* listener = find_listener(connection->server);
  if (listener == nullptr || listener->queue.size() == QUEUE_LIMIT) {
    fail_connect(*connection, ECONNREFUSED);
    return;
  }
  connection->stage = Stage::STANDING;
  connection->listener = listener->address;
  listener->queue.push_back(id);
  _trace.add(name(*connection, CLIENT) + " connected");
}

void SimNetwork::fail_connect(Connection& connection, int error) {
  connection.stage = Stage::FAILED;
  connection.ends[SERVER].open = false;
  connection.ends[CLIENT].broken = true;
  connection.ends[CLIENT].error = error;
  _trace.add(name(connection, CLIENT) + " failed " + std::to_string(error));
}

void SimNetwork::send(Connection& connection, Side from, Mark mark,
                      std::vector<std::uint8_t> bytes) {
  End& end = connection.ends[from];
  TimePoint due = _agenda.now() + drawn_delay();
  if (!end.outgoing.empty()) due = std::max(due, end.outgoing.back().due);
  end.outgoing_bytes += bytes.size();
  end.outgoing.push_back({due, mark, std::move(bytes)});
  _agenda.at(due, [this, id = connection.id, from] { deliver_due(id, from); });
}

void SimNetwork::deliver_due(std::uint64_t id, Side from) {
  Connection* connection = find(id);
  if (connection == nullptr || connection->held) return;
  End& end = connection->ends[from];
  if (end.outgoing.empty() || end.outgoing.front().due > _agenda.now()) return;
  Segment segment = std::move(end.outgoing.front());
  end.outgoing.pop_front();
  end.outgoing_bytes -= segment.bytes.size();
  deliver(*connection, other(from), std::move(segment));
}

void SimNetwork::deliver(Connection& connection, Side to, Segment segment) {
  End& end = connection.ends[to];
  if (end.broken) return;
  if (segment.mark == Mark::RESET) {
    _trace.add(name(connection, to) + " reset");
    break_end(connection, to);
  } else if (segment.mark == Mark::END) {
    _trace.add(name(connection, to) + " end");
    end.at_end = true;
  } else if (end.open) {
    _trace.add(name(connection, to) + " arrive " + summary(segment.bytes));
    end.inbox.insert(end.inbox.end(), segment.bytes.begin(), segment.bytes.end());
  } else {
    send(connection, to, Mark::RESET, {});
  }
}

void SimNetwork::break_end(Connection& connection, Side side) {
  End& end = connection.ends[side];
  if (end.broken) return;
  end.broken = true;
  end.error = ECONNRESET;
  end.outgoing.clear();
  end.outgoing_bytes = 0;
}

void SimNetwork::close_end(Connection& connection, Side side, Mark how) {
  End& end = connection.ends[side];
  const bool other_is_open = connection.ends[other(side)].open;
  _trace.add(name(connection, side) + " close");
  end.open = false;
  if (!other_is_open || connection.stage == Stage::CONNECTING) {
    _connections.erase(connection.id);
    return;
  }
  end.inbox.clear();
  if (!end.broken) send(connection, side, how, {});
}
