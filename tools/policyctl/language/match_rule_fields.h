// The match fields of a rule line, one after the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "common/match_fields.h"
#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/language/rule_fields.h"
#include "tools/policyctl/language/words.h"

// A match field by name or number.
struct NamedField {
  std::uint32_t number = 0;
  const MatchField* strict = nullptr;  // by name: whose syntax the value must have
};

// What is wrong with the name, if anything.
std::optional<Fault> read_field_name(const Word& word, NamedField& field);

class RuleFieldsMatch {
 public:
  void clear() { _fields.clear(); }
  // Takes fields from `at` on, to the keyword `end` or the last word, and leaves
  // `at` there. What is wrong with them, or nothing.
  std::optional<Fault> take(std::span<const Word> words, std::size_t& at, std::string_view end);
  // Those taken, into `fields`, whose space is used again.
  void pack(RuleFields& fields);

 private:
  struct PlacedField {
    std::uint32_t number;
    std::string_view value;
  };

  std::optional<Fault> take_one(std::span<const Word> words, std::size_t& at);

  std::vector<PlacedField> _fields;
};
