// The statements of the configuration language, from the table of entry kinds: the
// reader, the writer, completion, help, the manual page and the hints of errors go
// by them.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/language/entry_kind.h"

// What an argument of a command names, beside what the switch has; completion goes
// by it.
enum class Named : std::uint8_t {
  NOTHING,
  FILES,
  TOPICS,
  CHECKPOINTS,
  SIDES,    // of a comparison: a file, a checkpoint, the switch
  FORMATS,  // that can be imported
  // Several words, which have one of some forms:
  SELECTIONS,  // parts of a configuration
  USED,        // what bindings use
  MADE,        // what the operator makes and deletes
  EDITED,      // the same, what is bound, and to what
  HEADS,       // what the operator makes statements stand below
};

enum class ArgumentSyntax : std::uint8_t {
  NUMBER,   // decimal, `lowest` to `highest`
  SECONDS,  // a decimal fraction; the limits are milliseconds
  CHOICE,   // one of `choices`, joined by '|'; its value is its place among them, from 0
  TEXT,     // any word
};

struct Argument {
  std::string_view name;  // as patterns have it
  ArgumentSyntax syntax;
  std::uint32_t lowest;  // of NUMBER
  std::uint32_t highest;
  std::string_view choices;  // of CHOICE
  Named names;
  std::string_view help;
};
inline constexpr std::uint32_t ANY_NUMBER = std::numeric_limits<std::uint32_t>::max();
constexpr Argument number_argument(std::string_view name, std::uint32_t lowest,
                                   std::uint32_t highest, std::string_view help,
                                   Named names = Named::NOTHING) {
  return {name, ArgumentSyntax::NUMBER, lowest, highest, {}, names, help};
}
constexpr Argument seconds_argument(std::uint32_t lowest_ms, std::uint32_t highest_ms) {
  return {"SECONDS", ArgumentSyntax::SECONDS, lowest_ms, highest_ms, {}, Named::NOTHING, {}};
}
constexpr Argument choice_argument(std::string_view name, std::string_view choices,
                                   std::string_view help) {
  return {name, ArgumentSyntax::CHOICE, 0, 0, choices, Named::NOTHING, help};
}
constexpr Argument text_argument(std::string_view name, std::string_view help,
                                 Named names = Named::NOTHING) {
  return {name, ArgumentSyntax::TEXT, 0, 0, {}, names, help};
}

struct PatternElement {
  enum class Kind : std::uint8_t { LITERAL, ARGUMENT, FIELDS } kind;
  std::string_view word;     // of LITERAL; of the others as the pattern has it
  const Argument* argument;  // of ARGUMENT
  bool optional;             // it and what follows may be left out
};

struct Statement {
  const EntryKind* kind = nullptr;
  std::uint32_t form = 0;  // its place among those of the kind
  const Scope* context = &TOP_LEVEL;
  const Scope* opens = nullptr;
  std::string_view pattern;
  std::string_view reads;  // the request that reads it back from the daemon
  std::string_view sends;  // the requests that bring it about
  std::string_view help;
  std::vector<PatternElement> elements;
  bool begins_alone = true;  // no other begins with its first word
};

// In the order of the table.
[[nodiscard]] std::span<const Statement> statements();
// The kind whose entries on the switch an argument may name; null: none.
[[nodiscard]] const EntryKind* kind_named_by(const Argument& argument);
[[nodiscard]] std::span<const Statement> statements_of(const EntryKind& kind);
// The argument of that name in patterns of statements; there must be one.
[[nodiscard]] const Argument& argument_named(std::string_view name);
// The elements of another pattern, which must outlive them; its arguments must be
// of the table.
[[nodiscard]] std::vector<PatternElement> parse_pattern(std::string_view pattern);

// How an argument is written: "0..7", "on, off".
[[nodiscard]] std::string argument_syntax(const Argument& argument);
// The choice of that place; `index` must be one.
[[nodiscard]] std::string_view choice(const Argument& argument, std::uint32_t index);
