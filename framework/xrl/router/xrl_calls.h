// XrlCalls: the requests that await a reply, in the order they were sent.
//
// A call is finished exactly once: by its reply, by its deadline, or by
// failing all. Replies may come in any order; an unknown or finished sequence
// number is ignored.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "framework/base/callback.h"
#include "framework/base/event_loop.h"
#include "framework/xrl/xrl_args_codec.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_sender.h"

class XrlCalls {
 public:
  // What calls that no reply finished in time are answered with.
  using TimeoutError = std::function<XrlError()>;

  // Fails a call that no reply finished within `timeout` of its add(), of many in one
  // turn MAX_TIMEOUTS_PER_TURN. `together` (null: none) counts the pending calls of
  // several of these. It and the loop must outlive it.
  XrlCalls(EventLoop& loop, Duration timeout, TimeoutError timeout_error,
           std::size_t* together = nullptr);
  ~XrlCalls();
  XrlCalls(const XrlCalls&) = delete;
  XrlCalls& operator=(const XrlCalls&) = delete;

  // Answers the call's sequence number; numbers rise by one and wrap.
  std::uint32_t add(XrlReply reply);
  [[nodiscard]] std::size_t pending() const { return _pending; }
  // From the oldest pending call to the youngest; memory grows with it.
  [[nodiscard]] std::size_t span() const { return _next - _first; }
  [[nodiscard]] bool is_pending(std::uint32_t sequence) const;

  // Delivers a reply, or an error without results. False when no such call is
  // pending. The callback may add further calls, or destroy this object.
  bool finish(std::uint32_t sequence, const XrlError& error, XrlArgsReader& results);
  bool fail(std::uint32_t sequence, const XrlError& error);
  // Finishes those that are pending now, in order, but for those of which `spared`
  // (null: none) answers true.
  using Spared = std::function<bool(std::uint32_t sequence)>;
  void fail_all(const XrlError& error, const Spared& spared = nullptr);

 private:
  struct Call {
    XrlReply reply;  // no deliver function once finished
    TimePoint deadline;
  };

  void on_deadline();
  [[nodiscard]] Call& at(std::uint32_t sequence) { return _ring[sequence & _mask]; }
  [[nodiscard]] const Call& at(std::uint32_t sequence) const { return _ring[sequence & _mask]; }
  XrlReply take(std::uint32_t sequence);
  void grow();

  EventLoop& _loop;
  Duration _timeout;
  TimeoutError _timeout_error;
  std::vector<Call> _ring;  // calls _first .. _next-1, by sequence number
  std::uint32_t _mask;
  std::uint32_t _first = 0;
  std::uint32_t _next = 0;
  std::size_t _pending = 0;
  std::size_t* _together;
  Timer _timer;  // armed at or before the first deadline while calls are pending
  Lifeline _lifeline;
};
