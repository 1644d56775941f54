// What the match fields of a rule mean to operators: the one table of which
// field number carries what, under which name, and how its value is written.
//
// policyd keeps numbers and texts and looks into neither; whatever writes rules
// or shows them to people goes by this table. docs/match-fields.md shows it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "common/switch_vocabulary.h"

enum class MatchSyntax : std::uint8_t {
  MAC,          // ADDRESS or ADDRESS/MASK
  IPV4_PREFIX,  // ADDRESS/LENGTH
  IPV6_PREFIX,  // ADDRESS/LENGTH
  NUMBER,       // decimal, `lowest` to `highest`
  RANGE,        // one such number, or two joined by '-', the lower one first
  HEX,          // 0x and four hexadecimal digits
  BITS,         // VALUE/MASK, each like HEX
  WORD,         // one of `words`
  NAME,         // the name of something else, printable
  INTERFACES,   // interface names joined by commas, ascending, each once
};

struct MatchField {
  std::uint32_t number;
  std::string_view name;  // lower case, hyphenated
  MatchSyntax syntax;
  std::uint32_t lowest;    // of NUMBER and RANGE
  std::uint32_t highest;   // of NUMBER and RANGE
  std::string_view words;  // of WORD, joined by '|'
  std::string_view help;   // what of a packet it looks at
  std::string_view example;
};

// In ascending order of number. A number up to LAST_MATCH_FIELD that none has
// is reserved.
[[nodiscard]] std::span<const MatchField> match_fields();

// Null when there is none.
[[nodiscard]] const MatchField* find_match_field(std::string_view name);
[[nodiscard]] const MatchField* find_match_field(std::uint32_t number);

// How a value of the field is written, in a few words: "LOW or LOW-HIGH, 0..65535".
[[nodiscard]] std::string match_value_syntax(const MatchField& field);
