#include "tools/policyctl/switch/switch_session.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <utility>

#include "framework/base/exceptions.h"
#include "framework/base/host_name.h"
#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/interfaces/finder_xif.h"
#include "framework/xrl/router/cookie.h"
#include "framework/xrl/router/xrl_frame.h"
#include "framework/xrl/xrl_atom_list.h"

namespace {

constexpr const char* POLICY_CLASS = "policy";
constexpr auto INTERRUPTED_PATIENCE = std::chrono::milliseconds(500);

std::string seconds(Duration duration) {
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
  std::string text = std::to_string(ms / 1000);
  if (ms % 1000 != 0) {
    std::string fraction = std::to_string(1000 + ms % 1000).substr(1);
    fraction.erase(fraction.find_last_not_of('0') + 1);
    text += "." + fraction;
  }
  return text + " s";
}

// Lists of one size. Empty when there is no such target.
std::string instance_of(std::string_view target, const XrlAtomList& targets,
                        const XrlAtomList& instances) {
  auto instance = instances.texts().begin();
  for (const std::string_view name : targets.texts()) {
    if (name == target) return std::string(*instance);
    ++instance;
  }
  return {};
}

// A connection of its own to where a finder should be. What a router makes of one that
// is refused or closed is to try again.
class Probe {
 public:
  Probe(EventLoop& loop, const SwitchPlace& place) : _loop(loop) {
    NetAddress address;
    if (!NetAddress::parse(place.name(), address)) return;
    _fd = _loop.network().connect(address);
    _is_refused = _fd == -ECONNREFUSED;
    if (_fd < 0) return;
    _watch =
        std::make_unique<Watch>(_loop, _fd, IoInterest::WRITE, [this](IoInterest) { is_ready(); });
  }
  ~Probe() {
    _watch.reset();
    if (_fd >= 0) _loop.network().close(_fd);
  }
  Probe(const Probe&) = delete;
  Probe& operator=(const Probe&) = delete;

  // Nobody listens.
  [[nodiscard]] bool is_refused() const { return _is_refused; }
  // Who listens closed it, having seen who comes.
  [[nodiscard]] bool is_turned_away() const { return _is_turned_away; }
  [[nodiscard]] bool failed() const { return _is_refused || _is_turned_away; }

 private:
  void is_ready() {
    if (_watch->interest() == IoInterest::READ) return hear();
    _is_refused = _loop.network().connect_result(_fd) != 0;
    if (!_is_refused) greet();
    _watch->set_interest(_is_refused ? IoInterest::NONE : IoInterest::READ);
  }
  void greet() {
    xrl_frame::Hello hello;
    std::string problem;
    static_cast<void>(read_cookie_from_environment(hello.cookie, problem));
    ByteBuffer greeting;
    xrl_frame::append_hello(greeting, hello);
    // One that is closed already is told of when it is read from.
    static_cast<void>(_loop.network().write(_fd, greeting.bytes()));
  }
  void hear() {
    std::array<std::uint8_t, 512> heard{};
    const std::ptrdiff_t size = _loop.network().read(_fd, heard);
    if (size > 0 || size == -EAGAIN || size == -EINTR) return;
    _is_turned_away = true;
    _watch->set_interest(IoInterest::NONE);
  }

  EventLoop& _loop;
  int _fd = -1;
  std::unique_ptr<Watch> _watch;
  bool _is_refused = false;
  bool _is_turned_away = false;
};

}  // namespace

std::string SwitchPlace::name() const {
  return finder_host + ":" + std::to_string(finder_port);
}

SwitchSession::SwitchSession(SwitchPlace place, Duration patience)
    : _place(std::move(place)), _patience(patience) {
  heard();
  reach_finder();
  _policyd = find_policyd();
  if (_policyd.empty()) {
    throw NoPolicyd(ExitStatus::NOT_REACHABLE,
                    "policyd is not running: the finder at " + _place.name() +
                        " knows no target '" + POLICY_CLASS + "'.",
                    "Start policyd with -F " + _place.name() + ".");
  }
}

SwitchSession::~SwitchSession() {
  _signal_watch.reset();
  if (_signals < 0) return;
  take_signals();  // one that came late must not end the process now
  close(_signals);
  pthread_sigmask(SIG_SETMASK, &_other_signals, nullptr);
}

