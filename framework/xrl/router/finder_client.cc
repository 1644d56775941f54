#include "framework/xrl/router/finder_client.h"

#include <algorithm>
#include <system_error>

#include "framework/base/xlog.h"
#include "framework/xrl/finder_constants.h"
#include "framework/xrl/interfaces/finder_event_notifier_xif.h"
#include "framework/xrl/interfaces/finder_session_tgt.h"
#include "framework/xrl/interfaces/finder_xif.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/well_known_cmd_map.h"

namespace {

constexpr std::string_view FINDER = FinderConstants::FINDER_TARGET();
constexpr std::string_view REGISTER_INTEREST =
    "finder_event_notifier/0.1/register_class_event_interest";
constexpr std::string_view DEREGISTER_INTEREST =
    "finder_event_notifier/0.1/deregister_class_event_interest";

// The lists of a finder's answer, as a resolution; false when they are not
// aligned or hold what is no address and no key.
bool read_resolution(std::string_view instance, const XrlAtomList& addresses,
                     const XrlAtomList& methods, const XrlAtomList& keys,
                     FinderClient::Resolution& resolution) {
  if (methods.size() != keys.size()) return false;
  resolution.instance = instance;
  for (const std::string_view text : addresses.texts()) {
    NetAddress address;
    if (!NetAddress::parse(std::string(text), address)) return false;
    resolution.addresses.push_back(std::move(address));
  }
  std::size_t index = 0;
  for (const std::string_view method : methods.texts()) {
    const XrlAtom atom = keys.get(index++);
    if (atom.type() != XrlAtomType::BINARY || atom.binary().size() != sizeof(XrlKey)) return false;
    XrlKey key;
    std::copy(atom.binary().begin(), atom.binary().end(), key.begin());
    resolution.keys.emplace(method, key);
  }
  return true;
}

std::string class_of_interest(const FinderRequests::Request& request) {
  XrlArgsReader args(request.args);
  std::string_view class_name;
  return std::string(args.text("class_name", class_name) ? class_name : std::string_view());
}

// Of the request for an interest: not now, but nothing is said against it.
bool may_pass(const XrlError& error) {
  return !error.reached_target() || error.code() == XrlErrorCode::INTERNAL_ERROR;
}

}  // namespace

class FinderClient::Sender final : public XrlSender {
 public:
  Sender(FinderClient& client, Purpose purpose) : _client(client), _purpose(purpose) {}

  XrlArgsWriter begin_args() override {
    _args.clear();
    return XrlArgsWriter(_args);
  }
  bool send(std::string_view /*target*/, std::string_view method, XrlReply reply) override {
    return _client.send_for(_purpose, method, _args.bytes(), std::move(reply));
  }

 private:
  FinderClient& _client;
  Purpose _purpose;
  ByteBuffer _args;
};

class FinderClient::Notices final : public XrlFinderSessionTargetBase {
 public:
  Notices(WellKnownCmdMap& commands, Owner& owner, XrlDispatcher& next)
      : XrlFinderSessionTargetBase(&commands), _owner(owner), _dispatcher(&next) {
    _dispatcher.set_commands(commands);
  }

  [[nodiscard]] XrlDispatcher& dispatcher() { return _dispatcher; }

  XrlCmdError finder_client_0_1_target_died(std::string_view instance_name) override {
    _owner.target_died(instance_name);
    return XrlCmdError::OKAY();
  }

 private:
  Owner& _owner;
  XrlDispatcher _dispatcher;
};

FinderClient::FinderClient(EventLoop& loop, Identity identity, const XrlCmdMap& commands,
                           XrlDispatcher& dispatcher, Owner& owner, XrlBufferBudget& budget)
    : _loop(loop),
      _identity(std::move(identity)),
      _commands(commands),
      _owner(owner),
      _budget(budget),
      _notice_commands(std::make_unique<WellKnownCmdMap>(_identity.hello.instance)),
      _notices(std::make_unique<Notices>(*_notice_commands, owner, dispatcher)),
      _session_sender(std::make_unique<Sender>(*this, Purpose::SESSION)),
      _lookup_sender(std::make_unique<Sender>(*this, Purpose::LOOKUP)),
      _closed(loop),
      _calls(loop, xrl_limits::REPLY_TIMEOUT, [this] { return timeout_error(); }),
      _retry(
          loop, [this] { connect(); }, xrl_limits::RECONNECT_MIN, longest_retry()),
      _register_again(loop, [this] { register_target(); }),
      _register(loop, [this] { register_target(); }) {
  _address_is_known = IPv4::parse(_identity.finder_host, _address);
  _retry.try_now();
}

FinderClient::~FinderClient() = default;

std::size_t FinderClient::pending() const {
  return static_cast<std::size_t>(
      std::count_if(_requests.all().begin(), _requests.all().end(), [this](const auto& entry) {
        return entry.second.purpose == Purpose::USER && _calls.is_pending(entry.first);
      }));
}

bool FinderClient::send(std::string_view method, std::span<const std::uint8_t> args,
                        XrlReply reply) {
  return _was_ready && send_for(Purpose::USER, method, args, std::move(reply));
}

