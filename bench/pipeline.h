// Pipeline: keeps a number of requests in flight until all are answered.
#pragma once

#include <cstddef>

#include "bench/measure.h"
#include "framework/base/event_loop.h"
#include "framework/xrl/xrl_error.h"

// `Send` queues the request of that number, counted from 0, and says whether
// that went well; what it sent reports to answered().
template <typename Send>
class Pipeline {
 public:
  Pipeline(EventLoop& loop, Send send) : _loop(loop), _send(std::move(send)) {}
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  // The seconds from the first request to the last answer.
  double run(std::size_t requests, std::size_t in_flight) {
    _requests = requests;
    _sent = 0;
    _answered = 0;
    const Stopwatch watch;
    while (_sent < requests && _sent < in_flight) send();
    while (_answered < requests) _loop.run();
    return watch.seconds();
  }

  // The next answer, which has to be `as_wanted`.
  void answered(const XrlError& error, bool as_wanted = true) {
    if (!error.is_okay() || !as_wanted) [[unlikely]]
      give_up("wrong answer: " + error.str());
    ++_answered;
    if (_sent < _requests) send();
  }

 private:
  void send() {
    if (!_send(_sent++)) [[unlikely]]
      give_up("a request cannot be queued");
  }

  EventLoop& _loop;
  Send _send;
  std::size_t _requests = 0;
  std::size_t _sent = 0;
  std::size_t _answered = 0;
};
