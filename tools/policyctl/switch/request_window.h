// RequestWindow: many requests, in order, as many in flight as pay off.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "framework/xrl/xrl_error.h"
#include "tools/policyctl/switch/switch_session.h"

class RequestWindow {
 public:
  static constexpr std::size_t MAX_IN_FLIGHT = 4096;
  // What is sent leaves with the end of a turn: by so few at a time, policyd works on
  // some while the answers to others are read here.
  static constexpr std::size_t REQUESTS_PER_TURN = 1024;

  enum class Sent { YES, NOT_NOW, NO_MORE };
  // Sends the next request, whose callback must call answered() once.
  using SendNext = std::function<Sent()>;

  // `what` is waited for, as a deadline names it: "the rules of the switch"; and
  // `whom`, asked within run(), policyd unless given.
  RequestWindow(SwitchSession& session, std::string what, SwitchSession::Whom whom = {})
      : _session(session),
        _what(std::move(what)),
        _whom(std::move(whom)),
        _pump(session.loop(), [this] { pump(); }) {}

  // Until all is sent and answered, or, once stop() was called, until what is in
  // flight is answered. Throws Failure TIMED_OUT.
  void run(SendNext next);

  // From a callback.
  void answered();
  // Nothing more is sent.
  void stop() { _stopped = true; }
  [[nodiscard]] std::size_t in_flight() const { return _in_flight; }

 private:
  void pump();

  SwitchSession& _session;
  std::string _what;
  SwitchSession::Whom _whom;
  SendNext _next;
  std::size_t _in_flight = 0;
  bool _stopped = false;
  Deferred _pump;
};
