#include "framework/xrl/router/xrl_peer.h"

#include <algorithm>
#include <utility>

#include "framework/xrl/limits.h"

namespace {

// The target may listen at addresses that this process cannot use: a
// Unix-domain address is only for processes of the same host.
std::vector<NetAddress> usable_addresses(const std::vector<NetAddress>& all, IPv4 local_host) {
  bool same_host = false;
  for (const NetAddress& address : all) {
    if (address.family == NetAddress::Family::TCP) {
      same_host = same_host || address.host.is_loopback() || address.host == local_host;
    }
  }
  std::vector<NetAddress> usable;
  for (const NetAddress& address : all) {
    if (address.family == NetAddress::Family::TCP || same_host) usable.push_back(address);
  }
  return usable;
}

}  // namespace

XrlPeer::XrlPeer(EventLoop& loop, std::string target, xrl_frame::Hello hello, FinderClient& finder,
                 Owner& owner, XrlBufferBudget& budget)
    : _loop(loop),
      _target(std::move(target)),
      _hello(std::move(hello)),
      _finder(finder),
      _owner(owner),
      _budget(budget),
      _last_asked(loop.now()),
      _closed(loop),
      _calls(
          loop, xrl_limits::REPLY_TIMEOUT, [this] { return give_up(); },
          &owner.requests_together()),
      _refuse(loop, [this] { refuse_now(); }) {}

XrlPeer::~XrlPeer() = default;

bool XrlPeer::send(std::string_view method, std::span<const std::uint8_t> args, XrlReply reply) {
  if (_calls.pending() >= xrl_limits::MAX_REQUESTS_IN_FLIGHT ||
      _owner.requests_together() >= xrl_limits::MAX_REQUESTS_TOGETHER ||
      _calls.span() >= xrl_limits::MAX_REQUESTS_SPANNED) {
    return false;
  }
  _last_asked = _loop.now();
  // What a target in doubt does not know, the one that has its name now may.
  if (_connected && (!_resolution_in_doubt || find_key(method) != nullptr)) {
    if (_connection->bytes_to_write() + args.size() > xrl_limits::MAX_REQUEST_BYTES_QUEUED) {
      return false;
    }
    transmit(_calls.add(std::move(reply)), method, args);
    if (_resolution_in_doubt && !_resolving) resolve();
    return true;
  }
  if (_waiting_bytes + args.size() > xrl_limits::MAX_REQUEST_BYTES_QUEUED) return false;
  enqueue(_calls.add(std::move(reply)), method, args);
  set_out();
  return true;
}

void XrlPeer::enqueue(std::uint32_t sequence, std::string_view method,
                      std::span<const std::uint8_t> args) {
  _waiting.push_back({sequence, std::string(method), {args.begin(), args.end()}});
  _waiting_bytes += args.size();
}

const XrlKey* XrlPeer::find_key(std::string_view method) {
  if (_last_key != nullptr && method == _last_method) return _last_key;
  const auto found = _resolution.keys.find(method);
  if (found == _resolution.keys.end()) return nullptr;
  _last_method = method;
  _last_key = &found->second;
  return _last_key;
}

void XrlPeer::transmit(std::uint32_t sequence, std::string_view method,
                       std::span<const std::uint8_t> args) {
  const XrlKey* key = find_key(method);
  if (key != nullptr) [[likely]] {
    _connection->send_request(sequence, *key, args);
    return;
  }
  refuse_later(sequence, XrlError::NO_SUCH_METHOD("'" + _target + "' has no method '" +
                                                  std::string(method) + "'."));
}

// No callback runs within send().
void XrlPeer::refuse_later(std::uint32_t sequence, XrlError error) {
  _refused.emplace_back(sequence, std::move(error));
  _refuse.schedule();
}

void XrlPeer::refuse_now() {
  const auto token = _lifeline.token();
  for (const auto& [sequence, error] : std::exchange(_refused, {})) {
    _calls.fail(sequence, error);
    if (!token->alive) return;
  }
  tell_if_idle();
}

// Towards a connection: with what is known of the target, or by asking.
void XrlPeer::set_out() {
  if (_resolving || (_connection != nullptr && !_connected)) return;
  if (_resolution.instance.empty() || _resolution_in_doubt) {
    resolve();
  } else {
    _next_address = 0;
    try_next_address();
  }
}

void XrlPeer::resolve() {
  _resolving = _finder.resolve(
      _target, callback(_lifeline,
                        [this](const XrlError& error, const FinderClient::Resolution& resolution) {
                          resolved(error, resolution);
                        }));
  if (!_resolving) {
    refuse_waiting(XrlError::RESOLVE_FAILED("too many requests wait for the finder."));
  }
}

void XrlPeer::resolved(const XrlError& error, const FinderClient::Resolution& resolution) {
  _resolving = false;
  if (_connected) {
    // The answer to a doubt. A target that went on under its old connection
    // stays; another instance takes its place at once.
    if (!error.is_okay()) {
      refuse_waiting(error);
      return;
    }
    const bool is_another = resolution.instance != _resolution.instance;
    use(resolution);
    if (is_another) {
      _connection->close("the target is another instance now");
    } else {
      _resolution_is_fresh = false;
      transmit_waiting();
    }
    return;
  }
  if (!error.is_okay()) {
    forget_resolution();
    fail_all(error);
    return;
  }
  use(resolution);
  try_next_address();
}

