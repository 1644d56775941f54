// FinderClient: a router's session with the finder.
//
// Life: it tries to reach the finder until it does (back-off between
// RECONNECT_MIN and RECONNECT_MAX), registers the router's target and methods,
// and then the interests that were asked for before and not refused. When the
// session is lost all of that happens again; requests to the finder that were
// not answered yet are sent again, for each of them may be repeated without
// harm. A class that another target holds is asked for again and again, more
// slowly, so that the second of two daemons takes over when the first is gone,
// and not before.
//
// An interest lasts until its user withdraws it or the finder refuses it. That
// its user got no answer in time does not end it: whoever asks at its start
// alone hears of births also when the finder was away then.
//
// A finder told by name is looked up until it is found once, which holds up the
// loop; that is before the first registration, so nothing is served yet. Its
// address is kept: when the finder is lost later, nobody waits for a name
// service, and a finder that moved to another address is not found.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/base/callback.h"
#include "framework/base/event_loop.h"
#include "framework/base/network.h"
#include "framework/base/retry_timer.h"
#include "framework/xrl/router/finder_requests.h"
#include "framework/xrl/router/xrl_calls.h"
#include "framework/xrl/router/xrl_closed_connections.h"
#include "framework/xrl/router/xrl_connection.h"
#include "framework/xrl/router/xrl_dispatcher.h"
#include "framework/xrl/xrl_cmd_map.h"
#include "framework/xrl/xrl_sender.h"

class WellKnownCmdMap;

class FinderClient final : private XrlConnection::Delegate {
 public:
  class Owner {
   public:
    virtual ~Owner() = default;
    // The session stands; `local` is the address of this end. To answer: the
    // addresses at which the target is reached, the best one first; none when
    // it cannot listen (the session is then given up and tried again later).
    virtual std::vector<NetAddress> listen_for_peers(const NetAddress& local) = 0;
    // The target is registered in a new session, which is told of the deaths of
    // those alone that are resolved in it.
    virtual void session_began() = 0;
    // The finder says that this instance died.
    virtual void target_died(std::string_view instance) = 0;
  };

  // Where the finder is and who asks it.
  struct Identity {
    std::string finder_host;  // a dotted address, or a name that the network can look up
    std::uint16_t finder_port;
    std::string class_name;  // empty: a client only, which registers nothing
    xrl_frame::Hello hello;  // instance name and cookie
  };

  // The commands, the dispatcher that runs what the finder asks of this
  // target, the owner and the budget must outlive it. The first attempt is made in the
  // next turn.
  FinderClient(EventLoop& loop, Identity identity, const XrlCmdMap& commands,
               XrlDispatcher& dispatcher, Owner& owner, XrlBufferBudget& budget);
  ~FinderClient() override;

  // Registered at least once (a client only: had a session at least once).
  [[nodiscard]] bool was_ready() const { return _was_ready; }
  // A session stands now and the target is registered.
  [[nodiscard]] bool is_ready() const { return _ready; }
  [[nodiscard]] IPv4 address() const { return _address; }
  [[nodiscard]] std::uint16_t port() const { return _identity.finder_port; }
  // Requests of the router's users to the finder that await an answer.
  [[nodiscard]] std::size_t pending() const;

  // As XrlSender::send(), with the finder as the target.
  [[nodiscard]] bool send(std::string_view method, std::span<const std::uint8_t> args,
                          XrlReply reply);

  struct Resolution {
    std::string instance;
    std::vector<NetAddress> addresses;
    std::map<std::string, XrlKey, std::less<>> keys;
  };
  // The callback runs once, later: with the answer, or with why there is none.
  // False: too much is being asked already, and it will not run.
  using ResolveCB = XorpCallback<void, const XrlError&, const Resolution&>::RefPtr;
  [[nodiscard]] bool resolve(std::string_view target, ResolveCB callback);

  // Registers again at the end of the turn, because the commands changed.
  void commands_changed();
  // What was said to a target of a watched class may be lost: has the birth of
  // the one that lives reported again, so that who speaks at a birth speaks
  // again. Not at once, and later and later while it goes on (RetryTimer).
  // Nothing for a class that is not watched.
  void renew_interest(std::string_view class_name);
  // The next renewal may come soon again.
  void target_answers(std::string_view class_name);

 private:
  using Purpose = FinderRequests::Purpose;
  using Request = FinderRequests::Request;
  // To be asked for in every session.
  struct Interest {
    Interest(EventLoop& loop, Timer::Callback ask_again) : renew(loop, std::move(ask_again)) {}
    bool confirmed = false;
    std::uint32_t asked = 0;  // the last request of a user
    RetryTimer renew;
  };
  class Sender;   // for stubs, on behalf of one purpose
  class Notices;  // what the finder tells a session of its own accord

  [[nodiscard]] bool send_for(Purpose purpose, std::string_view method,
                              std::span<const std::uint8_t> args, XrlReply reply);
  void connect();
  void tell_what_it_waits_for(std::string_view reason);
  void register_target();
  void registered(const XrlError& error);
  void become_ready();
  // What a user asks for is kept from its request on.
  void note_interest(const Request& request, std::uint32_t sequence);
  void interest_answered(const Request& request, std::uint32_t sequence, const XrlError& error);
  void ask_interests();
  void ask_interest(const std::string& class_name);
  void interest_asked_again(const std::string& class_name, const XrlError& error);
  void end_session_unless(bool asked);
  void transmit(std::uint32_t sequence, const Request& request);
  void forget_finished();
  [[nodiscard]] Duration longest_retry() const;
  [[nodiscard]] XrlError timeout_error() const;

  void connection_up(XrlConnection& connection) override;
  void reply_arrived(XrlConnection& connection, std::uint32_t sequence, const XrlError& error,
                     XrlArgsReader& results) override;
  void connection_down(XrlConnection& connection, XrlConnection::Cause cause,
                       std::string_view reason) override;

  EventLoop& _loop;
  Identity _identity;
  const XrlCmdMap& _commands;
  Owner& _owner;
  XrlBufferBudget& _budget;
  IPv4 _address;
  bool _address_is_known;
  bool _ready = false;  // a session stands and the target is registered
  bool _was_ready = false;
  bool _stands_by = false;    // another target held the class when last asked
  std::string _told_refusal;  // what was logged last, so that it is logged once
  std::map<std::string, Interest, std::less<>> _interests;  // by class name
  std::unique_ptr<WellKnownCmdMap> _notice_commands;
  std::unique_ptr<Notices> _notices;
  std::unique_ptr<Sender> _session_sender;
  std::unique_ptr<Sender> _lookup_sender;
  std::unique_ptr<XrlConnection> _connection;
  XrlClosedConnections _closed;
  XrlCalls _calls;
  FinderRequests _requests;
  RetryTimer _retry;
  Timer _register_again;  // after a refusal
  Deferred _register;
  Lifeline _lifeline;
};
