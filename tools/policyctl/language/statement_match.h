// Which statement a line is, the values it gives, and what could come next.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/language/match_rule_fields.h"
#include "tools/policyctl/language/rule_fields.h"
#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/language/words.h"

struct StatementValues {
  struct Value {
    std::uint32_t number = 0;  // of numbers, and of choices their place
    std::string_view text;     // lives as long as the words
    const Word* word = nullptr;
  };
  static constexpr std::size_t MOST_ARGUMENTS = 6;

  // In the order of the pattern; one that was left out has no word.
  std::array<Value, MOST_ARGUMENTS> arguments;
  RuleFields fields;
};

class StatementMatch {
 public:
  // Of a line within `context`; a statement of the top level may stand anywhere.
  // What is wrong, or nothing, and then statement() and values() are the line's.
  // `words` must not be empty, and must live as long as the values are used.
  std::optional<Fault> match(const Scope* context, std::span<const Word> words);

  [[nodiscard]] const Statement& statement() const { return *_statement; }
  [[nodiscard]] const StatementValues& values() const { return _values; }
  [[nodiscard]] StatementValues& values() { return _values; }

 private:
  std::optional<Fault> match_rest(std::span<const Word> words);
  std::optional<Fault> take_argument(const Argument& argument, const Word& word);

  const Statement* _statement = nullptr;
  StatementValues _values;
  std::size_t _arguments = 0;
  RuleFieldsMatch _fields;
};

// What may follow `words` within `context`, for completion and help: words that
// stand as they are, arguments, and match fields. Empty when the words are wrong
// or the statement is complete.
struct Expected {
  std::vector<std::string_view> literals;
  const Argument* argument = nullptr;
  bool field = false;    // the name or number of a match field
  std::string value_of;  // or the value of this one
  bool may_end = false;  // the statement is complete as it is
  // Where `argument` names an entry below another: the number of that, if it is said.
  std::optional<std::uint32_t> above;
  const Statement* statement = nullptr;  // null while several are possible
};
[[nodiscard]] Expected expected_after(const Scope* context, std::span<const Word> words);
// Adds what may follow `words` in one pattern without match fields. False when
// they are not its beginning.
bool expect_after(const std::vector<PatternElement>& pattern, std::span<const Word> words,
                  Expected& expected);

// The number that a word would be without its leading zeros; empty when that is not all
// that is wrong with it.
[[nodiscard]] std::string without_leading_zero(std::string_view text);
// The number that a word is, if it is one.
[[nodiscard]] std::optional<std::uint32_t> decimal_number(std::string_view text);
