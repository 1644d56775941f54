// XrlListener: accepts connections for one target, keeps their number and
// their memory bounded, and runs their requests through a dispatcher.
//
// When the limit of connections is reached, a new one takes the place of the
// one that has been silent longest, first of those still in the handshake, so
// a flood of idle peers cannot lock an honest one out. When what they all make it
// hold in buffers passes its limit, the one that makes it hold most goes. One
// for which there is no memory goes. Each connection that is refused or damaged
// costs one log line, if there is memory for it. While the kernel has none for new
// ones they wait, with one line for all of them.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/event_loop.h"
#include "framework/base/network.h"
#include "framework/xrl/router/xrl_buffer_budget.h"
#include "framework/xrl/router/xrl_closed_connections.h"
#include "framework/xrl/router/xrl_connection.h"

class XrlListener : private XrlConnection::Delegate {
 public:
  // Hears of connections that finished their handshake. May be null.
  class Observer {
   public:
    virtual ~Observer() = default;
    virtual void session_up(XrlConnection& connection) = 0;
    // Only for connections that were up, also when session_up() threw. The
    // connection is still there.
    virtual void session_down(XrlConnection& connection) = 0;
    // The peer answered something that the owner sent it. May close the connection.
    virtual void answered(XrlConnection& /*connection*/, const XrlError& /*error*/) {}
  };
  struct Options {
    xrl_frame::Hello hello;
    // Whether a peer at this address may connect; null: every one may.
    std::function<bool(const NetAddress&)> admit;
    // Connections that must not be closed to make room; null: none.
    std::function<bool(const XrlConnection&)> keep;
    std::size_t max_connections;
    std::size_t max_handshakes;
    std::size_t max_buffered_bytes;
  };
  [[nodiscard]] static Options default_options();

  // Listens nowhere yet. Loop, dispatcher and observer must outlive it.
  XrlListener(EventLoop& loop, XrlDispatcher& dispatcher, Options options,
              Observer* observer = nullptr);
  ~XrlListener() override;

  // Begins to accept. 0, or a negative errno and nothing changes. May be
  // called for several addresses.
  int listen(const NetAddress& address);
  // Where it listens, in the order of listen(), with the port it got.
  [[nodiscard]] const std::vector<NetAddress>& addresses() const { return _addresses; }
  [[nodiscard]] std::size_t connections() const { return _connections.size(); }
  // Closes the connections that are of no use any more; what they sent and was not
  // run yet is lost. The log tells nothing of it.
  void close_useless(const std::function<bool(const XrlConnection&)>& is_useless);
  // That of its connections, for others of the same process to share.
  [[nodiscard]] XrlBufferBudget& budget() { return _budget; }

 private:
  struct Socket {
    int fd = -1;
    std::unique_ptr<Watch> watch;
    std::unique_ptr<Timer> resume;  // after a pause
  };

  void accept_some(Socket& socket);
  void pause(Socket& socket, int error);
  void admit(int fd, const NetAddress& peer);
  // Why a peer cannot be admitted now; empty when it can, which may have cost
  // another one its connection.
  [[nodiscard]] std::string refusal_of(const NetAddress& peer);
  void take_over(int fd, const NetAddress& peer);
  [[nodiscard]] bool make_room();
  XrlConnection* longest_silent(bool in_handshake) const;
  void connection_up(XrlConnection& connection) override;
  void reply_arrived(XrlConnection& connection, std::uint32_t sequence, const XrlError& error,
                     XrlArgsReader& results) override;
  void connection_down(XrlConnection& connection, XrlConnection::Cause cause,
                       std::string_view reason) override;
  static void log_closing(const XrlConnection& connection, std::string_view reason);

  EventLoop& _loop;
  XrlDispatcher& _dispatcher;
  Options _options;
  Observer* _observer;
  std::deque<Socket> _sockets;  // that callbacks point to
  bool _told_pause = false;
  std::vector<NetAddress> _addresses;
  XrlBufferBudget _budget;
  std::vector<std::unique_ptr<XrlConnection>> _connections;
  XrlClosedConnections _closed;
  std::size_t _handshakes = 0;
};
