#include "platform/managers/target_set.h"

#include <algorithm>
#include <utility>

namespace {

constexpr Refusal NO_TARGET = "the target does not exist.";

}  // namespace

void TargetSet::add(const std::string& name, Make make) {
  std::unique_ptr<SwitchTarget> running = make();
  _entries.try_emplace(name, Entry{std::move(make), std::move(running)});
}

Refusal TargetSet::stop(std::string_view name) {
  const auto at = _entries.find(name);
  if (at == _entries.end()) return NO_TARGET;
  if (at->second.running == nullptr) return "the target is stopped already.";
  at->second.running.reset();
  return DONE;
}

Refusal TargetSet::start(std::string_view name) {
  const auto at = _entries.find(name);
  if (at == _entries.end()) return NO_TARGET;
  if (at->second.running != nullptr) return "the target runs already.";
  at->second.running = at->second.make();
  return DONE;
}

bool TargetSet::all_ready() const {
  return std::all_of(_entries.begin(), _entries.end(), [](const auto& entry) {
    return entry.second.running == nullptr || entry.second.running->is_ready();
  });
}
