// The match fields of a rule: value texts by field number.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

// Kept in one block of memory, ordered by field number, because a switch has
// very many rules of a few short fields each: a field costs its text and two
// bytes, or up to six when the text is long.
class PolicyRuleFields {
 public:
  static constexpr std::uint32_t MAX_NUMBER = 36;

  struct Field {
    std::uint32_t number;
    std::string_view value;
  };
  class const_iterator;

  // No fields.
  PolicyRuleFields() = default;
  // Field `numbers[i]`, at most MAX_NUMBER, has the value `values[i]`; of
  // several with one number the first counts. The spans are equally long.
  PolicyRuleFields(std::span<const std::uint32_t> numbers,
                   std::span<const std::string_view> values);

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
