// Stream sockets in memory, with delays, partial reads and writes, bounded
// buffers and faults, all drawn from one seed. Every address is on the one
// simulated machine: a connection to H comes from H.
//
// A connection's life: connect() -> (delay) -> refused, or standing and
// waiting in the listener's queue -> accept(). Bytes of one direction arrive
// in order, each write after a delay of its own. A close reaches the other
// end as the end of the stream behind all bytes under way, or as a reset if
// the closing end left bytes unread or is written to afterwards.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "framework/base/kernel.h"
#include "framework/base/network.h"
#include "tests/simulation/sim_world_agenda.h"
#include "tests/simulation/sim_world_random.h"
#include "tests/simulation/sim_world_trace.h"

// A standing connection, as a test that wants to harm it sees it.
struct SimConnection {
  std::uint64_t id;
  NetAddress client;    // where it comes from
  NetAddress listener;  // the listener that it was made to
};

enum class SimHostState : std::uint8_t {
  REACHABLE,
  UNREACHABLE,  // connecting fails with -EHOSTUNREACH
  SILENT,       // connecting never ends
};

class SimNetwork final : public Network {
 public:
  SimNetwork(SimAgenda& agenda, SimRandom& random, SimTrace& trace);

  int listen(const NetAddress& address) override;
  int accept(int listener, NetAddress& peer) override;
  int connect(const NetAddress& address) override;
  int connect_result(int fd) override;
  std::ptrdiff_t read(int fd, std::span<std::uint8_t> into) override;
  std::ptrdiff_t write(int fd, std::span<const std::uint8_t> from) override;
  NetAddress local_address(int fd) override;
  void close(int fd) override;
  bool look_up(const std::string& host, IPv4& address) override;

  // How it behaves from now on.
  // Each connect and each write takes a time drawn from low .. high.
  // Default: 50 to 500 microseconds.
  void set_delay(Duration low, Duration high);
  // How often a read or write moves less than it could. Default: 250.
  void set_partial(unsigned per_mille);
  // Bytes of one direction that are written and not read yet. Default: 65536.
  void set_buffer_size(std::size_t bytes);
  // Descriptors that can be open at a time. Default: 1024.
  void set_descriptor_limit(std::size_t limit);
  // What accept() answers instead of a connection, as a negative errno; 0, as at
  // first: nothing.
  void set_accept_error(int error) { _accept_error = error; }
  void set_host_state(IPv4 host, SimHostState state);
  // What the name service knows from now on; at first it knows no name.
  void set_host_name(const std::string& name, IPv4 host);
  void forget_host_name(const std::string& name);
  // How often it was asked.
  [[nodiscard]] std::size_t look_ups() const { return _look_ups; }

  // In the order they were made.
  [[nodiscard]] std::vector<SimConnection> connections() const;
  // Both ends see a reset at once; bytes under way are lost. False when there
  // is no such connection.
  bool cut(std::uint64_t id);
  // One drawn connection; false when there is none.
  bool cut_random();
  // All connections made to a listener; answers how many.
  std::size_t cut_all(const NetAddress& listener);
  // While held nothing arrives any more in either direction, not even the
  // end; what was under way arrives after the release. False when there is no
  // such connection.
  bool hold(std::uint64_t id);
  bool release(std::uint64_t id);

  // For the kernel.
  [[nodiscard]] bool is_open(int fd) const { return _descriptors.contains(fd); }
  [[nodiscard]] IoInterest readiness(int fd) const;
  void set_watched(int fd, bool watched);

 private:
  enum Side : std::uint8_t { CLIENT = 0, SERVER = 1 };
  enum class Stage : std::uint8_t { CONNECTING, STANDING, FAILED };
  enum class Mark : std::uint8_t { DATA, END, RESET };

  struct Segment {
    TimePoint due;
    Mark mark;
    std::vector<std::uint8_t> bytes;
  };

  struct End {
    bool open = true;                // a descriptor or a listener's queue holds it
    std::deque<std::uint8_t> inbox;  // arrived, not read yet
    bool at_end = false;             // nothing comes after the inbox
    bool broken = false;             // reset or refused
    int error = 0;                   // told once
    std::deque<Segment> outgoing;    // under way to the other end
    std::size_t outgoing_bytes = 0;
  };

  struct Connection {
    std::uint64_t id;
    Stage stage = Stage::CONNECTING;
    bool held = false;
    NetAddress client;
    NetAddress server;
    NetAddress listener;
    std::array<End, 2> ends;
  };

  struct Descriptor {
    enum class Kind : std::uint8_t { LISTENER, STREAM };
    Kind kind = Kind::STREAM;
    bool watched = false;
    // LISTENER
    NetAddress address;
    std::deque<std::uint64_t> queue;  // connections to accept
    // STREAM
    std::uint64_t connection = 0;
    Side side = CLIENT;
  };

  [[nodiscard]] static Side other(Side side) { return side == CLIENT ? SERVER : CLIENT; }
  [[nodiscard]] static std::string name(const Connection& connection, Side side);

  [[nodiscard]] int free_descriptor() const;
  [[nodiscard]] Descriptor& descriptor(int fd, Descriptor::Kind kind);
  [[nodiscard]] Connection* find(std::uint64_t id);
  [[nodiscard]] Connection& connection_of(const Descriptor& stream);
  [[nodiscard]] Descriptor* find_listener(const NetAddress& address);
  [[nodiscard]] bool is_port_taken(std::uint16_t port) const;
  [[nodiscard]] std::uint16_t free_port();
  [[nodiscard]] std::size_t room(const Connection& connection, Side from) const;
  [[nodiscard]] std::size_t drawn_part(std::size_t most);
  [[nodiscard]] Duration drawn_delay() { return _random.between(_delay_low, _delay_high); }

  void finish_connect(std::uint64_t id);
  void fail_connect(Connection& connection, int error);
  void send(Connection& connection, Side from, Mark mark, std::vector<std::uint8_t> bytes);
  void deliver_due(std::uint64_t id, Side from);
  void deliver(Connection& connection, Side to, Segment segment);
  void break_end(Connection& connection, Side side);
  void close_end(Connection& connection, Side side, Mark how);

  SimAgenda& _agenda;
  SimRandom& _random;
  SimTrace& _trace;
  Duration _delay_low = std::chrono::microseconds(50);
  Duration _delay_high = std::chrono::microseconds(500);
  unsigned _partial_per_mille = 250;
  std::size_t _buffer_size = 65536;
  std::size_t _descriptor_limit = 1024;
  int _accept_error = 0;
  std::map<IPv4, SimHostState> _host_states;
  std::map<std::string, IPv4> _host_names;
  std::size_t _look_ups = 0;
  std::uint64_t _last_connection = 0;
  std::uint16_t _next_port;
  std::map<int, Descriptor> _descriptors;
  std::map<std::uint64_t, Connection> _connections;
};
