#include "platform/managers/observers.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "framework/xrl/limits.h"

namespace {

constexpr std::size_t INSTANCE_DIGITS = 16;

bool is_hex_digit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
}

// "policy" of the instance name "policy-0123456789abcdef"; any other name is
// a class name itself.
std::string class_of(std::string_view target) {
  if (target.size() > INSTANCE_DIGITS + 1) {
    const std::string_view digits = target.substr(target.size() - INSTANCE_DIGITS);
    const std::string_view front = target.substr(0, target.size() - INSTANCE_DIGITS);
    if (front.back() == '-' && std::all_of(digits.begin(), digits.end(), is_hex_digit)) {
      return std::string(front.substr(0, front.size() - 1));
    }
  }
  return std::string(target);
}

}  // namespace

Observers::Observers(EventLoop& loop, XrlSender& sender, std::string instance_name, Tell tell)
    : _loop(loop),
      _sender(sender),
      _instance_name(std::move(instance_name)),
      _tell(std::move(tell)),
      _drop(loop, [this] { drop_those_given_up(); }) {}

Refusal Observers::add(std::string_view observer) {
  if (const auto at = _tellers.find(observer); at != _tellers.end()) {
    at->second.try_now();
    return DONE;
  }
  if (observer.empty()) return "the observer has no name.";
  if (observer.size() > xrl_limits::MAX_TARGET_NAME_BYTES)
    return "the observer's name is too long.";
  if (_tellers.size() == MAX_OBSERVERS) return "there are too many observers.";
  std::string name(observer);
  _tellers.try_emplace(
      name, _loop,
      [this, name](std::uint32_t key, const Teller::Done& done) { return _tell(name, key, done); },
      [this] { _drop.schedule(); });
  watch(class_of(observer));
  return DONE;
}

Refusal Observers::remove(std::string_view observer) {
  const auto at = _tellers.find(observer);
  if (at == _tellers.end()) return "the observer is not registered.";
  _tellers.erase(at);
  unwatch_unless_observed(class_of(observer));
  return DONE;
}

// One that lives after all hears of the manager's birth in its next session with
// the finder, and registers again.
void Observers::drop_those_given_up() {
  std::vector<std::string> names;
  for (const auto& [name, teller] : _tellers) {
    if (teller.has_given_up()) names.push_back(name);
  }
  for (const std::string& name : names) static_cast<void>(remove(name));
}

void Observers::watch(const std::string& target_class) {
  _watches.try_emplace(target_class, _loop, _sender, _instance_name, target_class);
}

// Many an observer has a class of its own (a mirror does), so that watches of those
// that went would soon be all that the finder grants.
void Observers::unwatch_unless_observed(std::string_view target_class) {
  const auto watch = _watches.find(target_class);
  const bool is_observed = std::any_of(
      _tellers.begin(), _tellers.end(),
      [target_class](const auto& entry) { return class_of(entry.first) == target_class; });
  if (is_observed || watch == _watches.end()) return;
  watch->second.withdraw();
  _watches.erase(watch);
}

void Observers::tell_all(std::uint32_t key) {
  for (auto& [name, teller] : _tellers) teller.tell(key);
}

void Observers::tell(std::string_view observer, std::uint32_t key) {
  const auto at = _tellers.find(observer);
  if (at != _tellers.end()) at->second.tell(key);
}

void Observers::target_born(std::string_view target_class, std::string_view instance) {
  std::erase_if(_tellers, [&](const auto& entry) {
    const std::string& name = entry.first;
    return name != instance && name != target_class && class_of(name) == target_class;
  });
  unwatch_unless_observed(target_class);
  for (const std::string_view name : {target_class, instance}) {
    const auto at = _tellers.find(name);
    if (at != _tellers.end()) at->second.try_now();
  }
}

void Observers::target_died(std::string_view target_class, std::string_view instance) {
  for (const std::string_view name : {target_class, instance}) {
    static_cast<void>(remove(name));  // most that die are no observers
  }
}
