// XrlStdRouter: a router on an event loop, with a listener for those who ask,
// a session with the finder, and a connection to each target it asks.
//
// It may be made before the finder is there: it waits for it, and finds it
// again whenever it was lost. Peers that know each other go on meanwhile. The
// listener opens with the first session, on the address of this host that
// reaches the finder.
//
// Beside what is added to it, a router with a class name answers statistics/0.1.
//
// A handler may not destroy the router it runs from; a reply's callback may.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/event_loop.h"
#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/router/finder_client.h"
#include "framework/xrl/router/xrl_dispatcher.h"
#include "framework/xrl/router/xrl_listener.h"
#include "framework/xrl/router/xrl_peer.h"
#include "framework/xrl/router/xrl_router.h"

class XrlStatisticsTarget;

class XrlStdRouter final : public XrlRouter, private FinderClient::Owner, private XrlPeer::Owner {
 public:
  // `class_name`: the target's name, of which the system has one at a time; an
  // empty one makes a router that only asks and registers nothing. With
  // `unix_listener` processes of this host reach it over a Unix-domain socket.
  // Nothing is sent before the next turn of the loop. Throws XorpException when
  // XRL_COOKIE_FILE names a file that cannot be used. `finder_host` is a dotted
  // address or a name, which is looked up until it is found and not again.
  XrlStdRouter(EventLoop& loop, const char* class_name, const char* finder_host,
               std::uint16_t finder_port, bool unix_listener);
  ~XrlStdRouter() override;

  [[nodiscard]] const std::string& instance_name() const override { return _hello.instance; }
  [[nodiscard]] IPv4 finder_address() const override { return _finder->address(); }
  [[nodiscard]] std::uint16_t finder_port() const override { return _finder->port(); }
  [[nodiscard]] bool ready() const override { return _finder->was_ready(); }
  [[nodiscard]] std::size_t pending() const override;

  XrlArgsWriter begin_args() override {
    _args.clear();
    _args_past_limit = false;
    return XrlArgsWriter(_args, &_args_past_limit);
  }
  bool send(std::string_view target, std::string_view method, XrlReply reply) override;
  void note_change() override { _dispatcher.note_change(); }
  void end_instances_before(std::string_view class_name, std::string_view living) override;

  // Decides on each request before its handler sees it; empty: handle all.
  // `method` is "INTERFACE/VERSION/METHOD".
  using RequestFilter = std::function<XrlFilterAction(std::string_view method)>;
  void set_request_filter(RequestFilter filter);
  // For a process that is about to leave, in place of a filter: requests of kind change
  // are refused (COMMAND_FAILED "refused."), so that nobody who goes on asking for them
  // keeps it from leaving.
  void refuse_changes();

 private:
  XrlKey make_key(std::string_view method) override;
  void commands_changed() override;

  std::vector<NetAddress> listen_for_peers(const NetAddress& local) override;
  void session_began() override;
  void target_died(std::string_view instance) override;
  void requests_lost(const std::string& target) override { _finder->renew_interest(target); }
  void target_answers(const std::string& target) override { _finder->target_answers(target); }
  void peer_is_idle() override { _sweep.schedule(); }
  [[nodiscard]] IPv4 local_host() const override { return _local_host; }
  [[nodiscard]] std::size_t& requests_together() override { return _requests_to_peers; }

  // Null when there are too many already.
  [[nodiscard]] XrlPeer* peer_for(std::string_view target);
  bool drop_one_peer();
  void drop_idle_peers();
  [[nodiscard]] bool listens_on(IPv4 host) const;

  EventLoop& _loop;
  bool _unix_listener;
  xrl_frame::Hello _hello;
  IPv4 _local_host;
  ByteBuffer _args;
  bool _args_past_limit = false;  // they are not to be sent
  XrlDispatcher _dispatcher;
  std::unique_ptr<XrlListener> _listener;
  std::unique_ptr<FinderClient> _finder;
  std::size_t _requests_to_peers = 0;
  std::map<std::string, std::unique_ptr<XrlPeer>, std::less<>> _peers;
  XrlPeer* _last_peer = nullptr;  // that the last request went to
  Deferred _sweep;
  std::unique_ptr<XrlStatisticsTarget> _statistics;  // null where nobody can ask
};