bool FinderClient::send_for(Purpose purpose, std::string_view method,
                            std::span<const std::uint8_t> args, XrlReply reply) {
  if (!_requests.has_room(purpose, args.size())) forget_finished();
  const bool spans_too_many =
      purpose != Purpose::SESSION && _calls.span() >= xrl_limits::MAX_REQUESTS_SPANNED;
  const bool watches_too_many =
      method == REGISTER_INTEREST && _interests.size() >= xrl_limits::MAX_FINDER_REQUESTS;
  if (spans_too_many || watches_too_many || !_requests.has_room(purpose, args.size())) return false;
  const std::uint32_t sequence = _calls.add(std::move(reply));
  const Request& request =
      _requests.add(sequence, {purpose, std::string(method), {args.begin(), args.end()}});
  if (purpose == Purpose::USER) note_interest(request, sequence);
  // What belongs to a session is asked for while that stands.
  if (_ready || purpose == Purpose::SESSION) transmit(sequence, request);
  return true;
}

// Requests that timed out are known to the calls alone.
void FinderClient::forget_finished() {
  _requests.forget_if([this](std::uint32_t sequence) { return !_calls.is_pending(sequence); });
}

void FinderClient::transmit(std::uint32_t sequence, const Request& request) {
  _connection->send_request(sequence, well_known_xrl_key(request.method), request.args);
}

bool FinderClient::resolve(std::string_view target, ResolveCB callback) {
  XrlFinderV0p2Client finder(_lookup_sender.get());
  return finder.send_resolve_target(
      FINDER, target,
      ::callback(_lifeline, [done = std::move(callback)](
                                const XrlError& error, const std::string_view* instance,
                                const XrlAtomList* addresses, const XrlAtomList* methods,
                                const XrlAtomList* keys) {
        Resolution resolution;
        if (!error.is_okay()) {
          // The finder refuses a name that nobody registered.
          const bool unknown = error.code() == XrlErrorCode::COMMAND_FAILED ||
                               error.code() == XrlErrorCode::BAD_ARGS;
          done->dispatch(unknown ? XrlError::RESOLVE_FAILED(error.note()) : error, resolution);
        } else if (!read_resolution(*instance, *addresses, *methods, *keys, resolution)) {
          done->dispatch(XrlError::INTERNAL_ERROR("the finder's answer makes no sense."), {});
        } else {
          done->dispatch(error, resolution);
        }
      }));
}

void FinderClient::connect() {
  if (!_address_is_known) {
    _address_is_known = _loop.network().look_up(_identity.finder_host, _address);
  }
  if (!_address_is_known) {
    if (_told_refusal.empty()) {
      _told_refusal = "no such host";
      XLOG_WARNING("the finder's host '%s' has no address; trying again",
                   _identity.finder_host.c_str());
    }
    _retry.failed();
    return;
  }
  _retry.set_longest(longest_retry());
  const NetAddress finder = NetAddress::tcp(_address, _identity.finder_port);
  const int fd = _loop.network().connect(finder);
  if (fd < 0) {
    tell_what_it_waits_for(std::generic_category().message(-fd));
    _retry.failed();
    return;
  }
  XrlConnection::Delegate& self = *this;
  _connection =
      std::make_unique<XrlConnection>(_loop, fd, XrlConnection::Side::CONNECTING, finder,
                                      _identity.hello, &_notices->dispatcher(), self, &_budget);
}

Duration FinderClient::longest_retry() const {
  return _address.is_loopback() ? xrl_limits::RECONNECT_MAX_LOOPBACK : xrl_limits::RECONNECT_MAX;
}

void FinderClient::tell_what_it_waits_for(std::string_view reason) {
  if (!_told_refusal.empty()) return;
  _told_refusal = reason;
  XLOG_INFO("waiting for the finder at %s:%u: %s", _address.str().c_str(),
            static_cast<unsigned>(_identity.finder_port), _told_refusal.c_str());
}

void FinderClient::connection_up(XrlConnection&) {
  // Who holds the class asks for it at once after the finder was restarted;
  // who waits for it asks later, so the holder gets it back.
  if (_stands_by) {
    _register_again.schedule_after(longest_retry() * 2);
  } else {
    register_target();
  }
}

void FinderClient::register_target() {
  if (!_connection || !_connection->is_up()) return;
  if (_identity.class_name.empty()) {
    become_ready();
    return;
  }
  const auto addresses = _owner.listen_for_peers(_connection->local_address());
  if (addresses.empty()) {
    _connection->close("cannot listen for peers");
    return;
  }
  XrlAtomList texts;
  for (const NetAddress& address : addresses) texts.append(address.str());
  XrlAtomList methods;
  XrlAtomList keys;
  for (const auto& command : _commands.commands()) {
    methods.append(command->method);
    keys.append(XrlAtom::unnamed(XrlAtom::Binary(command->key.begin(), command->key.end())));
  }
  XrlFinderV0p2Client finder(_session_sender.get());
  end_session_unless(finder.send_register_target(
      FINDER, _identity.hello.instance, _identity.class_name, texts, methods, keys,
      callback(_lifeline, [this](const XrlError& error) { registered(error); })));
}

