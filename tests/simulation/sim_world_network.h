// Stream sockets in memory, with delays, partial reads and writes, bounded
// buffers and faults, all drawn from one seed. Every address is on the one
// simulated machine: a connection to H comes from H.
//
// A connection's life: connect() -> (delay) -> refused, or standing and
// waiting in the listener's queue -> accept(). Bytes of one direction arrive
// in order, each write after a delay of its own. A close reaches the other
// end as the end of the stream behind all bytes under way, or as a reset if
// the closing end left bytes unread or is written to afterwards. Where nothing
// arrives any more, an end notices after SILENCE.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "framework/base/kernel.h"
#include "framework/base/network.h"
#include "tests/simulation/sim_world_agenda.h"
#include "tests/simulation/sim_world_queue.h"
#include "tests/simulation/sim_world_random.h"
#include "tests/simulation/sim_world_trace.h"

// Who watches descriptors: told when one of them may be ready.
struct SimWaiter {
  bool poked = true;
};

// The descriptors of one process.
struct SimDescriptors {
  std::size_t limit = 1024;  // that can be open at a time
  std::size_t open = 0;
  std::uint64_t writes = 0;    // successful ones so far
  std::uint64_t refusals = 0;  // of a descriptor, past the limit
  // Its host has lost its power: what it closes goes without a word.
  bool is_lost = false;
};

// A standing connection, as a test that wants to harm it sees it.
struct SimConnection {
  std::uint64_t id;
  NetAddress client;    // where it comes from
  NetAddress listener;  // the listener that it was made to
  // Whose its ends are; null: of an end that is closed, or was not accepted yet.
  const SimDescriptors* client_owner;
  const SimDescriptors* server_owner;
};

enum class SimHostState : std::uint8_t {
  REACHABLE,
  UNREACHABLE,  // connecting fails with -EHOSTUNREACH
  SILENT,       // connecting never ends
};

class SimNetwork final : public Network {
 public:
  // From when nothing arrives to when an end has noticed, as the probes that are
  // set on real sockets do.
  static constexpr std::chrono::seconds SILENCE{25};

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
  void set_descriptor_limit(std::size_t limit) { _descriptors_of_all.limit = limit; }
  // Whose is what is opened from now on; null: that of the world as a whole.
  void set_owner(SimDescriptors* owner) {
    _owner = owner != nullptr ? owner : &_descriptors_of_all;
  }
  // What accept() answers instead of a connection, as a negative errno; 0, as at
  // first: nothing. As with a kernel, one that tells what became of the connection
  // takes it off the queue, and one for want of means leaves it there.
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
  // Holds it for ever; each end sees -ETIMEDOUT after SILENCE. False when there is
  // no such connection.
  bool sever(std::uint64_t id);
  // Cuts it as soon as `arrivals` more writes have arrived, of both directions.
  // False when there is no such connection. `sprung`, which must outlive the
  // network, is raised by one then.
  bool cut_after(std::uint64_t id, unsigned arrivals, std::uint64_t& sprung);
  // Likewise with each of the next `count` connections that `from` makes to
  // `to`; after 0 arrivals: when it stands.
  void cut_next(const SimDescriptors& from, const SimDescriptors& to, unsigned arrivals,
                unsigned count, std::uint64_t& sprung);
  // Takes both back where nothing was cut yet.
  void take_traps_back();

