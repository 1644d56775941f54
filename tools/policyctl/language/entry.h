// An entry of a configuration: what names it, and what it says. Which kinds there
// are stands in entries/; here all are alike.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

#include "tools/policyctl/language/bytes.h"

// What names an entry among those of its kind: a text, or numbers, or what names
// the entry it stands below, and more.
struct EntryKey {
  Bytes name;
  std::array<std::uint32_t, 3> numbers{};

  bool operator==(const EntryKey&) const = default;
  std::strong_ordering operator<=>(const EntryKey& other) const {
    const std::strong_ordering names = name <=> other.name;
    return std::is_neq(names) ? names : numbers <=> other.numbers;
  }
};

[[nodiscard]] inline EntryKey key_of(std::uint32_t number) {
  return {{}, {number, 0, 0}};
}
[[nodiscard]] inline EntryKey key_of(std::string_view name) {
  return {Bytes(name), {}};
}

// What an entry says: the arguments of its statement that are no part of its key,
// as numbers, one text and match fields. Shared like Bytes.
class EntryValue {
 public:
  // Of an entry that says no more than that it is there.
  EntryValue() = default;
  explicit EntryValue(std::span<const std::uint32_t> numbers, std::string_view text = {},
                      std::string_view fields = {});
  EntryValue(std::initializer_list<std::uint32_t> numbers, std::string_view text = {},
             std::string_view fields = {})
      : EntryValue(std::span(numbers.begin(), numbers.size()), text, fields) {}

  [[nodiscard]] std::size_t count() const;  // of numbers
  [[nodiscard]] std::uint32_t number(std::size_t i) const;
  [[nodiscard]] std::string_view text() const;
  [[nodiscard]] std::string_view fields() const;  // packed, as RuleFields has them

  [[nodiscard]] EntryValue with_text(std::string_view text) const;
  // Whether both differ in their text at most.
  [[nodiscard]] bool acts_like(const EntryValue& other) const;
  bool operator==(const EntryValue&) const = default;

 private:
  [[nodiscard]] std::uint32_t word(std::size_t i) const;

  // How many numbers, the length of the text, the numbers, the text, the fields;
  // empty when there is nothing of them.
  Bytes _packed;
};
