// The elements of an ORDERED entry: the entries that it names, in their order.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "tools/policyctl/language/configuration.h"

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