  // For the kernel.
  [[nodiscard]] bool is_open(int fd) const { return find_descriptor(fd) != nullptr; }
  [[nodiscard]] IoInterest readiness(int fd) const;
  void set_watched(int fd, bool watched, SimWaiter* waiter = nullptr);
  [[nodiscard]] std::uint64_t connections_made() const { return _last_connection; }
  [[nodiscard]] std::uint64_t bytes_written() const { return _bytes_written; }

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
    bool open = true;  // a descriptor or a listener's queue holds it
    int fd = -1;
    SimQueue<std::uint8_t> inbox;  // arrived, not read yet
    bool at_end = false;           // nothing comes after the inbox
    bool broken = false;           // reset, refused or timed out
    int error = 0;                 // told once
    SimQueue<Segment> outgoing;    // under way to the other end
    std::size_t outgoing_bytes = 0;
  };

  // Cuts a connection.
  struct Trap {
    unsigned arrivals_left = 0;
    std::uint64_t* sprung = nullptr;  // null: it is none
  };

  struct Connection {
    std::uint64_t id;
    Stage stage = Stage::CONNECTING;
    bool held = false;
    bool severed = false;  // and so held for ever
    Trap trap;
    NetAddress client;
    NetAddress server;
    NetAddress listener;
    std::array<End, 2> ends;
  };

  struct TrapForTheNext {
    const SimDescriptors* from;
    const SimDescriptors* to;
    unsigned count;
    Trap trap;
  };

  struct Descriptor {
    enum class Kind : std::uint8_t { LISTENER, STREAM };
    Kind kind = Kind::STREAM;
    bool watched = false;
    SimWaiter* waiter = nullptr;
    SimDescriptors* owner = nullptr;
    // LISTENER
    NetAddress address;
    SimQueue<std::uint64_t> queue;  // connections to accept
    // STREAM
    Connection* connection = nullptr;
    Side side = CLIENT;
  };

  [[nodiscard]] static Side other(Side side) { return side == CLIENT ? SERVER : CLIENT; }
  // The new one of the present owner, or -EMFILE.
  [[nodiscard]] int open_descriptor(Descriptor::Kind kind);
  [[nodiscard]] Descriptor* find_descriptor(int fd) const;
  [[nodiscard]] Descriptor& descriptor(int fd, Descriptor::Kind kind);
  [[nodiscard]] Connection* find(std::uint64_t id);
  [[nodiscard]] Descriptor* find_listener(const NetAddress& address);
  [[nodiscard]] bool is_port_taken(std::uint16_t port) const;
  [[nodiscard]] std::uint16_t free_port();
  [[nodiscard]] std::size_t room(const Connection& connection, Side from) const;
  [[nodiscard]] std::size_t drawn_part(std::size_t most);
  [[nodiscard]] Duration drawn_delay() { return _random.between(_delay_low, _delay_high); }

  void trace(const Connection& connection, Side side, SimTrace::Act act, std::uint64_t number = 0,
             std::uint64_t content = 0) {
    _trace.add({connection.id, side == CLIENT}, act, number, content);
  }
  void poke(int fd);
  void arrived(Connection& connection);
  void set_trap(Connection& connection, const SimDescriptors* to);
  void spring(Connection& connection);
  [[nodiscard]] const SimDescriptors* owner_of(const End& end) const;
  void deliver_at(TimePoint due, std::uint64_t id, Side from);
  void notice_silence(std::uint64_t id);

  void finish_connect(std::uint64_t id);
  void fail_connect(Connection& connection, int error);
  void send(Connection& connection, Side from, Mark mark, std::vector<std::uint8_t> bytes);
  void deliver_due(std::uint64_t id, Side from);
  void deliver(Connection& connection, Side to, const Segment& segment);
  void break_end(Connection& connection, Side side, int error);
  void close_end(Connection& connection, Side side, Mark how);
  void lose_end(Connection& connection, Side side);

  SimAgenda& _agenda;
  SimRandom& _random;
  SimTrace& _trace;
  Duration _delay_low = std::chrono::microseconds(50);
  Duration _delay_high = std::chrono::microseconds(500);
  unsigned _partial_per_mille = 250;
  std::size_t _buffer_size = 65536;
  int _accept_error = 0;
  std::map<IPv4, SimHostState> _host_states;
  std::map<std::string, IPv4> _host_names;
  std::size_t _look_ups = 0;
  std::uint64_t _last_connection = 0;
  std::uint16_t _next_port;
  std::uint64_t _bytes_written = 0;
  std::vector<TrapForTheNext> _traps;
  SimDescriptors _descriptors_of_all;
  SimDescriptors* _owner = &_descriptors_of_all;
  std::vector<std::unique_ptr<Descriptor>> _descriptors;  // by number
  std::map<std::uint64_t, Connection> _connections;
};
