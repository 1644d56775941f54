// Observers: the targets that registered with a manager of the switch, each
// with its teller, from registration to deregistration or death, heard of or not
// (Teller). The finder is
// asked to report on the class of an observer as long as there is one of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "platform/class_watch.h"
#include "platform/managers/refusal.h"
#include "platform/managers/teller.h"

class XrlSender;

class Observers {
 public:
  // As Teller::Send, to the target `observer`.
  using Tell =
      std::function<bool(const std::string& observer, std::uint32_t key, const Teller::Done& done)>;

  static constexpr std::size_t MAX_OBSERVERS = 64;

  // `sender` and `instance_name` are the manager's; loop and sender must
  // outlive the observers.
  Observers(EventLoop& loop, XrlSender& sender, std::string instance_name, Tell tell);

  // `observer` is a target name, class or instance; registering again is no
  // fault. Refused: a name that no target can have for its length, more than
  // MAX_OBSERVERS.
  [[nodiscard]] Refusal add(std::string_view observer);
  // Refused: one that is not registered.
  [[nodiscard]] Refusal remove(std::string_view observer);

  void tell_all(std::uint32_t key);
  // Does nothing unless it is registered.
  void tell(std::string_view observer, std::uint32_t key);

  // What the finder reported to the manager. A class has one instance at a
  // time, so a birth also ends the registrations of the instances before, whose
  // death may have been missed while the finder was away.
  void target_born(std::string_view target_class, std::string_view instance);
  void target_died(std::string_view target_class, std::string_view instance);

  [[nodiscard]] std::size_t size() const { return _tellers.size(); }

 private:
  void drop_those_given_up();
  void watch(const std::string& target_class);
  void unwatch_unless_observed(std::string_view target_class);

  EventLoop& _loop;
  XrlSender& _sender;
  std::string _instance_name;
  Tell _tell;
  std::map<std::string, Teller, std::less<>> _tellers;
  std::map<std::string, ClassWatch, std::less<>> _watches;
  Deferred _drop;
};
