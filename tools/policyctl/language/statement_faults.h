// How what is wrong with a line's words is said.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/language/words.h"

// "Is 'acl' meant?", or nothing when `name` is empty.
[[nodiscard]] std::string is_meant(const std::string& name);

[[nodiscard]] Fault fault_at(const Word& word, std::string message, std::string advice = "");
// Behind the last word.
[[nodiscard]] Fault fault_at_end(std::span<const Word> words, std::string message,
                                 std::string advice);

// A keyword that stands in quotes.
[[nodiscard]] Fault quoted_keyword(const Word& word);
// `words` end before that element of the statement.
[[nodiscard]] Fault element_missing(std::span<const Word> words, const PatternElement& element,
                                    const Statement& statement);
[[nodiscard]] Fault surplus_word(const Word& word, const Statement& statement);
[[nodiscard]] Fault bad_argument(const Argument& argument, const Word& word);
// No single statement begins like this; names the first word that none has.
[[nodiscard]] Fault no_statement(const Scope* context, std::span<const Word> words);