// A router tries for ever; a person wants to know at once when nobody listens.
void SwitchSession::reach_finder() {
  IPv4 host;
  if (!resolve_host_name(_place.finder_host, host)) {
    throw NoFinder(ExitStatus::NOT_REACHABLE, "there is no host '" + _place.finder_host + "'.",
                   "Name the finder's with -F HOST[:PORT].");
  }
  try {
    _router = std::make_unique<XrlStdRouter>(_loop, "", _place.finder_host.c_str(),
                                             _place.finder_port, false);
  } catch (const XorpException& problem) {
    throw Failure(ExitStatus::NOT_REACHABLE, problem.str());
  }
  const Probe probe(_loop, {host.str(), _place.finder_port});
  const bool reached = wait_for(_patience, [&] { return probe.failed() || _router->ready(); });
  if (probe.is_refused()) {
    throw NoFinder(ExitStatus::NOT_REACHABLE,
                   "no finder listens at " + _place.name() + ": connection refused.",
                   "Start the finder, or name another with -F HOST[:PORT].");
  }
  if (probe.is_turned_away()) {
    throw NoFinder(
        ExitStatus::NOT_REACHABLE,
        "who listens at " + _place.name() +
            " does not let policyctl in: the connection was closed.",
        "A finder does so with hosts that it does not serve (see its option --allow) and "
        "with who does not show its secret (see XRL_COOKIE_FILE). Or is that none? Name "
        "another with -F HOST[:PORT].");
  }
  if (reached) return;
  throw NoFinder(ExitStatus::TIMED_OUT,
                 "no answer from the finder at " + _place.name() + " for " + seconds(_patience) +
                     ", waiting to be let in.",
                 "Is that a finder, and does it run? Name another with -F HOST[:PORT], or wait "
                 "longer with --timeout SECONDS.");
}

std::string SwitchSession::find_policyd() {
  std::string found;
  bool answered = false;
  bool makes_sense = true;
  XrlError problem;
  XrlFinderV0p2Client finder(sender());
  const bool sent = finder.send_get_instances(
      "finder", callback(_lifeline, [&](const XrlError& error, const XrlAtomList* targets,
                                        const XrlAtomList* instances, const XrlAtomList*) {
        answered = true;
        problem = error;
        if (targets == nullptr) return;
        makes_sense = targets->size() == instances->size();
        if (makes_sense) found = instance_of(POLICY_CLASS, *targets, *instances);
      }));
  if (!sent) throw Failure(ExitStatus::NOT_REACHABLE, "the finder was lost.");
  heard();
  wait(
      "its list of targets", [&] { return answered; },
      [this] { return "the finder at " + _place.name(); });
  if (!problem.is_okay()) throw request_failure("ask the finder for policyd", problem);
  if (!makes_sense) {
    throw Failure(ExitStatus::NOT_REACHABLE,
                  "could not ask the finder for policyd: the answer makes no sense.");
  }
  return found;
}

void SwitchSession::wait(const std::string& what, const std::function<bool()>& done,
                         const Whom& whom) {
  // A timer, so that a turn without any event ends.
  Timer wake(_loop, [] {});
  while (!done()) {
    // A person who interrupts does not want to wait.
    const Duration patience =
        interrupted() ? std::min<Duration>(_patience, INTERRUPTED_PATIENCE) : _patience;
    const TimePoint limit = _last_heard + patience;
    if (_loop.now() >= limit) {
      throw Failure(
          ExitStatus::TIMED_OUT,
          "no answer from " + whom() + " for " + seconds(patience) + ", waiting for " + what + ".",
          "It is there but does not answer; wait longer with --timeout SECONDS.");
    }
    if (!wake.is_armed() || wake.when() < limit) wake.schedule_at(limit);
    _loop.run();
  }
}

bool SwitchSession::wait_for(Duration limit, const std::function<bool()>& done) {
  bool over = false;
  Timer end(_loop, [&over] { over = true; });
  end.schedule_after(limit);
  while (!done() && !over) _loop.run();
  heard();
  return done();
}

void SwitchSession::catch_interrupts() {
  if (_signals >= 0) return;
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
  _signals = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
  if (_signals < 0) return;
  pthread_sigmask(SIG_BLOCK, &signals, &_other_signals);
  _signal_watch = std::make_unique<Watch>(_loop, _signals, IoInterest::READ,
                                          [this](IoInterest) { take_signals(); });
}

void SwitchSession::take_signals() {
  signalfd_siginfo info{};
  while (read(_signals, &info, sizeof info) == sizeof info) ++_interrupts;
}

Failure request_failure(const std::string& what, const XrlError& error) {
  switch (error.code()) {
    case XrlErrorCode::BAD_ARGS:
    case XrlErrorCode::COMMAND_FAILED:
      return Failure(ExitStatus::REFUSED, "policyd refused to " + what + ": " + error.note());
    case XrlErrorCode::REPLY_TIMED_OUT:
      return Failure(ExitStatus::TIMED_OUT, "no answer to the request to " + what + ".");
    case XrlErrorCode::SEND_FAILED:
      return Failure(ExitStatus::NOT_REACHABLE,
                     "the connection was lost during the request to " + what + ".");
    default:
      return Failure(ExitStatus::NOT_REACHABLE, "could not " + what + ": " +
                                                    std::string(xrl_error_name(error.code())) +
                                                    " " + error.note());
  }
}
