// The one spelling that a match value has here, from the many it has elsewhere.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

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
