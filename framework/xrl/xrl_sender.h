// XrlSender: what client stubs send through.
#pragma once

#include <string_view>

#include "framework/base/callback.h"
#include "framework/xrl/xrl_args_codec.h"
#include "framework/xrl/xrl_error.h"

// What is to happen with a reply: `deliver` decodes it for `callback`, once.
// On an error `results` is empty.
struct XrlReply {
  using Deliver = void (*)(RefCounted& callback, const XrlError& error, XrlArgsReader& results);
  Deliver deliver = nullptr;
  ref_ptr<RefCounted> callback;
};

class XrlSender {
 public:
  virtual ~XrlSender() = default;

  // Begins the arguments of the one request that the next send() takes; what
  // an unfinished one wrote before is dropped.
  virtual XrlArgsWriter begin_args() = 0;
  // Queues a request with the arguments just written. True: `reply` is
  // delivered exactly once, later, from the event loop, at the latest with
  // REPLY_TIMED_OUT, unless the sender is destroyed before. False: it could
  // not be queued (no finder registration yet, a limit of this peer is reached,
  // an argument is longer than may be, or all of them together are longer than
  // a frame) and `reply` is dropped.
  // Requests to one target arrive in the order sent.
  virtual bool send(std::string_view target, std::string_view method, XrlReply reply) = 0;
};
