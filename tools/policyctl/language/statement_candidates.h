// Which statements a line may become.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/language/words.h"

// Those that may stand within `context` and whose first `count` elements take the
// first `count` words, as far as literals go.
[[nodiscard]] std::vector<const Statement*> candidates(const Scope* context,
                                                       std::span<const Word> words,
                                                       std::size_t count);

// The one that the words are, as far as its literals go; null when there is
// none or the words end before that is decided. `likely`, where there is one, is looked
// at first.
[[nodiscard]] const Statement* find_statement(const Scope* context, std::span<const Word> words,
                                              const Statement* likely = nullptr);

// One of those that begin with this word, or with the one nearest to it. Null
// when none is near.
[[nodiscard]] const Statement* statement_meant(const Scope* context, std::string_view word);

// The literals that `statements` have at `place`, each once.
[[nodiscard]] std::vector<std::string_view> literals_at(
    const std::vector<const Statement*>& statements, std::size_t place);

// Whether a word can be that element, which is not FIELDS.
[[nodiscard]] bool fits(const PatternElement& element, const Word& word);

// What the text is as a value of the argument: its number, a choice's place, 0
// for texts. None when it is no value.
[[nodiscard]] std::optional<std::uint32_t> argument_value(const Argument& argument,
                                                          std::string_view text);
