#include "tools/request_sequence.h"

#include <ostream>
#include <utility>

#include "tools/method_advice.h"
#include "tools/xrl_call.h"

namespace {

// Between asking for a target that is not there and asking again.
constexpr std::chrono::milliseconds RETRY_PERIOD{50};

}  // namespace

RequestSequence::RequestSequence(EventLoop& loop, XrlSender& sender, std::vector<Xrl> requests,
                                 Duration patience, std::ostream& out, std::ostream& err)
    : _sender(sender),
      _requests(std::move(requests)),
      _give_up(loop.now() + patience),
      _out(out),
      _err(err),
      _loop(loop),
      _send(loop, [this] { send_next(); }) {
  _send.schedule_after(Duration::zero());
}

void RequestSequence::send_next() {
  if (is_done()) return;
  const bool sent =
      send_xrl(_sender, _requests[_next],
               [this](const XrlError& error, const XrlArgs& results) { answered(error, results); });
  if (!sent) fail(XrlError::SEND_FAILED("the request could not be queued."));
}

void RequestSequence::answered(const XrlError& error, const XrlArgs& results) {
  if (error.is_okay()) {
    if (!results.empty()) _out << results.str() << std::endl;
    go_on();
  } else if (error.code() == XrlErrorCode::RESOLVE_FAILED && _loop.now() < _give_up) {
    _send.schedule_after(RETRY_PERIOD);
  } else if (error.code() == XrlErrorCode::NO_SUCH_METHOD) {
    const auto explained = [this, life = _lifeline.token()](const XrlError& better) {
      if (life->alive) fail(better);
    };
    explain_missing_method(_sender, _requests[_next], error, explained);
  } else {
    fail(error);
  }
}

void RequestSequence::fail(const XrlError& error) {
  _any_failed = true;
  _err << error_line(error) << std::endl;
  go_on();
}

void RequestSequence::go_on() {
  ++_next;
  _send.schedule_after(Duration::zero());
}
