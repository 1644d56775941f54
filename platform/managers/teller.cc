#include "platform/managers/teller.h"

#include <utility>

#include "framework/xrl/xrl_error.h"

namespace {

// A refusal acknowledges: the peer has heard it, and would refuse it again.
bool is_acknowledged(const XrlError& error) {
  return error.reached_target() && error.code() != XrlErrorCode::INTERNAL_ERROR;
}

}  // namespace

Teller::Teller(EventLoop& loop, Send send, std::function<void()> gave_up)
    : _send(std::move(send)), _gave_up(std::move(gave_up)), _retry(loop, [this] { send_due(); }) {}

void Teller::tell(std::uint32_t key) {
  _due.insert(key);
  send_due();
}

void Teller::try_now() {
  _retry.cancel();
  _unknown = 0;
  send_due();
}

void Teller::send_due() {
  while (!_retry.is_waiting() && !_due.empty() && _in_flight < MAX_IN_FLIGHT) {
    const std::uint32_t key = *_due.begin();
    if (!_send(key, callback(_lifeline, this, &Teller::answered, key))) {
      _retry.failed();
      return;
    }
    _due.erase(key);
    ++_in_flight;
  }
}

void Teller::answered(const XrlError& error, std::uint32_t key) {
  --_in_flight;
  if (is_acknowledged(error)) {
    _retry.succeeded();
    _unknown = 0;
  } else {
    _due.insert(key);
    failed(error);
  }
  send_due();
}

// The first one of an attempt counts; what was sent with it fails with it.
void Teller::failed(const XrlError& error) {
  if (_retry.is_waiting()) return;
  _unknown = error.code() == XrlErrorCode::RESOLVE_FAILED ? _unknown + 1 : 0;
  if (_unknown < MAX_UNKNOWN) {
    _retry.failed();
    return;
  }
  _due.clear();
  _retry.cancel();
  if (_gave_up) _gave_up();
}
