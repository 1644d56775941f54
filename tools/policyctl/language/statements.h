// The statements of the configuration language, from the table of entry kinds: the
// reader, the writer, completion, help, the manual page and the hints of errors go
// by them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/language/entry_kind.h"

// What there is beside the switch that an argument may name.
enum class Beside : std::uint8_t { NOTHING, FILES, TOPICS, CHECKPOINTS };

enum class ArgumentSyntax : std::uint8_t {
  NUMBER,  // decimal, `lowest` to `highest`
  CHOICE,  // one of `choices`, joined by '|'; its value is its place among them, from 0
  TEXT,    // any word
};

struct Argument {
  std::string_view name;  // as patterns have it
  ArgumentSyntax syntax;
  std::uint32_t lowest;  // of NUMBER
  std::uint32_t highest;
  std::string_view choices;  // of CHOICE
  Beside beside;
  std::string_view help;
};

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
};

// In the order of the table.
[[nodiscard]] std::span<const Statement> statements();
// The kind whose entries on the switch an argument may name; null: none.
[[nodiscard]] const EntryKind* kind_named_by(const Argument& argument);
[[nodiscard]] std::span<const Statement> statements_of(const EntryKind& kind);
// The elements of another pattern, which must outlive them; its arguments must be
// of the table.
[[nodiscard]] std::vector<PatternElement> parse_pattern(std::string_view pattern);

// How an argument is written: "0..7", "on, off".
[[nodiscard]] std::string argument_syntax(const Argument& argument);
// The choice of that place; `index` must be one.
[[nodiscard]] std::string_view choice(const Argument& argument, std::uint32_t index);
