#include "tools/policyctl/commands/watch_command.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <ostream>
#include <thread>
#include <utility>

#include "tools/policyctl/change/faults_at_switch.h"
#include "tools/policyctl/change/local_time.h"
#include "tools/policyctl/change/plan.h"
#include "tools/policyctl/change/read_switch.h"
#include "tools/policyctl/language/words.h"
#include "tools/policyctl/render/json_output.h"
#include "tools/policyctl/render/print_plan.h"

namespace {

// A long configuration is read less often, lest policyd do little else.
constexpr int PAUSE_PER_READING = 4;
// A finder that says nothing for so long is called lost; policyd needs none.
constexpr Duration FINDER_PATIENCE = std::chrono::milliseconds(500);
constexpr auto ASK_AGAIN_AFTER = std::chrono::milliseconds(10);

// Nothing is left to be done, whatever it is doing: it changes nothing.
class EndsAtInterrupt {
 public:
  EndsAtInterrupt() : _before(std::signal(SIGINT, [](int) { _exit(0); })) {}
  ~EndsAtInterrupt() { (void)std::signal(SIGINT, _before); }
  EndsAtInterrupt(const EndsAtInterrupt&) = delete;
  EndsAtInterrupt& operator=(const EndsAtInterrupt&) = delete;

 private:
  void (*_before)(int);
};

class Watching {
 public:
  Watching(const Context& context, const Selection& selection, const WatchOptions& options)
      : _context(context), _selection(selection), _options(options) {}

  void begin() {
    _session = _context.connect();
    _policyd = _session->policyd();
    _last = read();
    const std::string what = _selection.name();
    event("watching", "watching " + (what.empty() ? "the switch" : what) + " at " +
                          _context.place.name() + ".");
  }
  // False when there is nobody left to print for, or enough was printed.
  bool go_on() {
    pause();
    try {
      if (!_session) _session = _context.connect();
      look();
    } catch (const Failure& failure) {
      lose(failure);
    }
    return _context.out.good() && (_options.count == 0 || _seen < _options.count);
  }

 private:
  [[nodiscard]] SwitchConfiguration read() {
    const auto begin = std::chrono::steady_clock::now();
    SwitchConfiguration configuration = read_switch(*_session, _selection.parts());
    _selection.narrow(configuration);
    _reading = std::chrono::steady_clock::now() - begin;
    return configuration;
  }

  void pause() {
    const auto length = std::max(_options.interval, PAUSE_PER_READING * _reading);
    if (_session) {
      (void)_session->wait_for(std::chrono::duration_cast<Duration>(length), [] { return false; });
    } else {
      std::this_thread::sleep_for(length);
    }
  }

  void look() {
    const std::string lives = ask_finder();
    if (lives != _session->policyd()) throw Failure(ExitStatus::NOT_REACHABLE, news_of(lives));
    const SwitchConfiguration now = read();
    if (std::exchange(_is_lost, false)) say_that_it_is_back();
    if (now == _last) return;
    const Plan changes(_last, now);
    for (const Change& change : changes.changes()) {
      if (_options.count > 0 && _seen == _options.count) break;
      print(change, changes);
      ++_seen;
    }
    _context.out << std::flush;
    _last = now;
  }

  [[nodiscard]] std::string ask_finder() {
    _session->set_patience(std::min(FINDER_PATIENCE, _context.patience));
    std::string policyd = _session->find_policyd();
    _session->set_patience(_context.patience);
    return policyd;
  }

  static std::string news_of(const std::string& lives) {
    return lives.empty() ? "policyd is gone." : "policyd was started anew.";
  }

  void lose(const Failure& failure) {
    _session.reset();
    if (std::exchange(_is_lost, true)) return;
    event("lost", why(failure) + " Waiting for the switch to be back.");
  }

  // A request that failed does not tell who is gone; the finder does, shortly
  // after a daemon's end.
  [[nodiscard]] std::string why(const Failure& failure) const {
    const auto end = std::chrono::steady_clock::now() + _context.patience;
    try {
      for (;;) {
        const auto now = _context.connect();
        if (now->policyd() != _policyd) return news_of(now->policyd());
        const bool may_be_dying = failure.status() == ExitStatus::NOT_REACHABLE;
        if (!may_be_dying || std::chrono::steady_clock::now() >= end) return failure.message();
        std::this_thread::sleep_for(ASK_AGAIN_AFTER);
      }
    } catch (const NoPolicyd&) {
      return news_of("");
    } catch (const NoFinder& none) {
      const bool is_silent = none.status() == ExitStatus::TIMED_OUT;
      return "the finder at " + _context.place.name() +
             (is_silent ? " does not answer." : " is gone.");
    } catch (const Failure& another) {
      return another.message();
    }
  }

  void say_that_it_is_back() {
    const std::string before = std::exchange(_policyd, _session->policyd());
    event("back", _policyd == before ? "the switch is back; policyd is the same."
                                     : "the switch is back; policyd was started anew and began "
                                       "from its defaults.");
  }

  void print(const Change& change, const Plan& plan) {
    if (_context.json) {
      Json json = {{"time", local_time()}};
      json.update(change_json(change, plan));
      print_json_line(_context.out, json);
      return;
    }
    const ChangeText text = describe(change, plan);
    std::string line(1, static_cast<char>(change.sign));
    line += ' ' + (change.sign == ChangeSign::REMOVED ? text.before : text.after);
    line = coloured(change.sign, line, _context.in_colour());
    if (change.sign == ChangeSign::CHANGED) line += ", was: " + text.before;
    if (!text.where.empty()) line += " (" + text.where + ")";
    _context.out << local_time() << ' ' << line << '\n';
  }

  void event(const std::string& kind, const std::string& message) {
    if (_context.json) {
      print_json_line(_context.out,
                      {{"time", local_time()}, {"event", kind}, {"message", text_json(message)}});
    } else {
      _context.err << local_time() << " policyctl: " << harmless_line(message) << '\n'
                   << std::flush;
    }
  }

  const Context& _context;
  const Selection& _selection;
  WatchOptions _options;
  std::unique_ptr<SwitchSession> _session;  // null while the switch is lost
  std::string _policyd;                     // that was read last
  SwitchConfiguration _last;
  std::chrono::duration<double> _reading{0};
  std::size_t _seen = 0;
  bool _is_lost = false;
};

}  // namespace

ExitStatus watch_command(const Context& context, const Selection& selection,
                         const WatchOptions& options) {
  const EndsAtInterrupt interrupt;
  Watching watching(context, selection, options);
  watching.begin();
  while (watching.go_on()) continue;
  return ExitStatus::DONE;
}
