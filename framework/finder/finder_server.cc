#include "framework/finder/finder_server.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "framework/base/exceptions.h"
#include "framework/base/unless_kept.h"
#include "framework/base/xlog.h"
#include "framework/xrl/finder_constants.h"

namespace {

constexpr const char* FINDER = FinderConstants::FINDER_TARGET();
constexpr const char* OUT_OF_MEMORY = "out of memory";
constexpr std::string_view TARGET_DIED_METHOD = "finder_client/0.1/target_died";

}  // namespace

FinderServer::FinderServer(EventLoop& loop, const NetAddress& address, AllowList allowed,
                           std::string cookie, std::size_t max_sessions)
    : _commands(FINDER),
      _target(_commands, _registry, *this),
      _statistics(_commands, _dispatcher),
      _listener(loop, _dispatcher,
                listener_options(std::move(allowed), std::move(cookie), max_sessions), this),
      _registry(open(address)),
      _send_later(loop, [this] { send_notices(); }) {
  _dispatcher.set_commands(_commands);
}

FinderServer::~FinderServer() = default;

XrlListener::Options FinderServer::listener_options(AllowList allowed, std::string cookie,
                                                    std::size_t max_sessions) const {
  XrlListener::Options options = XrlListener::default_options();
  options.hello = {FINDER, std::move(cookie)};
  options.max_connections = std::min(max_sessions, finder_limits::MAX_SESSIONS);
  options.admit = [allowed = std::move(allowed)](const NetAddress& peer) {
    return allowed.allows(peer);
  };
  // A daemon may be silent for months; who only asks comes again.
  options.keep = [this](const XrlConnection& connection) {
    return _registry.target_of(_sessions.at(&connection)) != nullptr;
  };
  return options;
}

FinderTarget FinderServer::open(const NetAddress& address) {
  const int result = _listener.listen(address);
  if (result < 0) {
    throw XorpException("cannot listen on " + address.str() + ": " + std::strerror(-result));
  }
  FinderTarget own{FINDER, FINDER, {this->address().str()}, {}};
  for (const auto& command : _commands.commands()) {
    own.methods.push_back({command->method, command->key});
  }
  return own;
}

// ---------------------------------------------------------------- sessions

void FinderServer::session_up(XrlConnection& connection) {
  const std::optional<FinderSession> session = _registry.open_session();
  // The listener keeps no more connections than there may be sessions.
  XLOG_ASSERT(session.has_value(), std::to_string(_registry.session_count()) + " sessions");
  UnlessKept opened([&] { _registry.close_session(*session); });
  const auto by_connection = _sessions.emplace(&connection, *session).first;
  UnlessKept found([&] { _sessions.erase(by_connection); });
  _connections.emplace(*session, &connection);
  found.keep();
  opened.keep();
}

void FinderServer::session_down(XrlConnection& connection) {
  const auto found = _sessions.find(&connection);
  if (found == _sessions.end()) return;  // there was no memory for the session
  const FinderSession session = found->second;
  _sessions.erase(found);
  _connections.erase(session);
  _registry.close_session(session);
  // Not at once: it may be send_notices() that closed the connection.
  _send_later.schedule();
}

// Else it would not hear again of what it could not take.
void FinderServer::answered(XrlConnection& connection, const XrlError& error) {
  if (error.code() == XrlErrorCode::INTERNAL_ERROR) connection.close("it could not take its news");
}

FinderSession FinderServer::current_session() {
  return _sessions.at(_dispatcher.current());
}

// ----------------------------------------------------------------- notices

void FinderServer::send_notices() {
  while (_registry.is_out_of_step() || _registry.has_notices()) {
    close_who_is_out_of_step();
    for (const FinderNotice& notice : _registry.take_notices()) {
      const auto to = _connections.find(notice.to);
      if (to != _connections.end()) tell(*to->second, notice);
    }
  }
}

void FinderServer::tell(XrlConnection& to, const FinderNotice& notice) {
  try {
    send(to, notice);
  } catch (const std::bad_alloc&) {
    to.close(OUT_OF_MEMORY);
  }
}

void FinderServer::close_who_is_out_of_step() {
  for (auto at = _connections.begin(); _registry.is_out_of_step() && at != _connections.end();) {
    // Closing it takes it off the list.
    const auto [session, connection] = *at++;
    if (_registry.is_out_of_step(session)) connection->close(OUT_OF_MEMORY);
  }
}

void FinderServer::send(XrlConnection& to, const FinderNotice& notice) {
  // What arose within this turn is not the session's fault.
  if (to.bytes_to_write() > finder_limits::MAX_UNSENT_BYTES) to.hand_over();
  if (to.bytes_to_write() > finder_limits::MAX_UNSENT_BYTES) {
    to.close("the session takes no news");
    return;
  }
  _args.clear();
  XrlArgsWriter args(_args);
  if (notice.kind == FinderNotice::Kind::TARGET_DIED) {
    args.text("instance_name", notice.instance_name);
    to.send_request(_next_sequence++, well_known_xrl_key(TARGET_DIED_METHOD), _args.bytes());
  } else {
    args.text("target_class", notice.class_name);
    args.text("target_instance", notice.instance_name);
    to.send_request(_next_sequence++, notice.key, _args.bytes());
  }
}
