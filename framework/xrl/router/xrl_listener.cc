#include "framework/xrl/router/xrl_listener.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "framework/base/unless_kept.h"
#include "framework/base/xlog.h"
#include "framework/xrl/limits.h"

namespace {
// Connections taken from one listening socket in one turn.
constexpr int MAX_ACCEPTS_PER_TURN = 64;

// Whether accept() tells what became of a connection that waited, and not that
// it cannot take any.
bool is_of_one_connection(int error) {
  switch (error) {
    case -ECONNABORTED:
    case -EHOSTDOWN:
    case -EHOSTUNREACH:
    case -ENETDOWN:
    case -ENETUNREACH:
    case -ENONET:
    case -ENOPROTOOPT:
    case -EOPNOTSUPP:
    case -EPROTO:
    case -ETIMEDOUT:
      return true;
    default:
      return false;
  }
}
}  // namespace

XrlListener::Options XrlListener::default_options() {
  return {.hello = {},
          .admit = nullptr,
          .keep = nullptr,
          .max_connections = xrl_limits::MAX_CONNECTIONS,
          .max_handshakes = xrl_limits::MAX_HANDSHAKES,
          .max_buffered_bytes = xrl_limits::MAX_BUFFERED_BYTES};
}

XrlListener::XrlListener(EventLoop& loop, XrlDispatcher& dispatcher, Options options,
                         Observer* observer)
    : _loop(loop),
      _dispatcher(dispatcher),
      _options(std::move(options)),
      _observer(observer),
      _budget(_options.max_buffered_bytes),
      _closed(loop) {}

XrlListener::~XrlListener() {
  _connections.clear();
  for (Socket& socket : _sockets) {
    socket.watch.reset();
    _loop.network().close(socket.fd);
  }
}

int XrlListener::listen(const NetAddress& address) {
  const int fd = _loop.network().listen(address);
  if (fd < 0) return fd;
  Socket& socket = _sockets.emplace_back();
  socket.fd = fd;
  socket.watch = std::make_unique<Watch>(_loop, fd, IoInterest::READ,
                                         [this, &socket](IoInterest) { accept_some(socket); });
  socket.resume =
      std::make_unique<Timer>(_loop, [&socket] { socket.watch->set_interest(IoInterest::READ); });
  _addresses.push_back(_loop.network().local_address(fd));
  return 0;
}

void XrlListener::accept_some(Socket& socket) {
  for (int i = 0; i < MAX_ACCEPTS_PER_TURN; ++i) {
    NetAddress peer;
    const int fd = _loop.network().accept(socket.fd, peer);
    if (fd == -EAGAIN) return;
    if (fd >= 0) {
      _told_pause = false;
      admit(fd, peer);
    } else if (fd == -EMFILE || fd == -ENFILE) {
      // Where none may go, nobody knows whether the one who waits could be turned away.
      if (!make_room()) pause(socket, fd);
      return;
    } else if (!is_of_one_connection(fd)) {
      pause(socket, fd);
      return;
    }
  }
}

// What waits keeps the socket ready, so it is not looked at for a while.
void XrlListener::pause(Socket& socket, int error) {
  socket.resume->schedule_after(xrl_limits::ACCEPT_PAUSE);
  socket.watch->set_interest(IoInterest::NONE);
  if (std::exchange(_told_pause, true)) return;
  try {
    XLOG_WARNING("cannot take connections: %s; trying again", std::strerror(-error));
  } catch (const std::bad_alloc&) {
    _told_pause = false;  // the next attempt tells
  }
}

void XrlListener::admit(int fd, const NetAddress& peer) {
  try {
    const std::string refusal = refusal_of(peer);
    if (refusal.empty()) {
      take_over(fd, peer);
      return;
    }
    XLOG_WARNING("refused %s: %s", peer.str().c_str(), refusal.c_str());
  } catch (const std::bad_alloc&) {
    // There is no memory for it, or none to say why it is refused.
  }
  _loop.network().close(fd);
}

std::string XrlListener::refusal_of(const NetAddress& peer) {
  if (_options.admit && !_options.admit(peer)) return "not an allowed address";
  const bool full =
      _connections.size() >= _options.max_connections || _handshakes >= _options.max_handshakes;
  if (!full || make_room()) return {};
  return std::to_string(_connections.size()) + " connections are open";
}

void XrlListener::take_over(int fd, const NetAddress& peer) {
  _connections.emplace_back();
  UnlessKept place([this] { _connections.pop_back(); });
  XrlConnection::Delegate& self = *this;
  _connections.back() = std::make_unique<XrlConnection>(
      _loop, fd, XrlConnection::Side::ACCEPTED, peer, _options.hello, &_dispatcher, self, &_budget);
  place.keep();
  ++_handshakes;
}

bool XrlListener::make_room() {
  XrlConnection* victim = longest_silent(true);
  if (victim == nullptr) victim = longest_silent(false);
  if (victim == nullptr) return false;
  victim->close("made room for another connection");
  return true;
}

XrlConnection* XrlListener::longest_silent(bool in_handshake) const {
  XrlConnection* found = nullptr;
  for (const auto& connection : _connections) {
    if (connection->is_up() == in_handshake) continue;
    if (!in_handshake && _options.keep && _options.keep(*connection)) continue;
    if (found == nullptr || connection->last_heard() < found->last_heard()) {
      found = connection.get();
    }
  }
  return found;
}

void XrlListener::close_useless(const std::function<bool(const XrlConnection&)>& is_useless) {
  for (;;) {
    const auto at = std::find_if(_connections.begin(), _connections.end(),
                                 [&](const auto& held) { return is_useless(*held); });
    if (at == _connections.end()) return;
    (*at)->close({});
  }
}

void XrlListener::connection_up(XrlConnection& connection) {
  --_handshakes;
  if (_observer != nullptr) _observer->session_up(connection);
}

void XrlListener::reply_arrived(XrlConnection& connection, std::uint32_t, const XrlError& error,
                                XrlArgsReader&) {
  if (_observer != nullptr) _observer->answered(connection, error);
}

void XrlListener::log_closing(const XrlConnection& connection, std::string_view reason) {
  try {
    XLOG_WARNING("closed the connection of %s: %s", connection.peer().str().c_str(),
                 std::string(reason).c_str());
  } catch (const std::bad_alloc&) {
    // It goes all the same.
  }
}

void XrlListener::connection_down(XrlConnection& connection, XrlConnection::Cause cause,
                                  std::string_view reason) {
  const bool was_up = connection.was_up();
  if (!was_up) --_handshakes;
  if (cause != XrlConnection::Cause::PEER && !reason.empty()) log_closing(connection, reason);
  if (was_up && _observer != nullptr) _observer->session_down(connection);
  const auto at = std::find_if(_connections.begin(), _connections.end(),
                               [&](const auto& held) { return held.get() == &connection; });
  std::swap(*at, _connections.back());
  _closed.add(std::move(_connections.back()));
  _connections.pop_back();
}
