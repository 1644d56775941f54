// RuleFields: the match fields of a rule in little space: a hundred thousand
// rules of the switch and as many of a file are held at once.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

class RuleFields {
 public:
  // `number` at most 255, above that of every field so far; `value` shorter
  // than 4 GiB.
  void append(std::uint32_t number, std::string_view value) {
    const auto length = static_cast<std::uint32_t>(value.size());
    char head[HEAD_BYTES];
    head[0] = static_cast<char>(number);
    std::memcpy(head + 1, &length, sizeof length);
    _packed.append(head, HEAD_BYTES).append(value);
  }

  // Calls `visit(number, value)` for each field in ascending order of number;
  // the value lives as long as the fields stay as they are.
  template <typename Visit>
  void for_each(Visit visit) const {
    for (std::size_t at = 0; at < _packed.size();) {
      std::uint32_t length = 0;
      std::memcpy(&length, _packed.data() + at + 1, sizeof length);
      const auto number = static_cast<unsigned char>(_packed[at]);
      visit(std::uint32_t{number}, std::string_view(_packed).substr(at + HEAD_BYTES, length));
      at += HEAD_BYTES + length;
    }
  }

  [[nodiscard]] bool empty() const { return _packed.empty(); }
  // Keeps the space.
  void clear() { _packed.clear(); }
  void reserve(std::size_t fields, std::size_t value_bytes) {
    _packed.reserve(fields * HEAD_BYTES + value_bytes);
  }
  bool operator==(const RuleFields&) const = default;

 private:
  static constexpr std::size_t HEAD_BYTES = 1 + sizeof(std::uint32_t);
  std::string _packed;  // of each field its number, the length of its value, the value
};
