// XrlPeer: the way to one target, by its name.
//
// Life: the first request has the finder asked where the target is; while that
// and the connection take their time, requests wait in order. The answer is
// kept until the target dies: after a lost connection the same address is
// tried again first, so peers that know each other need no finder. A request
// that was on the way when the connection was lost is answered SEND_FAILED,
// for nobody knows whether it was carried out; those that wait go on waiting.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/base/callback.h"
#include "framework/base/event_loop.h"
#include "framework/xrl/router/finder_client.h"
#include "framework/xrl/router/xrl_calls.h"
#include "framework/xrl/router/xrl_closed_connections.h"
#include "framework/xrl/router/xrl_connection.h"
#include "framework/xrl/xrl_sender.h"

class XrlPeer final : private XrlConnection::Delegate {
 public:
  class Owner {
   public:
    virtual ~Owner() = default;
    // Requests ended without an answer of the target, or with one that it was
    // out of memory: they may or may not have been carried out.
    virtual void requests_lost(const std::string& target) = 0;
    // It answered a request, for the first time since requests_lost().
    virtual void target_answers(const std::string& target) = 0;
    // is_idle() has become true: the peer may go, but not before the end of the
    // turn.
    virtual void peer_is_idle() = 0;
    // How many requests await a reply of any peer; each adds its own.
    [[nodiscard]] virtual std::size_t& requests_together() = 0;
    // This process's own address, as others see it.
    [[nodiscard]] virtual IPv4 local_host() const = 0;
  };

  // The finder client, the owner and the budget must outlive it.
  XrlPeer(EventLoop& loop, std::string target, xrl_frame::Hello hello, FinderClient& finder,
          Owner& owner, XrlBufferBudget& budget);
  ~XrlPeer() override;

  // As XrlSender::send(), with this target.
  [[nodiscard]] bool send(std::string_view method, std::span<const std::uint8_t> args,
                          XrlReply reply);
  [[nodiscard]] const std::string& target() const { return _target; }
  [[nodiscard]] std::size_t pending() const { return _calls.pending(); }
  [[nodiscard]] TimePoint last_asked() const { return _last_asked; }
  // Nothing is pending, no connection stands, and nothing is known of the
  // target that would be missed.
  [[nodiscard]] bool is_idle() const {
    return _calls.pending() == 0 && _connection == nullptr && !_resolving &&
           _resolution.instance.empty();
  }
  // What is known of this instance may be true no longer.
  void target_died(std::string_view instance);
  // Its death may have gone untold. A connection that stands goes on meanwhile.
  void doubt() {
    _resolution_is_old = true;
    _resolution_in_doubt = _resolution_in_doubt || _connection != nullptr;
  }

 private:
  struct Waiting {
    std::uint32_t sequence;
    std::string method;
    std::vector<std::uint8_t> args;
  };

  void transmit(std::uint32_t sequence, std::string_view method,
                std::span<const std::uint8_t> args);
  [[nodiscard]] const XrlKey* find_key(std::string_view method);
  void enqueue(std::uint32_t sequence, std::string_view method, std::span<const std::uint8_t> args);
  void refuse_later(std::uint32_t sequence, XrlError error);
  void refuse_now();

  void set_out();
  void resolve();
  void resolved(const XrlError& error, const FinderClient::Resolution& resolution);
  void use(const FinderClient::Resolution& resolution);
  void try_next_address();
  void forget_resolution();
  void fail_all(const XrlError& error);
  void refuse_waiting(const XrlError& error);
  void transmit_waiting();
  [[nodiscard]] bool is_waiting(std::uint32_t sequence) const;
  void tell_of_loss();
  void tell_if_idle();
  [[nodiscard]] XrlError give_up();

  void connection_up(XrlConnection& connection) override;
  void reply_arrived(XrlConnection& connection, std::uint32_t sequence, const XrlError& error,
                     XrlArgsReader& results) override;
  void connection_down(XrlConnection& connection, XrlConnection::Cause cause,
                       std::string_view reason) override;

  EventLoop& _loop;
  std::string _target;
  xrl_frame::Hello _hello;
  FinderClient& _finder;
  Owner& _owner;
  XrlBufferBudget& _budget;

  FinderClient::Resolution _resolution;  // no instance: not known
  bool _resolution_is_fresh = false;     // nothing was tried with it yet
  bool _resolution_in_doubt = false;     // its target may be dead
  bool _resolution_is_old = false;       // of an earlier session with the finder
  bool _resolving = false;
  bool _connected = false;  // _connection stands and leads to the right instance
  bool _lost = false;       // requests, since the target last answered
  std::size_t _next_address = 0;
  TimePoint _last_asked;
  std::string _connect_problem;
  std::string _last_method;  // the method whose key was looked up last
  const XrlKey* _last_key = nullptr;

  std::unique_ptr<XrlConnection> _connection;
  XrlClosedConnections _closed;
  XrlCalls _calls;
  std::deque<Waiting> _waiting;
  std::size_t _waiting_bytes = 0;
  std::vector<std::pair<std::uint32_t, XrlError>> _refused;  // to be told at the end of the turn
  Deferred _refuse;
  Lifeline _lifeline;
};
