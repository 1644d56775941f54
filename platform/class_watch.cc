#include "platform/class_watch.h"

#include <utility>

#include "framework/xrl/interfaces/finder_event_notifier_xif.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_sender.h"

// The finder is asked as often as a lost one is looked for: until our router
// has registered there every attempt fails without leaving the process.
ClassWatch::ClassWatch(EventLoop& loop, XrlSender& sender, std::string requester_instance,
                       std::string class_name)
    : _sender(sender),
      _requester_instance(std::move(requester_instance)),
      _class_name(std::move(class_name)),
      _retry(
          loop, [this] { ask(); }, xrl_limits::RECONNECT_MIN, xrl_limits::RECONNECT_MAX_LOOPBACK) {
  ask();
}

void ClassWatch::ask() {
  const bool sent = XrlFinderEventNotifierV0p1Client(&_sender).send_register_class_event_interest(
      "finder", _requester_instance, _class_name, callback(_lifeline, this, &ClassWatch::answered));
  if (!sent) _retry.failed();
}

void ClassWatch::answered(const XrlError& error) {
  if (!error.is_okay()) _retry.failed();
}