void XrlPeer::use(const FinderClient::Resolution& resolution) {
  _resolution = resolution;
  _resolution.addresses = usable_addresses(resolution.addresses, _owner.local_host());
  _resolution_is_fresh = true;
  _resolution_in_doubt = _resolution_is_old = false;
  _last_key = nullptr;
  _next_address = 0;
  _connect_problem = "it told no address that can be used";
}

void XrlPeer::try_next_address() {
  while (_next_address < _resolution.addresses.size()) {
    const NetAddress& address = _resolution.addresses[_next_address++];
    const int fd = _loop.network().connect(address);
    if (fd < 0) continue;
    XrlConnection::Delegate& self = *this;
    _connection = std::make_unique<XrlConnection>(_loop, fd, XrlConnection::Side::CONNECTING,
                                                  address, _hello, nullptr, self, &_budget);
    return;
  }
  // What the finder said is its last word only as long as nothing has happened since.
  const bool was_fresh =
      std::exchange(_resolution_is_fresh, false) && !_resolution_in_doubt && !_resolution_is_old;
  forget_resolution();
  if (was_fresh) {
    fail_all(
        XrlError::SEND_FAILED("'" + _target + "' cannot be reached: " + _connect_problem + "."));
  } else {
    resolve();
  }
}

void XrlPeer::connection_up(XrlConnection& connection) {
  if (connection.peer_instance() != _resolution.instance) {
    connection.close("another instance listens there");
    return;
  }
  _connected = true;
  _resolution_is_fresh = false;
  _resolution_in_doubt = _resolution_in_doubt || _resolution_is_old;
  transmit_waiting();
}

// What a target in doubt does not know goes on waiting for who has its name.
void XrlPeer::transmit_waiting() {
  _waiting_bytes = 0;
  for (Waiting& request : std::exchange(_waiting, {})) {
    if (!_calls.is_pending(request.sequence)) continue;
    if (_resolution_in_doubt && find_key(request.method) == nullptr) {
      _waiting_bytes += request.args.size();
      _waiting.push_back(std::move(request));
    } else {
      transmit(request.sequence, request.method, request.args);
    }
  }
  if (_resolution_in_doubt && !_resolving) resolve();
}

void XrlPeer::refuse_waiting(const XrlError& error) {
  if (!_waiting.empty()) tell_of_loss();
  _waiting_bytes = 0;
  for (const Waiting& request : std::exchange(_waiting, {})) {
    refuse_later(request.sequence, error);
  }
}

void XrlPeer::reply_arrived(XrlConnection&, std::uint32_t sequence, const XrlError& error,
                            XrlArgsReader& results) {
  if (error.code() == XrlErrorCode::INTERNAL_ERROR) [[unlikely]] {
    tell_of_loss();
  } else if (_lost) [[unlikely]] {
    _lost = false;
    _owner.target_answers(_target);
  }
  _calls.finish(sequence, error, results);
}

void XrlPeer::connection_down(XrlConnection&, XrlConnection::Cause, std::string_view reason) {
  _closed.add(std::move(_connection));
  if (!std::exchange(_connected, false)) {
    // Nobody listens at that address, or a stranger does.
    _connect_problem = reason;
    try_next_address();
    return;
  }
  // What waited for a doubt to be settled was not on the way.
  std::erase_if(_waiting, [this](const Waiting& w) { return !_calls.is_pending(w.sequence); });
  const auto token = _lifeline.token();
  if (_calls.pending() > _waiting.size()) {
    tell_of_loss();
    _calls.fail_all(XrlError::SEND_FAILED("the connection to '" + _target +
                                          "' was lost: " + std::string(reason) + "."),
                    [this](std::uint32_t sequence) { return is_waiting(sequence); });
    if (!token->alive) return;
  }
  if (_waiting.empty()) {
    tell_if_idle();
  } else {
    set_out();
  }
}

bool XrlPeer::is_waiting(std::uint32_t sequence) const {
  return std::any_of(_waiting.begin(), _waiting.end(),
                     [sequence](const Waiting& w) { return w.sequence == sequence; });
}

void XrlPeer::forget_resolution() {
  _resolution = {};
  _resolution_in_doubt = _resolution_is_old = false;
  _last_key = nullptr;
}

void XrlPeer::fail_all(const XrlError& error) {
  _waiting.clear();
  _waiting_bytes = 0;
  if (_calls.pending() != 0) tell_of_loss();
  const auto token = _lifeline.token();
  _calls.fail_all(error);
  if (token->alive) tell_if_idle();
}

// Who asked may have asked because of the target's birth, and will not again.
void XrlPeer::tell_of_loss() {
  _lost = true;
  _owner.requests_lost(_target);
}

void XrlPeer::tell_if_idle() {
  if (is_idle()) _owner.peer_is_idle();
}

XrlError XrlPeer::give_up() {
  tell_of_loss();
  if (_resolving && !_finder.is_ready()) return XrlError::NO_FINDER("the finder is not reached.");
  return XrlError::REPLY_TIMED_OUT("no reply from '" + _target + "' in time.");
}

void XrlPeer::target_died(std::string_view instance) {
  if (instance != _resolution.instance) return;
  if (_connection == nullptr && !_resolving) {
    forget_resolution();
    tell_if_idle();
  } else {
    _resolution_in_doubt = true;
  }
}
