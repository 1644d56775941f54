// The elements of an ORDERED entry: the entries that it names, in their order.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/entry_kind.h"

using Element = std::pair<std::uint32_t, std::uint32_t>;
using Elements = std::vector<Element>;

// Of nothing, none.
[[nodiscard]] inline Elements elements_of(const EntryValue* value) {
  Elements elements;
  for (std::size_t i = 0; value != nullptr && i + 1 < value->count(); i += 2) {
    elements.emplace_back(value->number(i), value->number(i + 1));
  }
  return elements;
}
[[nodiscard]] inline EntryValue value_of(const Elements& elements) {
  std::vector<std::uint32_t> numbers;
  numbers.reserve(2 * elements.size());
  for (const auto& [first, second] : elements) numbers.insert(numbers.end(), {first, second});
  return EntryValue(numbers);
}
// An entry without elements is none.
inline void put_elements(Entries& entries, const EntryKind& kind, const EntryKey& key,
                         const Elements& elements) {
  if (elements.empty()) {
    entries.erase(kind, key);
  } else {
    entries.put(kind, key, value_of(elements));
  }
}
// The key of an element, and the element of such a key.
[[nodiscard]] inline EntryKey element_key(const EntryKey& key, const Element& element) {
  return {key.name, {key.numbers[0], element.first, element.second}};
}
[[nodiscard]] inline Element element_of(const EntryKey& key) {
  return {key.numbers[1], key.numbers[2]};
}

// Calls `visit(key, value)` for each entry of a kind below that of `above`, in order.
template <typename Visit>
void for_each_below(const EntryKey& above, const EntryMap& map, Visit visit) {
  for (auto at = map.lower_bound(above); at != map.end(); ++at) {
    if (at->first.numbers[0] != above.numbers[0] || at->first.name != above.name) return;
    visit(at->first, at->second);
  }
}

// Calls `visit(key, value)` for each statement that says an entry: of an ORDERED one for
// each element, by its key and without a value, in their order.
template <typename Visit>
void for_each_said(const EntryKind& kind, const EntryKey& key, const EntryValue& value,
                   Visit visit) {
  if (*kind.facts().change != HowChanged::ORDERED) return visit(key, value);
  for (const Element& each : elements_of(&value)) visit(element_key(key, each), EntryValue());
}
// The same for all entries of the kind, and for those below that of `above`.
template <typename Visit>
void for_each_said(const EntryKind& kind, const Entries& entries, Visit visit) {
  for (const auto& [key, value] : entries.of(kind)) for_each_said(kind, key, value, visit);
}
template <typename Visit>
void for_each_said_below(const EntryKind& kind, const EntryKey& above, const Entries& entries,
                         Visit visit) {
  for_each_below(above, entries.of(kind), [&](const EntryKey& key, const EntryValue& value) {
    for_each_said(kind, key, value, visit);
  });
}

// Takes away what entries of a kind say by keys of which `goes(key)`.
template <typename Goes>
void erase_said(Entries& entries, const EntryKind& kind, Goes goes) {
  if (*kind.facts().change != HowChanged::ORDERED) {
    return entries.of(kind).erase_if([&goes](const MapEntry& entry) { return goes(entry.first); });
  }
  const EntryMap all = entries.of(kind);
  for (const auto& [key, value] : all) {
    Elements left = elements_of(&value);
    const std::size_t erased = std::erase_if(
        left, [&, &record = key](const Element& each) { return goes(element_key(record, each)); });
    if (erased > 0) put_elements(entries, kind, key, left);
  }
}

// An entry, and all that stands below it.
inline void erase_with_all_below(Entries& entries, const EntryKind& kind, const EntryKey& key) {
  for (const EntryKind* child : kinds_below(kind)) {
    entries.of(*child).erase_if(
        [&](const MapEntry& entry) { return key_above(*child, entry.first) == key; });
  }
  entries.erase(kind, key);
}
