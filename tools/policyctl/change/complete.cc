#include "tools/policyctl/change/complete.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/language/entry_kind.h"

namespace {

// Whether `wanted` can be made of `present` by leaving elements out.
bool is_in_order(const Elements& wanted, const Elements& present) {
  auto next = wanted.begin();
  for (const Element& each : present) {
    if (next != wanted.end() && *next == each) ++next;
  }
  return next == wanted.end();
}

Elements complete_order(const Elements& wanted, const Elements& present) {
  if (is_in_order(wanted, present)) return present;
  const std::set<Element> named(wanted.begin(), wanted.end());
  const auto is_named = [&named](const Element& each) { return named.contains(each); };
  Elements there;
  std::copy_if(present.begin(), present.end(), std::back_inserter(there), is_named);
  const bool only_more_behind =
      there.size() <= wanted.size() && std::equal(there.begin(), there.end(), wanted.begin());
  Elements complete;
  if (only_more_behind) {
    complete = present;
    const std::set<Element> has(present.begin(), present.end());
    std::copy_if(wanted.begin(), wanted.end(), std::back_inserter(complete),
                 [&has](const Element& each) { return !has.contains(each); });
    return complete;
  }
  std::remove_copy_if(present.begin(), present.end(), std::back_inserter(complete), is_named);
  complete.insert(complete.end(), wanted.begin(), wanted.end());
  return complete;
}

// Adds what is missing; of what is there and the same one copy is held from then on.
void complete_map(EntryMap& wanted, const EntryMap& present) {
  auto at = wanted.begin();
  for (const auto& [key, value] : present) {
    while (at != wanted.end() && at->first < key) ++at;
    if (at == wanted.end() || at->first != key) {
      at = std::next(wanted.try_emplace(key, value).first);
    } else if (at->second == value) {
      at->second = value;
    }
  }
}

void complete_kept(const EntryKind& kind, EntryMap& wanted, const EntryMap& present) {
  if (*kind.facts().change != HowChanged::ORDERED) return complete_map(wanted, present);
  for (const auto& [key, value] : present) {
    const auto [at, is_new] = wanted.try_emplace(key, value);
    if (!is_new)
      at->second = value_of(complete_order(elements_of(&at->second), elements_of(&value)));
  }
}

void start_over(const EntryKind& kind, EntryMap& wanted, const EntryMap& present) {
  if (*kind.facts().presence != Presence::ALWAYS) return;
  if (is_top(kind)) {
    for (const DefaultEntry& each : *kind.facts().defaults) {
      wanted.try_emplace(key_of(each.key), EntryValue(std::span(each.numbers).first(each.count)));
    }
  }
  for (const auto& [key, value] : present) wanted.try_emplace(key, default_of(kind, key));
}

}  // namespace

SwitchConfiguration complete(WantedConfiguration wanted, const SwitchConfiguration& present,
                             Unnamed unnamed) {
  for (const EntryKind* kind : entry_kinds()) {
    EntryMap& map = wanted.of(*kind);
    if (unnamed == Unnamed::KEPT) {
      complete_kept(*kind, map, present.of(*kind));
    } else if (*kind->facts().presence == Presence::OUTSIDE) {
      complete_map(map, present.of(*kind));
    } else {
      start_over(*kind, map, present.of(*kind));
      // What stays the same is held once.
      for (auto& [key, value] : map) {
        const EntryValue* const there = present.find(*kind, key);
        if (there != nullptr && *there == value) value = *there;
      }
    }
  }
  return SwitchConfiguration(std::move(static_cast<Entries&>(wanted)));
}

SwitchConfiguration bare_switch() {
  return complete({}, {}, Unnamed::REMOVED);
}
