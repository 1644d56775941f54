#include "tools/request_sequence.h"

#include <ostream>
#include <utility>

#include "framework/xrl/interfaces/finder_xif.h"
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
    explain_missing_method(error);
  } else {
    fail(error);
  }
}

// The finder knows what methods there are.
void RequestSequence::explain_missing_method(const XrlError& error) {
  XrlFinderV0p2Client finder(&_sender);
  const bool asked =
      finder.send_get_methods("finder", _requests[_next].target,
                              callback(_lifeline, this, &RequestSequence::methods_known, error));
  if (!asked) fail(error);
}

void RequestSequence::methods_known(const XrlError& lookup, const XrlAtomList* methods,
                                    const XrlError& error) {
  std::string advice;
  if (lookup.is_okay()) {
    std::vector<std::string> names;
    names.reserve(methods->size());
    for (const std::string_view name : methods->texts()) names.emplace_back(name);
    advice = method_advice(_requests[_next].target, _requests[_next].method, names);
  }
  fail(advice.empty() ? error : XrlError(error.code(), advice));
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
