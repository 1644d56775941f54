// RuleFields: the match fields of a rule in little space.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

// Calls `visit(number, value)` for each field of packed ones in ascending order of
// number; the values lie within them.
template <typename Visit>
void for_each_field(std::string_view packed, Visit visit) {
  constexpr std::size_t HEAD_BYTES = 1 + sizeof(std::uint32_t);
  for (std::size_t at = 0; at < packed.size();) {
    std::uint32_t length = 0;
    std::memcpy(&length, packed.data() + at + 1, sizeof length);
    const auto number = static_cast<unsigned char>(packed[at]);
    visit(std::uint32_t{number}, packed.substr(at + HEAD_BYTES, length));
    at += HEAD_BYTES + length;
  }
}

class RuleFields {
 public:
  RuleFields() = default;
  explicit RuleFields(std::string_view packed) : _packed(packed) {}

  // `number` at most 255, above that of every field so far; `value` shorter
  // than 4 GiB.
  void append(std::uint32_t number, std::string_view value) {
    const auto length = static_cast<std::uint32_t>(value.size());
    char head[1 + sizeof length];
    head[0] = static_cast<char>(number);
    std::memcpy(head + 1, &length, sizeof length);
    _packed.append(head, sizeof head).append(value);
  }
  template <typename Visit>
  void for_each(Visit visit) const {
    for_each_field(_packed, visit);
  }

  [[nodiscard]] std::string_view packed() const { return _packed; }
  [[nodiscard]] bool empty() const { return _packed.empty(); }
  // Keeps the space.
  void clear() { _packed.clear(); }
  bool operator==(const RuleFields&) const = default;

 private:
  std::string _packed;  // of each field its number, the length of its value, the value
};
