#include "framework/base/xlog_follow_up.h"

#include "framework/base/xlog.h"
#include "framework/base/xlog_budget.h"

XlogFollowUp::XlogFollowUp(EventLoop& loop) : _timer(loop, [this] { tell(); }) {
  _timer.schedule_after(XlogBudget::SPAN);
}

void XlogFollowUp::tell() {
  _timer.schedule_after(XlogBudget::SPAN);
  xlog_tell_held_back();
}
