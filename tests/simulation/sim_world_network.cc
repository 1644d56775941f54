#include "tests/simulation/sim_world_network.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "framework/base/xlog.h"

namespace {

constexpr std::ptrdiff_t FIRST_DESCRIPTOR = 3;
constexpr std::uint16_t FIRST_FREE_PORT = 40000;
constexpr std::size_t QUEUE_LIMIT = 128;

IoInterest interest_of(bool readable, bool writable) {
  return static_cast<IoInterest>((readable ? 1U : 0U) | (writable ? 2U : 0U));
}

// Enough to see in a trace that two runs moved other bytes.
std::uint64_t summary(std::span<const std::uint8_t> bytes) {
  SimHash hash;
  hash.add(bytes);
  return hash.value();
}

bool is_tcp(const NetAddress& address) {
  return address.family == NetAddress::Family::TCP;
}

// Whether accept() fails so without taking who waits off the queue.
bool leaves_it_waiting(int error) {
  constexpr std::array ERRORS{-EMFILE, -ENFILE, -ENOBUFS, -ENOMEM, -EPERM};
  return std::ranges::find(ERRORS, error) != ERRORS.end();
}

}  // namespace

SimNetwork::SimNetwork(SimAgenda& agenda, SimRandom& random, SimTrace& trace)
    : _agenda(agenda), _random(random), _trace(trace), _next_port(FIRST_FREE_PORT) {
  _descriptors.resize(FIRST_DESCRIPTOR);
}

int SimNetwork::listen(const NetAddress& address) {
  if (!is_tcp(address) && address.path.empty()) return -EINVAL;
  NetAddress own = address;
  if (is_tcp(own) && own.port == 0) own.port = free_port();
  if (find_listener(own) != nullptr) return -EADDRINUSE;
  const int fd = open_descriptor(Descriptor::Kind::LISTENER);
  if (fd < 0) return fd;
  find_descriptor(fd)->address = own;
  _trace.add("listen " + own.str());
  return fd;
}

int SimNetwork::accept(int listener, NetAddress& peer) {
  Descriptor& listening = descriptor(listener, Descriptor::Kind::LISTENER);
  if (listening.queue.empty()) return -EAGAIN;
  if (_accept_error != 0 && leaves_it_waiting(_accept_error)) return _accept_error;
  const std::uint64_t id = listening.queue.front();
  listening.queue.pop();
  Connection& connection = _connections.at(id);
  if (_accept_error != 0) {
    close_end(connection, SERVER, Mark::RESET);
    return _accept_error;
  }
  const int fd = open_descriptor(Descriptor::Kind::STREAM);
  if (fd < 0) {
    trace(connection, SERVER, SimTrace::Act::NO_DESCRIPTOR);
    close_end(connection, SERVER, Mark::RESET);
    return fd;
  }
  Descriptor& stream = *find_descriptor(fd);
  stream.connection = &connection;
  stream.side = SERVER;
  connection.ends[SERVER].fd = fd;
  peer = connection.client;
  trace(connection, SERVER, SimTrace::Act::ACCEPT);
  return fd;
}

int SimNetwork::connect(const NetAddress& address) {
  if (!is_tcp(address) && address.path.empty()) return -EINVAL;
  const int fd = open_descriptor(Descriptor::Kind::STREAM);
  if (fd < 0) return fd;
  const std::uint64_t id = ++_last_connection;
  Connection& connection = _connections[id];
  connection.id = id;
  connection.server = address;
  connection.client =
      is_tcp(address) ? NetAddress::tcp(address.host, free_port()) : NetAddress::unix_path({});
  connection.ends[CLIENT].fd = fd;
  find_descriptor(fd)->connection = &connection;
  _trace.add("c" + std::to_string(id) + " client connect " + address.str());
  _agenda.at(_agenda.now() + drawn_delay(), [this, id] { finish_connect(id); });
  return fd;
}

int SimNetwork::connect_result(int fd) {
  Connection& connection = *descriptor(fd, Descriptor::Kind::STREAM).connection;
  if (connection.stage == Stage::CONNECTING) return -EINPROGRESS;
  return -std::exchange(connection.ends[CLIENT].error, 0);
}

std::ptrdiff_t SimNetwork::read(int fd, std::span<std::uint8_t> into) {
  const Descriptor& stream = descriptor(fd, Descriptor::Kind::STREAM);
  Connection& connection = *stream.connection;
  End& end = connection.ends[stream.side];
  if (into.empty()) return 0;
  if (end.inbox.empty()) {
    if (end.error != 0) return -std::exchange(end.error, 0);
    return end.broken || end.at_end ? 0 : -EAGAIN;
  }
  const std::size_t count = drawn_part(std::min(into.size(), end.inbox.size()));
  std::copy_n(end.inbox.items().begin(), count, into.begin());
  end.inbox.pop(count);
  trace(connection, stream.side, SimTrace::Act::READ, count);
  poke(connection.ends[other(stream.side)].fd);
  return static_cast<std::ptrdiff_t>(count);
}

