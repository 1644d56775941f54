// ClassWatch: asks the finder to report the births and deaths of a class to a
// target of ours, and asks again until the finder has agreed. From then on the
// target's router repeats the interest by itself whenever it lost the finder.
#pragma once

#include <string>

#include "framework/base/callback.h"
#include "platform/retry_timer.h"

class XrlError;
class XrlSender;

class ClassWatch {
 public:
  // Asks at once. `requester_instance` is told (finder_event_observer/0.1);
  // it is what `sender` sends for. Both references must outlive the watch.
  // Destroying it stops asking and leaves the interest standing.
  ClassWatch(EventLoop& loop, XrlSender& sender, std::string requester_instance,
             std::string class_name);
  ClassWatch(const ClassWatch&) = delete;
  ClassWatch& operator=(const ClassWatch&) = delete;
  ~ClassWatch() = default;

  [[nodiscard]] const std::string& class_name() const { return _class_name; }

 private:
  void ask();
  void answered(const XrlError& error);

  XrlSender& _sender;
  std::string _requester_instance;
  std::string _class_name;
  RetryTimer _retry;
  Lifeline _lifeline;
};
