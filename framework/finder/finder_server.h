// FinderServer: the name service on the network. Every connection is a session
// of the registry; what the registry has to tell a session goes out as requests
// on that session's own connection, whose answers nobody waits for:
//   BIRTH, DEATH   finder_event_observer/0.1, with the key the target registered
//   TARGET_DIED    finder_client/0.1, with its well-known key
//
// News leave in the order the registry queued them; what the asking session
// itself is told follows the answer to its request. A session that does not take
// what it is told is closed, for it would be out of step for good; when it
// returns it registers again and hears all anew. So is one for whose news there
// is no memory, here or, as its answer says, there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>

#include "framework/base/event_loop.h"
#include "framework/finder/allow_list.h"
#include "framework/finder/finder_registry.h"
#include "framework/finder/finder_target.h"
#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/router/xrl_dispatcher.h"
#include "framework/xrl/router/xrl_listener.h"
#include "framework/xrl/router/xrl_statistics_target.h"
#include "framework/xrl/well_known_cmd_map.h"

namespace finder_limits {

// Bytes that a session has not taken yet when it is to be told something.
inline constexpr std::size_t MAX_UNSENT_BYTES = 4U << 20U;

}  // namespace finder_limits

class FinderServer final : private XrlListener::Observer, private XrlFinderTarget::Sessions {
 public:
  // Listens from here on. A peer that `allowed` does not allow is refused, and
  // so is one that does not show `cookie` (which may be empty: none is asked
  // for). Of more than `max_sessions` (at most MAX_SESSIONS) peers the one that
  // registered nothing and was silent longest goes. Throws XorpException, whose
  // text names address and reason, when it cannot listen.
  FinderServer(EventLoop& loop, const NetAddress& address, AllowList allowed, std::string cookie,
               std::size_t max_sessions = finder_limits::MAX_SESSIONS);
  ~FinderServer() override;
  FinderServer(const FinderServer&) = delete;
  FinderServer& operator=(const FinderServer&) = delete;

  // Where it listens, with the port it got.
  [[nodiscard]] const NetAddress& address() const { return _listener.addresses().front(); }
  [[nodiscard]] const FinderRegistry& registry() const { return _registry; }

 private:
  [[nodiscard]] XrlListener::Options listener_options(AllowList allowed, std::string cookie,
                                                      std::size_t max_sessions) const;
  // Listens and answers the target that the finder itself is.
  [[nodiscard]] FinderTarget open(const NetAddress& address);

  void session_up(XrlConnection& connection) override;
  void session_down(XrlConnection& connection) override;
  void answered(XrlConnection& connection, const XrlError& error) override;

  FinderSession current_session() override;
  void send_notices() override;

  // Closes the session where it cannot be told.
  void tell(XrlConnection& to, const FinderNotice& notice);
  void send(XrlConnection& to, const FinderNotice& notice);
  void close_who_is_out_of_step();

  WellKnownCmdMap _commands;
  XrlFinderTarget _target;
  XrlDispatcher _dispatcher;
  XrlStatisticsTarget _statistics;
  XrlListener _listener;
  FinderRegistry _registry;
  std::unordered_map<const XrlConnection*, FinderSession> _sessions;
  std::map<FinderSession, XrlConnection*> _connections;
  std::uint32_t _next_sequence = 0;
  ByteBuffer _args;
  Deferred _send_later;
};
