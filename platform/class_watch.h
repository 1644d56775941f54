// ClassWatch: asks the finder to report the births and deaths of a class to a
// target of ours, and asks again until the finder has agreed; a refusal is
// logged once. From then on the
// target's router repeats the interest by itself whenever it lost the finder.
// A target may have so many interests and no more, so one that is no longer
// needed is withdrawn; all of them end with the target.
#pragma once

#include <string>

#include "framework/base/callback.h"
#include "framework/base/retry_timer.h"

class XrlError;
class XrlSender;

class ClassWatch {
 public:
  // Asks at once. `requester_instance` is told (finder_event_observer/0.1);
  // it is what `sender` sends for. Both references must outlive the watch.
  // Destroying it stops asking and leaves an interest that stands standing.
  ClassWatch(EventLoop& loop, XrlSender& sender, std::string requester_instance,
             std::string class_name);
  ClassWatch(const ClassWatch&) = delete;
  ClassWatch& operator=(const ClassWatch&) = delete;
  ~ClassWatch() = default;

  // Stops asking for good and has the finder end the interest, without waiting
  // for its answer; births and deaths that are under way may still be told. A
  // later watch of the same class is a new interest.
  void withdraw();

 private:
  void ask();
  void answered(const XrlError& error);

  XrlSender& _sender;
  std::string _requester_instance;
  std::string _class_name;
  bool _asked = false;  // the finder may have agreed
  bool _withdrawn = false;
  bool _warned = false;
  RetryTimer _retry;
  Lifeline _lifeline;
};
