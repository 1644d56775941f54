// RequestSequence: requests one after the other, each sent once the one before
// is answered, as a person gives them on a command line.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include "framework/base/callback.h"
#include "framework/base/event_loop.h"
#include "framework/xrl/xrl.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_sender.h"

class RequestSequence {
 public:
  // Sends the first in the next turn. Results that are not empty are written
  // to `out`, a line a request; errors to `err`:
  //   "call_xrl: COMMAND_FAILED the acl does not exist."
  // A refused request does not keep the following ones from being sent.
  // A request whose target is not registered is sent again until `patience`
  // after the start. All that is referred to must outlive the sequence.
  RequestSequence(EventLoop& loop, XrlSender& sender, std::vector<Xrl> requests, Duration patience,
                  std::ostream& out, std::ostream& err);

  [[nodiscard]] bool is_done() const { return _next == _requests.size(); }
  [[nodiscard]] bool any_failed() const { return _any_failed; }

 private:
  void send_next();
  void answered(const XrlError& error, const XrlArgs& results);
  void fail(const XrlError& error);
  void go_on();

  XrlSender& _sender;
  std::vector<Xrl> _requests;
  std::size_t _next = 0;
  TimePoint _give_up;
  std::ostream& _out;
  std::ostream& _err;
  bool _any_failed = false;
  EventLoop& _loop;
  Timer _send;
  Lifeline _lifeline;
};
