// A client of real processes: it asks in the textual form, and waits by turning
// an event loop of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "framework/base/event_loop.h"
#include "framework/xrl/router/xrl_std_router.h"
#include "framework/xrl/xrl.h"
#include "tests/support/turn_until.h"

class Client {
 public:
  // Registers in the background. With a class name it is a target itself.
  Client(const std::string& finder_host, std::uint16_t finder_port, const char* class_name = "");

  [[nodiscard]] EventLoop& loop() { return _loop; }
  [[nodiscard]] XrlStdRouter& router() { return _router; }

  // Sends "TARGET/INTERFACE/VERSION/METHOD?name:type=value&..." and waits for
  // the answer: the code, and the results in textual form or the error's text
  // ("100 flag:bool=true", "100", "102 the acl does not exist."). "not sent" and
  // "no answer" tell what their words say.
  std::string ask(const std::string& request);
  std::string ask(const Xrl& request);
  // Sends it, many being under way at a time; the answer comes later, while the
  // loop turns. False, and there is none, when it cannot be sent.
  using Answered = std::function<void(const std::string& answer)>;
  [[nodiscard]] bool post(const Xrl& request, Answered answered);

  // As ::turn_until() does with the client's loop.
  bool turn_until(const std::function<bool()>& done) { return ::turn_until(_loop, done); }
  // Tries `condition`, which asks, again and again until it answers true; false
  // past PATIENCE.
  bool until(const std::function<bool()>& condition);

 private:
  EventLoop _loop;
  XrlStdRouter _router;
};
