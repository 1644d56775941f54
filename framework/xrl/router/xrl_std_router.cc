#include "framework/xrl/router/xrl_std_router.h"

#include <array>

#include "framework/base/exceptions.h"
#include "framework/base/hex.h"
#include "framework/base/xlog.h"
#include "framework/xrl/finder_constants.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/router/cookie.h"
#include "framework/xrl/router/xrl_statistics_target.h"

namespace {

constexpr std::size_t INSTANCE_DIGITS = 16;

std::string make_instance_name(Kernel& kernel, std::string_view class_name) {
  std::array<std::uint8_t, INSTANCE_DIGITS / 2> random{};
  kernel.random_bytes(random);
  const std::string_view name = class_name.empty() ? "client" : class_name;
  return std::string(name) + "-" + hex_text(random);
}

bool is_instance_of(std::string_view instance, std::string_view class_name) {
  if (instance.size() != class_name.size() + 1 + INSTANCE_DIGITS) return false;
  return instance.starts_with(class_name) && instance[class_name.size()] == '-';
}

std::string cookie_of_environment() {
  std::string cookie;
  std::string error;
  if (!read_cookie_from_environment(cookie, error)) throw XorpException(error);
  return cookie;
}

}  // namespace

XrlStdRouter::XrlStdRouter(EventLoop& loop, const char* class_name, const char* finder_host,
                           std::uint16_t finder_port, bool unix_listener)
    : XrlRouter(class_name),
      _loop(loop),
      _unix_listener(unix_listener),
      _hello{make_instance_name(loop.kernel(), class_name), cookie_of_environment()},
      _sweep(loop, [this] { drop_idle_peers(); }) {
  XrlListener::Options options = XrlListener::default_options();
  options.hello = _hello;
  _listener = std::make_unique<XrlListener>(loop, _dispatcher, std::move(options));
  FinderClient::Owner& self = *this;
  _finder = std::make_unique<FinderClient>(
      loop, FinderClient::Identity{finder_host, finder_port, class_name, _hello}, *this,
      _dispatcher, self, _listener->budget());
  if (*class_name == '\0') return;
  _statistics = std::make_unique<XrlStatisticsTarget>(*this, _dispatcher);
  keep_last();
}

XrlStdRouter::~XrlStdRouter() = default;

std::size_t XrlStdRouter::pending() const {
  return _finder->pending() + _requests_to_peers;
}

bool XrlStdRouter::send(std::string_view target, std::string_view method, XrlReply reply) {
  if (!_finder->was_ready() || _args_past_limit || !xrl_frame::fits_request(_args.size())) {
    return false;
  }
  if (target.size() > xrl_limits::MAX_TARGET_NAME_BYTES) return false;
  if (target == FinderConstants::FINDER_TARGET())
    return _finder->send(method, _args.bytes(), std::move(reply));
  XrlPeer* const peer = peer_for(target);
  return peer != nullptr && peer->send(method, _args.bytes(), std::move(reply));
}

XrlPeer* XrlStdRouter::peer_for(std::string_view target) {
  if (_last_peer != nullptr && _last_peer->target() == target) return _last_peer;
  auto found = _peers.find(target);
  if (found == _peers.end()) {
    if (_peers.size() >= xrl_limits::MAX_PEERS && !drop_one_peer()) return nullptr;
    XrlPeer::Owner& self = *this;
    found = _peers
                .emplace(std::string(target),
                         std::make_unique<XrlPeer>(_loop, std::string(target), _hello, *_finder,
                                                   self, _listener->budget()))
                .first;
  }
  _last_peer = found->second.get();
  return _last_peer;
}

// The one that was asked longest ago; those that owe an answer stay.
bool XrlStdRouter::drop_one_peer() {
  auto oldest = _peers.end();
  for (auto at = _peers.begin(); at != _peers.end(); ++at) {
    if (at->second->pending() != 0) continue;
    if (oldest == _peers.end() || at->second->last_asked() < oldest->second->last_asked()) {
      oldest = at;
    }
  }
  if (oldest == _peers.end()) return false;
  _last_peer = nullptr;
  _peers.erase(oldest);
  return true;
}

// Names that were asked for once must not pile up.
void XrlStdRouter::drop_idle_peers() {
  _last_peer = nullptr;
  std::erase_if(_peers, [](const auto& entry) { return entry.second->is_idle(); });
}

void XrlStdRouter::set_request_filter(RequestFilter filter) {
  if (!filter) {
    _dispatcher.set_filter(nullptr);
    return;
  }
  _dispatcher.set_filter([filter = std::move(filter)](const XrlCmdMap::Command& command) {
    return filter(command.method);
  });
}

void XrlStdRouter::refuse_changes() {
  _dispatcher.set_filter([](const XrlCmdMap::Command& command) {
    return command.kind == XrlMethodKind::CHANGE ? XrlFilterAction::REFUSE
                                                 : XrlFilterAction::HANDLE;
  });
}

XrlKey XrlStdRouter::make_key(std::string_view /*method*/) {
  XrlKey key;
  _loop.kernel().random_bytes(key);
  return key;
}

void XrlStdRouter::commands_changed() {
  _dispatcher.set_commands(*this);
  _finder->commands_changed();
}

bool XrlStdRouter::listens_on(IPv4 host) const {
  for (const NetAddress& address : _listener->addresses()) {
    if (address.family == NetAddress::Family::TCP && address.host == host) return true;
  }
  return false;
}

std::vector<NetAddress> XrlStdRouter::listen_for_peers(const NetAddress& local) {
  _local_host = local.host;
  if (!listens_on(local.host)) {
    const int result = _listener->listen(NetAddress::tcp(local.host, 0));
    if (result < 0) {
      XLOG_ERROR("cannot listen on %s: error %d", local.host.str().c_str(), -result);
      return {};
    }
    if (_unix_listener && _listener->addresses().size() == 1 &&
        _listener->listen(NetAddress::unix_path("@xrl-" + _hello.instance)) < 0) {
      XLOG_WARNING("no Unix-domain listener; TCP alone is used");
    }
  }
  // The Unix-domain address first: it is the cheaper one where it can be used.
  std::vector<NetAddress> addresses;
  for (const auto family : {NetAddress::Family::UNIX, NetAddress::Family::TCP}) {
    for (const NetAddress& address : _listener->addresses()) {
      if (address.family == family) addresses.push_back(address);
    }
  }
  return addresses;
}

void XrlStdRouter::session_began() {
  for (const auto& [target, peer] : _peers) peer->doubt();
}

void XrlStdRouter::target_died(std::string_view instance) {
  for (const auto& [target, peer] : _peers) peer->target_died(instance);
}

void XrlStdRouter::end_instances_before(std::string_view class_name, std::string_view living) {
  _listener->close_useless([&](const XrlConnection& connection) {
    const std::string& instance = connection.peer_instance();
    return instance != living && is_instance_of(instance, class_name);
  });
}

void wait_until_xrl_router_is_ready(EventLoop& loop, XrlRouter& router) {
  while (!router.ready()) loop.run();
}