std::ptrdiff_t SimNetwork::write(int fd, std::span<const std::uint8_t> from) {
  const Descriptor& stream = descriptor(fd, Descriptor::Kind::STREAM);
  Connection& connection = *stream.connection;
  End& end = connection.ends[stream.side];
  if (end.error != 0) return -std::exchange(end.error, 0);
  if (end.broken) return -EPIPE;
  if (from.empty()) return 0;
  const std::size_t space = room(connection, stream.side);
  if (connection.stage == Stage::CONNECTING || space == 0) return -EAGAIN;
  const auto bytes = from.first(drawn_part(std::min(from.size(), space)));
  trace(connection, stream.side, SimTrace::Act::WRITE, bytes.size(), summary(bytes));
  send(connection, stream.side, Mark::DATA, {bytes.begin(), bytes.end()});
  ++stream.owner->writes;
  _bytes_written += bytes.size();
  return static_cast<std::ptrdiff_t>(bytes.size());
}

NetAddress SimNetwork::local_address(int fd) {
  const Descriptor* const own = find_descriptor(fd);
  if (own == nullptr) return {};
  if (own->kind == Descriptor::Kind::LISTENER) return own->address;
  return own->side == CLIENT ? own->connection->client : own->connection->server;
}

void SimNetwork::close(int fd) {
  Descriptor* const found = find_descriptor(fd);
  XLOG_ASSERT(found != nullptr, "descriptor " + std::to_string(fd) + " is not open");
  XLOG_ASSERT(!found->watched, "descriptor " + std::to_string(fd) + " is still watched");
  const std::unique_ptr<Descriptor> closing = std::move(_descriptors[static_cast<std::size_t>(fd)]);
  --closing->owner->open;
  if (closing->kind == Descriptor::Kind::STREAM) {
    Connection& connection = *closing->connection;
    End& end = connection.ends[closing->side];
    end.fd = -1;
    if (closing->owner->is_lost) {
      lose_end(connection, closing->side);
    } else {
      close_end(connection, closing->side, end.inbox.empty() ? Mark::END : Mark::RESET);
    }
    return;
  }
  _trace.add("close " + closing->address.str());
  for (const std::uint64_t id : closing->queue.items()) {
    if (closing->owner->is_lost) {
      lose_end(_connections.at(id), SERVER);
    } else {
      close_end(_connections.at(id), SERVER, Mark::RESET);
    }
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
  const Descriptor& own = *find_descriptor(fd);
  if (own.kind == Descriptor::Kind::LISTENER) return interest_of(!own.queue.empty(), false);
  const Connection& connection = *own.connection;
  const End& end = connection.ends[own.side];
  if (end.broken) return IoInterest::READ_WRITE;
  if (connection.stage == Stage::CONNECTING) return IoInterest::NONE;
  return interest_of(!end.inbox.empty() || end.at_end, room(connection, own.side) != 0);
}

void SimNetwork::set_watched(int fd, bool watched, SimWaiter* waiter) {
  Descriptor* const found = find_descriptor(fd);
  XLOG_ASSERT(found != nullptr, "descriptor " + std::to_string(fd) + " is not open");
  found->watched = watched;
  found->waiter = watched ? waiter : nullptr;
}

void SimNetwork::poke(int fd) {
  const Descriptor* const found = find_descriptor(fd);
  if (found != nullptr && found->waiter != nullptr) found->waiter->poked = true;
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

void SimNetwork::set_host_state(IPv4 host, SimHostState state) {
  _host_states[host] = state;
}

void SimNetwork::set_host_name(const std::string& name, IPv4 host) {
  _host_names[name] = host;
}

void SimNetwork::forget_host_name(const std::string& name) {
  _host_names.erase(name);
}

int SimNetwork::open_descriptor(Descriptor::Kind kind) {
  if (_owner->open >= _owner->limit) {
    ++_owner->refusals;
    return -EMFILE;
  }
  auto free = std::find(_descriptors.begin() + FIRST_DESCRIPTOR, _descriptors.end(), nullptr);
  if (free == _descriptors.end()) free = _descriptors.emplace(free);
  *free = std::make_unique<Descriptor>();
  (*free)->kind = kind;
  (*free)->owner = _owner;
  ++_owner->open;
  return static_cast<int>(free - _descriptors.begin());
}

SimNetwork::Descriptor* SimNetwork::find_descriptor(int fd) const {
  const auto index = static_cast<std::size_t>(fd);
  return fd >= 0 && index < _descriptors.size() ? _descriptors[index].get() : nullptr;
}

SimNetwork::Descriptor& SimNetwork::descriptor(int fd, Descriptor::Kind kind) {
  Descriptor* const found = find_descriptor(fd);
  XLOG_ASSERT(found != nullptr, "descriptor " + std::to_string(fd) + " is not open");
  XLOG_ASSERT(found->kind == kind, "descriptor " + std::to_string(fd) + " is not of this kind");
  return *found;
}

SimNetwork::Connection* SimNetwork::find(std::uint64_t id) {
  const auto found = _connections.find(id);
  return found == _connections.end() ? nullptr : &found->second;
}

SimNetwork::Descriptor* SimNetwork::find_listener(const NetAddress& address) {
  for (const auto& own : _descriptors) {
    if (own == nullptr || own->kind != Descriptor::Kind::LISTENER) continue;
    const bool is_any_host = is_tcp(own->address) && is_tcp(address) &&
                             own->address.host == IPv4() && own->address.port == address.port;
    if (own->address == address || is_any_host) return own.get();
  }
  return nullptr;
}

bool SimNetwork::is_port_taken(std::uint16_t port) const {
  const bool by_listener =
      std::any_of(_descriptors.begin(), _descriptors.end(), [port](const auto& own) {
        return own != nullptr && own->kind == Descriptor::Kind::LISTENER &&
               own->address.port == port;
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
  listener->queue.push(id);
  trace(*connection, CLIENT, SimTrace::Act::CONNECTED);
  if (listener->waiter != nullptr) listener->waiter->poked = true;
  poke(connection->ends[CLIENT].fd);
  set_trap(*connection, listener->owner);
}

void SimNetwork::fail_connect(Connection& connection, int error) {
  connection.stage = Stage::FAILED;
  connection.ends[SERVER].open = false;
  connection.ends[CLIENT].broken = true;
  connection.ends[CLIENT].error = error;
  trace(connection, CLIENT, SimTrace::Act::FAILED, static_cast<std::uint64_t>(error));
  poke(connection.ends[CLIENT].fd);
}

void SimNetwork::send(Connection& connection, Side from, Mark mark,
                      std::vector<std::uint8_t> bytes) {
  End& end = connection.ends[from];
  TimePoint due = _agenda.now() + drawn_delay();
  if (!end.outgoing.empty()) due = std::max(due, end.outgoing.back().due);
  end.outgoing_bytes += bytes.size();
  end.outgoing.push({due, mark, std::move(bytes)});
  deliver_at(due, connection.id, from);
}

// What is captured has to be small, or each event would take memory of its own.
void SimNetwork::deliver_at(TimePoint due, std::uint64_t id, Side from) {
  _agenda.at(due, [this, end = id * 2 + from] { deliver_due(end / 2, Side(end % 2)); });
}

void SimNetwork::deliver_due(std::uint64_t id, Side from) {
  Connection* connection = find(id);
  if (connection == nullptr || connection->held) return;
  End& end = connection->ends[from];
  if (end.outgoing.empty() || end.outgoing.front().due > _agenda.now()) return;
  const Segment segment = std::move(end.outgoing.front());
  end.outgoing.pop();
  end.outgoing_bytes -= segment.bytes.size();
  deliver(*connection, other(from), segment);
  if (segment.mark == Mark::DATA) arrived(*connection);
}

void SimNetwork::deliver(Connection& connection, Side to, const Segment& segment) {
  End& end = connection.ends[to];
  if (end.broken) return;
  poke(end.fd);
  if (segment.mark == Mark::RESET) {
    trace(connection, to, SimTrace::Act::RESET);
    break_end(connection, to, ECONNRESET);
  } else if (segment.mark == Mark::END) {
    trace(connection, to, SimTrace::Act::END);
    end.at_end = true;
  } else if (end.open) {
    trace(connection, to, SimTrace::Act::ARRIVE, segment.bytes.size());
    end.inbox.append(segment.bytes);
  } else {
    send(connection, to, Mark::RESET, {});
  }
}

void SimNetwork::break_end(Connection& connection, Side side, int error) {
  End& end = connection.ends[side];
  if (end.broken) return;
  end.broken = true;
  end.error = error;
  end.outgoing.clear();
  end.outgoing_bytes = 0;
  poke(end.fd);
}

void SimNetwork::close_end(Connection& connection, Side side, Mark how) {
  End& end = connection.ends[side];
  const bool other_is_open = connection.ends[other(side)].open;
  trace(connection, side, SimTrace::Act::CLOSE);
  end.open = false;
  if (!other_is_open || connection.stage == Stage::CONNECTING) {
    _connections.erase(connection.id);
    return;
  }
  end.inbox.clear();
  if (!end.broken) send(connection, side, how, {});
}
