// SwitchSession: the way to one switch: its finder, and the policyd that lives
// when the session begins.
//
// Requests go to that one instance of policyd and to no other: one that was
// started anew meanwhile has lost its configuration, and half a change would be
// the only thing it has.
#pragma once

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "framework/base/event_loop.h"
#include "framework/xrl/router/xrl_std_router.h"
#include "framework/xrl/xrl_error.h"
#include "tools/policyctl/failure.h"

struct SwitchPlace {
  std::string finder_host;
  std::uint16_t finder_port = 0;

  [[nodiscard]] std::string name() const;  // "127.0.0.1:19999"
};

// Why there is no session: nobody at the finder's place who lets anybody in.
class NoFinder : public Failure {
 public:
  using Failure::Failure;
};
// The finder is there and knows no policyd.
class NoPolicyd : public Failure {
 public:
  using Failure::Failure;
};

class SwitchSession {
 public:
  // Who is waited for, when it turns out to be in vain: "policyd".
  using Whom = std::function<std::string()>;

  // Reaches the finder and finds policyd. `patience` is how long nothing may be
  // heard, here and in all that follows. Throws NoFinder, with the status
  // NOT_REACHABLE or TIMED_OUT, NoPolicyd, NOT_REACHABLE, and Failure TIMED_OUT
  // when the finder let it in and is silent then.
  SwitchSession(SwitchPlace place, Duration patience);
  ~SwitchSession();

  [[nodiscard]] EventLoop& loop() { return _loop; }
  [[nodiscard]] XrlSender* sender() { return _router.get(); }
  [[nodiscard]] const SwitchPlace& place() const { return _place; }
  [[nodiscard]] Duration patience() const { return _patience; }
  void set_patience(Duration patience) { _patience = patience; }
  // The instance that lives, which is what requests to policyd are addressed to.
  [[nodiscard]] const std::string& policyd() const { return _policyd; }

  // Turns the loop until `done`. Throws Failure TIMED_OUT, naming `whom` and `what`
  // was waited for, when heard() was not called for the session's patience.
  void wait(const std::string& what, const std::function<bool()>& done,
            const Whom& whom = policyd_itself);
  // The same, but false instead of a Failure, and `limit` instead of patience.
  [[nodiscard]] bool wait_for(Duration limit, const std::function<bool()>& done);
  // The loop's own time stands still while something else is done, such as
  // writing a journal to a slow disk.
  void heard() { _last_heard = _loop.kernel().now(); }
  // The same for callbacks, at the time at which their turn of the loop began.
  void heard_this_turn() { _last_heard = std::max(_last_heard, _loop.now()); }

  // Asks the finder again who policyd is; empty when there is none.
  [[nodiscard]] std::string find_policyd();

  // Turns Ctrl-C, a terminal that goes and a request to terminate into a flag
  // that long operations look at, for as long as the session lives.
  void catch_interrupts();
  [[nodiscard]] bool interrupted() const { return _interrupts > 0; }
  void forget_interrupt() { _interrupts = 0; }

 private:
  static std::string policyd_itself() { return "policyd"; }
  void reach_finder();
  void take_signals();

  SwitchPlace _place;
  Duration _patience;
  EventLoop _loop;
  std::unique_ptr<XrlStdRouter> _router;
  std::string _policyd;
  TimePoint _last_heard{};
  int _signals = -1;
  sigset_t _other_signals{};  // those blocked before
  int _interrupts = 0;
  std::unique_ptr<Watch> _signal_watch;
  Lifeline _lifeline;
};

// The failure that a request's error is: refused, not reachable or timed out.
// `what` was to be done: "create acl 10".
[[nodiscard]] Failure request_failure(const std::string& what, const XrlError& error);
