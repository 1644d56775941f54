// The reply to a request that no stub sends.
#pragma once

#include <functional>
#include <utility>

#include "framework/xrl/xrl_sender.h"

// Runs `heard` with the answer; results are not looked at.
inline XrlReply raw_reply(std::function<void(const XrlError&)> heard) {
  struct Sink : RefCounted {
    std::function<void(const XrlError&)> heard;
  };
  const ref_ptr<Sink> sink(new Sink);
  sink->heard = std::move(heard);
  XrlReply reply;
  reply.callback = sink;
  reply.deliver = [](RefCounted& to, const XrlError& error, XrlArgsReader&) {
    static_cast<Sink&>(to).heard(error);
  };
  return reply;
}
