// EntryArguments: what an entry has for the arguments of its statement, one after the
// other in the order of the pattern.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tools/policyctl/language/entry_kind.h"

class EntryArguments {
 public:
  // All three must outlive it.
  EntryArguments(const EntryKind& kind, const EntryKey& key, const EntryValue& value)
      : _key(key),
        _value(value),
        _of_key(*kind.facts().key_arguments),
        _key_number(numbers_above(kind)),
        _value_number(kind.facts().forms.value.size() > 1 ? 1 : 0) {}

  // Whether the next one is of the key.
  [[nodiscard]] bool is_key() const { return _of_key > 0; }
  // The next one, by what its argument is: each takes it.
  std::uint32_t number() {
    return takes_key() ? _key.numbers[_key_number++] : _value.number(_value_number++);
  }
  std::string_view text() { return takes_key() ? _key.name.view() : _value.text(); }

 private:
  bool takes_key() { return _of_key > 0 && _of_key-- > 0; }

  const EntryKey& _key;
  const EntryValue& _value;
  std::size_t _of_key;
  std::size_t _key_number;
  std::size_t _value_number;
};
