#include "framework/xrl/router/xrl_calls.h"

#include <utility>

#include "framework/xrl/limits.h"

namespace {
constexpr std::uint32_t FIRST_RING_SIZE = 16;
}

XrlCalls::XrlCalls(EventLoop& loop, Duration timeout, TimeoutError timeout_error,
                   std::size_t* together)
    : _loop(loop),
      _timeout(timeout),
      _timeout_error(std::move(timeout_error)),
      _ring(FIRST_RING_SIZE),
      _mask(FIRST_RING_SIZE - 1),
      _together(together),
      _timer(loop, [this] { on_deadline(); }) {}

XrlCalls::~XrlCalls() {
  if (_together != nullptr) *_together -= _pending;
}

std::uint32_t XrlCalls::add(XrlReply reply) {
  if (_next - _first > _mask) grow();
  const std::uint32_t sequence = _next++;
  Call& call = at(sequence);
  call.reply = std::move(reply);
  call.deadline = _loop.now() + _timeout;
  ++_pending;
  if (_together != nullptr) ++*_together;
  if (!_timer.is_armed()) _timer.schedule_at(call.deadline);
  return sequence;
}

bool XrlCalls::is_pending(std::uint32_t sequence) const {
  return sequence - _first < _next - _first && at(sequence).reply.deliver != nullptr;
}

XrlReply XrlCalls::take(std::uint32_t sequence) {
  XrlReply reply = std::exchange(at(sequence).reply, XrlReply{});
  --_pending;
  if (_together != nullptr) --*_together;
  while (_first != _next && at(_first).reply.deliver == nullptr) ++_first;
  return reply;
}

bool XrlCalls::finish(std::uint32_t sequence, const XrlError& error, XrlArgsReader& results) {
  if (!is_pending(sequence)) return false;
  const XrlReply reply = take(sequence);
  reply.deliver(*reply.callback, error, results);
  return true;
}

bool XrlCalls::fail(std::uint32_t sequence, const XrlError& error) {
  XrlArgsReader none({});
  return finish(sequence, error, none);
}

void XrlCalls::fail_all(const XrlError& error, const Spared& spared) {
  const auto life = _lifeline.token();
  const std::uint32_t end = _next;
  for (std::uint32_t sequence = _first; sequence != end; ++sequence) {
    if (spared && spared(sequence)) continue;
    fail(sequence, error);
    if (!life->alive) return;
  }
}

void XrlCalls::on_deadline() {
  const auto life = _lifeline.token();
  for (std::size_t failed = 0; failed < xrl_limits::MAX_TIMEOUTS_PER_TURN; ++failed) {
    if (_first == _next || at(_first).deadline > _loop.now()) break;
    fail(_first, _timeout_error());
    if (!life->alive) return;
  }
  if (_first != _next) _timer.schedule_at(at(_first).deadline);
}

void XrlCalls::grow() {
  std::vector<Call> larger(_ring.size() * 2);
  const auto mask = static_cast<std::uint32_t>(larger.size() - 1);
  for (std::uint32_t sequence = _first; sequence != _next; ++sequence) {
    larger[sequence & mask] = std::move(at(sequence));
  }
  _ring = std::move(larger);
  _mask = mask;
}
