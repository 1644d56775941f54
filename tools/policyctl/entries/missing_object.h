// The refusal of something that is named and is not there.
#pragma once

#include <cstdint>
#include <string>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/entry_kind.h"

// Where things are looked for.
struct ObjectPlace {
  const char* name;
};
inline constexpr ObjectPlace ON_THE_SWITCH{"on the switch"};
inline constexpr ObjectPlace IN_THE_CANDIDATE{"here"};

struct ObjectSought {
  std::string name;   // "acl 10 rule 1"
  std::string among;  // what `show` takes for all of its kind: "acl 10"
};

// REFUSED. `nearest` is what may have been meant instead, if anything.
[[nodiscard]] inline Failure missing_object(const ObjectSought& sought, const ObjectPlace& place,
                                            const std::string& nearest) {
  return Failure(ExitStatus::REFUSED, "there is no " + sought.name + " " + place.name + ".",
                 (nearest.empty() ? "" : "Is '" + nearest + "' meant? ") + "See " +
                     own_command("show " + sought.among) + ".");
}

// Throws missing_object() when there is no such entry.
inline void require_entry(const Entries& entries, const EntryKind& kind, const EntryKey& key,
                          const ObjectSought& sought, const ObjectPlace& place) {
  const EntryMap& map = entries.of(kind);
  if (map.contains(key)) return;
  const std::size_t own = numbers_above(kind);
  const auto as_text = [own](const EntryKey& each) {
    return each.name.empty() ? std::to_string(each.numbers[own]) : std::string(each.name.view());
  };
  const std::string wanted = as_text(key);
  NearestName nearest(wanted);
  for (const auto& [other, value] : map) {
    const bool is_beside = own == 0 || other.numbers[0] == key.numbers[0];
    if (is_beside) nearest.consider(as_text(other));
  }
  throw missing_object(sought, place, nearest.name());
}
