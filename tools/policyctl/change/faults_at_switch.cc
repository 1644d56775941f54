#include "tools/policyctl/change/faults_at_switch.h"

#include <algorithm>
#include <map>
#include <utility>

#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

// What an entry is, or stands below, that is not the operator's to make, and that the
// switch does not have; null when it has.
const EntryKind* missing_at(const EntryPlace& place, const Entries& present) {
  const EntryKind* const head = head_of(*place.kind, place.key);
  const EntryKind& kind = head == nullptr ? *place.kind : *head;
  const EntryKey key = head == nullptr ? place.key : key_above(*place.kind, place.key);
  const bool is_outside = *kind.facts().presence == Presence::OUTSIDE;
  return is_outside && !present.has(kind, key) ? &kind : nullptr;
}

// Each entry that is used by one that not every entry suits, and what uses it.
using Users = std::map<EntryKey, std::pair<const EntryKind*, EntryKey>>;

Users users_of(const EntryKind& used, const Entries& target) {
  Users users;
  for (const EntryKind* kind : entry_kinds()) {
    if (used_kind(*kind) != &used || kind->facts().uses.value.suits == nullptr) continue;
    // Interfaces come first.
    const EntryMap& map = target.of(*kind);
    for (const bool has_name : {true, false}) {
      for (const auto& [key, value] : map) {
        if (key.name.empty() != has_name) users.try_emplace(used_key(key), kind, key);
      }
    }
  }
  return users;
}

// Of entries that are not to suit any longer what still uses them.
void add_unsuited_users(const std::vector<EntryPlace>& places, const Entries& target,
                        std::vector<Fault>& faults) {
  std::map<const EntryKind*, Users> all;
  for (const EntryPlace& place : places) {
    if (used_kind(*place.kind) != nullptr || *place.kind->facts().presence == Presence::OUTSIDE) {
      continue;
    }
    const auto [at, is_new] = all.try_emplace(place.kind);
    if (is_new) at->second = users_of(*place.kind, target);
    const auto user = at->second.find(place.key);
    if (user == at->second.end()) continue;
    const auto& [kind, key] = user->second;
    const std::string statement = statement_text(*kind, key, *target.find(*kind, key));
    faults.push_back(fault_at(place, std::string(kind->facts().uses.value.has_to),
                              name_of(*head_of(*kind, key), key_above(*kind, key)) + ": " +
                                  statement + "; delete that first."));
  }
}

}  // namespace

void before_change(const std::function<void()>& run) {
  try {
    run();
  } catch (const Failure& failure) {
    throw failure.with(Fate::UNCHANGED);
  }
}

std::string leave_gone_out(ReadConfiguration& kept, const SwitchConfiguration& present) {
  std::string gone;
  for (const EntryKind* kind : outside_kinds()) {
    const EntryMap there = kept.configuration.of(*kind);
    for (const auto& [key, value] : there) {
      if (present.has(*kind, key)) continue;
      gone += (gone.empty() ? "" : ", ") + name_of(*kind, key);
      kept.configuration.erase(*kind, key);
    }
  }
  for (const EntryKind* kind : entry_kinds()) {
    kept.configuration.of(*kind).erase_if([&](const MapEntry& entry) {
      return missing_at({kind, entry.first}, present) != nullptr;
    });
  }
  std::erase_if(kept.places,
                [&](const EntryPlace& place) { return missing_at(place, present) != nullptr; });
  return gone.empty() ? gone : "Left out, as the switch has them no longer: " + gone + ".";
}

std::vector<Fault> faults_at_switch(const std::vector<EntryPlace>& places,
                                    const SwitchConfiguration& present,
                                    const SwitchConfiguration& target) {
  std::vector<Fault> faults;
  for (const EntryPlace& place : places) {
    if (*place.kind->facts().presence != Presence::OUTSIDE) continue;
    const EntryKind* const missing = missing_at(place, present);
    if (missing == nullptr) continue;
    EntryProblem problem = (*missing->facts().missing)(place.key, present);
    faults.push_back(fault_at(place, std::move(problem.message), std::move(problem.advice)));
  }
  const std::vector<Fault> unsuited = use_faults(places, target, true);
  faults.insert(faults.end(), unsuited.begin(), unsuited.end());
  add_unsuited_users(places, target, faults);
  std::stable_sort(faults.begin(), faults.end(), [](const Fault& a, const Fault& b) {
    return std::pair(a.line, a.column) < std::pair(b.line, b.column);
  });
  return faults;
}