// What a session is for cannot be left out; the next one begins with it anew.
void FinderClient::end_session_unless(bool asked) {
  if (!asked) _connection->close("it owes too many answers");
}

void FinderClient::registered(const XrlError& error) {
  if (error.is_okay()) {
    become_ready();
    return;
  }
  if (!_connection || !_connection->is_up()) return;
  if (_told_refusal != error.note()) {
    _told_refusal = error.note();
    XLOG_WARNING("the finder does not register '%s': %s Trying again.",
                 _identity.class_name.c_str(), error.note().c_str());
  }
  _stands_by = true;
  _register_again.schedule_after(longest_retry() * 2);
}

void FinderClient::become_ready() {
  _stands_by = false;
  _told_refusal.clear();
  _retry.succeeded();
  _was_ready = true;
  if (_ready) return;
  _ready = true;
  _owner.session_began();
  forget_finished();
  for (const auto& [sequence, request] : _requests.all()) {
    if (request.purpose != Purpose::SESSION) transmit(sequence, request);
  }
  ask_interests();
}

// All but those whose user's own request was just sent again.
void FinderClient::ask_interests() {
  for (auto& [class_name, interest] : _interests) {
    interest.renew.cancel();
    if (!_calls.is_pending(interest.asked)) ask_interest(class_name);
  }
}

void FinderClient::ask_interest(const std::string& class_name) {
  if (!_ready) return;
  XrlFinderEventNotifierV0p1Client notifier(_session_sender.get());
  end_session_unless(notifier.send_register_class_event_interest(
      FINDER, _identity.hello.instance, class_name,
      callback(_lifeline, [this, class_name](const XrlError& error) {
        interest_asked_again(class_name, error);
      })));
}

void FinderClient::interest_asked_again(const std::string& class_name, const XrlError& error) {
  const auto interest = _interests.find(class_name);
  if (interest == _interests.end()) return;  // withdrawn meanwhile
  if (error.is_okay()) {
    interest->second.confirmed = true;
  } else if (may_pass(error)) {
    interest->second.renew.failed();
  } else {
    XLOG_WARNING("the finder no longer reports on '%s': %s", class_name.c_str(),
                 error.str().c_str());
  }
}

void FinderClient::commands_changed() {
  _register.schedule();
}

void FinderClient::renew_interest(std::string_view class_name) {
  const auto interest = _interests.find(class_name);
  if (interest != _interests.end()) interest->second.renew.failed();
}

void FinderClient::target_answers(std::string_view class_name) {
  const auto interest = _interests.find(class_name);
  if (interest != _interests.end()) interest->second.renew.succeeded();
}

void FinderClient::note_interest(const Request& request, std::uint32_t sequence) {
  if (request.method == DEREGISTER_INTEREST) {
    _interests.erase(class_of_interest(request));
  } else if (request.method == REGISTER_INTEREST) {
    const std::string name = class_of_interest(request);
    const auto ask_again = [this, name] { ask_interest(name); };
    _interests.try_emplace(name, _loop, ask_again).first->second.asked = sequence;
  }
}

void FinderClient::interest_answered(const Request& request, std::uint32_t sequence,
                                     const XrlError& error) {
  const auto interest = _interests.find(class_of_interest(request));
  if (interest == _interests.end() || interest->second.asked != sequence) return;
  if (error.is_okay()) {
    interest->second.confirmed = true;
  } else if (may_pass(error)) {
    interest->second.renew.failed();
  } else if (!interest->second.confirmed) {
    _interests.erase(interest);
  }
}

void FinderClient::reply_arrived(XrlConnection&, std::uint32_t sequence, const XrlError& error,
                                 XrlArgsReader& results) {
  const auto request = _requests.take(sequence);
  if (request && request->purpose == Purpose::USER && request->method == REGISTER_INTEREST) {
    interest_answered(*request, sequence, error);
  }
  _calls.finish(sequence, error, results);
}

void FinderClient::connection_down(XrlConnection&, XrlConnection::Cause, std::string_view reason) {
  if (_ready) {
    XLOG_WARNING("lost the finder at %s:%u: %s; trying again", _address.str().c_str(),
                 static_cast<unsigned>(_identity.finder_port), std::string(reason).c_str());
  } else if (!_connection->was_up()) {
    tell_what_it_waits_for(reason);
  }
  _ready = false;
  _closed.add(std::move(_connection));
  _register_again.cancel();
  _retry.failed();

  std::vector<std::uint32_t> ended;
  for (const auto& [sequence, request] : _requests.all()) {
    if (request.purpose == Purpose::SESSION) ended.push_back(sequence);
  }
  for (const std::uint32_t sequence : ended) {
    static_cast<void>(_requests.take(sequence));
    _calls.fail(sequence, XrlError::NO_FINDER("the session with the finder ended."));
  }
}

XrlError FinderClient::timeout_error() const {
  return _ready ? XrlError::REPLY_TIMED_OUT("the finder did not answer.")
                : XrlError::NO_FINDER("the finder is not reached.");
}
