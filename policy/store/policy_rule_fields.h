// The match fields of a rule: value texts by field number.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "common/switch_vocabulary.h"

// What fields are made of: for each number the first value that two lists, of
// numbers and of the values beside them, give it. Takes no memory.
class PolicyFieldValues {
 public:
  static constexpr std::uint32_t MAX_NUMBER = LAST_MATCH_FIELD;

  // None.
  PolicyFieldValues() = default;
  // Of two ranges, equally long, which hold std::uint32_t and std::string_view.
  // The first number above MAX_NUMBER ends them. The texts must stay as long as
  // this does.
  template <typename Numbers, typename Values>
  PolicyFieldValues(const Numbers& numbers, const Values& values) {
    auto value = values.begin();
    for (const std::uint32_t number : numbers) {
      if (number > MAX_NUMBER) {
        _is_complete = false;
        return;
      }
      if ((_numbers >> number & 1U) == 0) add(number, *value);
      ++value;
    }
  }

  // Whether no number was above MAX_NUMBER.
  [[nodiscard]] bool is_complete() const { return _is_complete; }
  [[nodiscard]] std::uint8_t count() const {
    return static_cast<std::uint8_t>(std::popcount(_numbers));
  }
  // What PolicyRuleFields of them take; 0 of none.
  [[nodiscard]] std::size_t bytes() const { return _numbers == 0 ? 0 : 1 + _bytes; }
  // Calls `visit(number, value)` for each field in ascending order of number.
  template <typename Visit>
  void for_each(Visit visit) const {
    for (std::uint64_t left = _numbers; left != 0; left &= left - 1) {
      const auto number = static_cast<std::uint32_t>(std::countr_zero(left));
      visit(number, _values[number]);
    }
  }

 private:
  void add(std::uint32_t number, std::string_view value) {
    _values[number] = value;
    _numbers |= std::uint64_t{1} << number;
    std::size_t bytes_of_length = 1;
    for (std::size_t left = value.size() >> 7U; left != 0; left >>= 7U) ++bytes_of_length;
    _bytes += 1 + bytes_of_length + value.size();
  }

  std::uint64_t _numbers = 0;  // a bit for each
  std::size_t _bytes = 0;      // of the fields
  std::array<std::string_view, MAX_NUMBER + 1> _values;
  bool _is_complete = true;
};

// Kept in one block of memory, ordered by field number, because a switch has
// very many rules of a few short fields each: a field costs its text and two
// bytes, or up to six when the text is long.
class PolicyRuleFields {
 public:
  struct Field {
    std::uint32_t number;
    std::string_view value;
  };
  class const_iterator;

  // No fields.
  PolicyRuleFields() = default;
  // Throws std::bad_alloc when memory runs out.
  explicit PolicyRuleFields(const PolicyFieldValues& values);

  [[nodiscard]] std::size_t size() const { return _block ? _block[0] : 0; }
  // In ascending order of number; the texts hold until the fields change.
  [[nodiscard]] const_iterator begin() const;
  [[nodiscard]] const_iterator end() const;

 private:
  // How many fields (one byte), then for each its number (one byte), the
  // length of its text (seven bits a byte, lowest first, the top bit set when
  // more follow) and the text. Null for none.
  std::unique_ptr<std::uint8_t[]> _block;
};

class PolicyRuleFields::const_iterator {
 public:
  using value_type = Field;
  using difference_type = std::ptrdiff_t;
  const_iterator(const std::uint8_t* at, std::size_t left) : _at(at), _left(left) { read(); }
  const Field& operator*() const { return _field; }
  const_iterator& operator++() {
    --_left;
    read();
    return *this;
  }
  bool operator==(const const_iterator& other) const { return _left == other._left; }

 private:
  void read();

  const std::uint8_t* _at;
  std::size_t _left;
  Field _field{};
};

inline PolicyRuleFields::const_iterator PolicyRuleFields::begin() const {
  return {_block ? _block.get() + 1 : nullptr, size()};
}
inline PolicyRuleFields::const_iterator PolicyRuleFields::end() const {
  return {nullptr, 0};
}
