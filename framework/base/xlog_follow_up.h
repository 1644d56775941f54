// XlogFollowUp: tells in time how many lines the log held back, also when nothing else is
// logged any more.
#pragma once

#include "framework/base/event_loop.h"

// One for a process, beside its loop.
class XlogFollowUp {
 public:
  explicit XlogFollowUp(EventLoop& loop);

 private:
  void tell();

  Timer _timer;
};
