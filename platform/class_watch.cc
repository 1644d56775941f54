#include "platform/class_watch.h"

#include <chrono>
#include <utility>

#include "framework/base/xlog.h"
#include "framework/xrl/finder_constants.h"
#include "framework/xrl/interfaces/finder_event_notifier_xif.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_sender.h"

namespace {

// Until our router has registered, which takes about a millisecond where the
// finder is up, an attempt fails without leaving the process and costs nothing.
constexpr std::chrono::milliseconds FIRST_RETRY{10};
constexpr std::chrono::milliseconds LONGEST_RETRY = xrl_limits::RECONNECT_MAX_LOOPBACK;

}  // namespace

ClassWatch::ClassWatch(EventLoop& loop, XrlSender& sender, std::string requester_instance,
                       std::string class_name)
    : _sender(sender),
      _requester_instance(std::move(requester_instance)),
      _class_name(std::move(class_name)),
      _retry(
          loop, [this] { ask(); }, FIRST_RETRY, LONGEST_RETRY) {
  ask();
}

void ClassWatch::ask() {
  const bool sent = XrlFinderEventNotifierV0p1Client(&_sender).send_register_class_event_interest(
      FinderConstants::FINDER_TARGET(), _requester_instance, _class_name,
      callback(_lifeline, this, &ClassWatch::answered));
  if (sent) {
    _asked = true;
  } else {
    _retry.failed();
  }
}

void ClassWatch::answered(const XrlError& error) {
  if (error.is_okay() || _withdrawn) return;
  if (error.reached_target() && !std::exchange(_warned, true)) {
    XLOG_WARNING("the finder does not report on '%s': %s Trying again.", _class_name.c_str(),
                 error.str().c_str());
  }
  _retry.failed();
}

void ClassWatch::withdraw() {
  _retry.cancel();
  if (!_asked || std::exchange(_withdrawn, true)) return;
  // The finder takes our requests in the order sent, so an answer that is still
  // to come changes nothing. One that cannot be sent ends with the target.
  static_cast<void>(XrlFinderEventNotifierV0p1Client(&_sender).send_deregister_class_event_interest(
      FinderConstants::FINDER_TARGET(), _requester_instance, _class_name,
      callback(_lifeline, [](const XrlError&) {})));
}
