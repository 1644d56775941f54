// XrlConnection: one stream to a peer, from its handshake to its end. Both
// sides say hello first, each with its instance name and the cookie; after
// that either may send requests and answers those of the other.
//
// It reads what is there, a bounded amount a turn, and runs each request's
// handler as it is decoded, for a bounded time a turn. What is written during a
// turn leaves in one system call at its end. Damage, a wrong cookie, a handshake
// that takes too long, a peer that takes no bytes for too long or more buffered
// bytes than the budget allows close it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "framework/base/callback.h"
#include "framework/base/event_loop.h"
#include "framework/base/network.h"
#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/router/xrl_frame.h"

class XrlArgsReader;
class XrlBufferBudget;
class XrlDispatcher;

class XrlConnection {
 public:
  // Who ended a connection: the peer or the network between, a fault of the
  // peer that made this side close it, or this side of its own accord.
  enum class Cause : std::uint8_t { PEER, FAULT, OWN };

  class Delegate {
   public:
    virtual ~Delegate() = default;
    // The handshake is done; requests may be sent. May close the connection.
    virtual void connection_up(XrlConnection& connection) = 0;
    // A reply to one of our requests came.
    virtual void reply_arrived(XrlConnection& connection, std::uint32_t sequence,
                               const XrlError& error, XrlArgsReader& results) = 0;
    // The connection is closed and `reason`, which lasts as long as the call,
    // says why. Called once, unless the connection is destroyed before. The
    // connection itself must outlive this call but need not outlive the turn.
    virtual void connection_down(XrlConnection& connection, Cause cause,
                                 std::string_view reason) = 0;
  };

  enum class Side : std::uint8_t { ACCEPTED, CONNECTING };
  enum class State : std::uint8_t { CONNECTING, HANDSHAKE, UP, CLOSED };

  // Takes over `fd`: an accepted stream, or one that connect() answered.
  // `hello` is what this side says; a peer whose cookie differs is refused.
  // `dispatcher` (may be null: requests are damage then), `delegate` and
  // `budget` (may be null: nobody counts) must outlive the connection.
  XrlConnection(EventLoop& loop, int fd, Side side, NetAddress peer, xrl_frame::Hello hello,
                XrlDispatcher* dispatcher, Delegate& delegate, XrlBufferBudget* budget = nullptr);
  ~XrlConnection();
  XrlConnection(const XrlConnection&) = delete;
  XrlConnection& operator=(const XrlConnection&) = delete;

  [[nodiscard]] State state() const { return _state; }
  [[nodiscard]] bool is_up() const { return _state == State::UP; }
  // Whether the handshake was ever done.
  [[nodiscard]] bool was_up() const { return _was_up; }
  [[nodiscard]] const NetAddress& peer() const { return _peer; }
  // What the peer said of itself; empty before the handshake is done.
  [[nodiscard]] const std::string& peer_instance() const { return _peer_instance; }
  [[nodiscard]] NetAddress local_address() const;
  // When the peer last sent anything (or when the connection began).
  [[nodiscard]] TimePoint last_heard() const { return _last_heard; }
  [[nodiscard]] std::size_t bytes_to_write() const { return _out.size() + _after_answer.size(); }
  // Memory that the peer makes this side hold. What this side asks of it of its
  // own accord does not count.
  [[nodiscard]] std::size_t buffered_bytes() const;
  // Something that arrived is being run.
  [[nodiscard]] bool is_running() const { return _parsing; }

  // Only while UP. From a handler too: it leaves after the answer that the
  // handler is about to give.
  void send_request(std::uint32_t sequence, const XrlKey& key, std::span<const std::uint8_t> args);

  // Writes what the peer takes now. No callback runs.
  void hand_over();

  // Closes at once; what was not written yet is lost. The delegate hears of
  // it. Closing twice is closing once. Takes no memory of its own.
  void close(std::string_view reason) { end(Cause::OWN, reason); }

 private:
  friend class XrlClosedConnections;

  void end(Cause cause, std::string_view reason);
  void on_ready(IoInterest ready);
  void finish_connecting();
  void on_deadline();
  // Runs a step; when memory does not suffice for it, the connection ends.
  void guarded(void (XrlConnection::*step)());
  void read_some();
  // One read; answers whether there may be more to read now.
  [[nodiscard]] bool read_once(std::size_t& budget);
  // Runs the whole frames at the front of `bytes` and answers how many bytes
  // they took, or nothing when the connection was destroyed meanwhile.
  [[nodiscard]] std::optional<std::size_t> parse(std::span<const std::uint8_t> bytes);
  [[nodiscard]] std::uint32_t longest_frame(std::span<const std::uint8_t> front) const;
  void take_frame(std::span<const std::uint8_t> frame);
  void take_hello(std::span<const std::uint8_t> body);
  void take_request(std::span<const std::uint8_t> body);
  void take_reply(std::span<const std::uint8_t> body);
  void account();
  // False when this connection did not survive.
  [[nodiscard]] bool keep_budget();
  void flush();
  // 0, or why the connection is broken.
  [[nodiscard]] std::ptrdiff_t write_out();
  void start_stall_deadline();
  void parse_held_input();
  void update_interest();
  [[nodiscard]] bool owes_too_much() const;
  [[nodiscard]] bool may_read() const { return !_backlog && !owes_too_much(); }

  EventLoop& _loop;
  int _fd;
  State _state;
  NetAddress _peer;
  xrl_frame::Hello _hello;
  std::string _peer_instance;
  XrlDispatcher* _dispatcher;
  Delegate& _delegate;
  XrlBufferBudget* _budget;
  TimePoint _last_heard;
  ByteBuffer _in;            // input that could not be run yet
  ByteBuffer _out;           // not written yet
  ByteBuffer _after_answer;  // what was sent while the end of _out is a half-written answer
  std::size_t _accounted = 0;
  bool _was_up = false;
  bool _write_blocked = false;
  bool _parsing = false;
  bool _backlog = false;    // whole frames wait for the next turn
  bool _answering = false;  // a handler is writing its answer at the end of _out
  std::optional<Watch> _watch;
  Deferred _flush;
  Timer _deadline;  // of the handshake; later of a stalled write
  std::unique_ptr<XrlConnection> _next_closed;
  Lifeline _lifeline;  // tells a parse in progress that the connection was destroyed
};
