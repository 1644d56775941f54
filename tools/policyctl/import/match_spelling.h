// The one spelling that a match value has here, from the many it has elsewhere.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/match_fields.h"

struct MatchSpelling {
  std::string text;     // a value of the field
  std::string problem;  // or a sentence: the text is none in any spelling
};

// Of a value of the field: numbers decimal or hexadecimal with 0x, with leading
// zeros or without; ranges LOW-HIGH or LOW..HIGH; prefixes with host bits, or
// without a length for one address; interfaces in any order.
[[nodiscard]] MatchSpelling spell_match(const MatchField& field, std::string_view text);

// Decimal, or hexadecimal with 0x; none for anything else and beyond 2^32 - 1.
[[nodiscard]] std::optional<std::uint32_t> foreign_number(std::string_view text);

// What stands between the commas, without blanks around it; nothing of an empty
// text.
[[nodiscard]] inline std::vector<std::string_view> split_list(std::string_view text) {
  std::vector<std::string_view> parts;
  while (!text.empty()) {
    std::string_view part = text.substr(0, text.find(','));
    text.remove_prefix(part.size() < text.size() ? part.size() + 1 : part.size());
    while (part.starts_with(' ')) part.remove_prefix(1);
    while (part.ends_with(' ')) part.remove_suffix(1);
    parts.push_back(part);
  }
  return parts;
}
