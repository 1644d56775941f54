// The statements of the configuration language: the one table that the reader,
// the writer, completion, help, the manual page and the hints of errors go by.
//
// A new statement is a row in statements.cc, its handler in
// statement_handlers.cc, and a line in the writer that prints it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class StatementEntry;
struct StatementValues;

// What there is, on a switch or beside it, that an argument may name.
enum class LiveNames : std::uint8_t {
  NONE,
  ACLS,
  RULES,
  TIME_RANGES,
  INTERFACES,
  VLANS,
  FILES,
  TOPICS
};

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
  LiveNames live;
  std::string_view help;
};

// Where a statement stands: by itself, or below the statement that opens it.
enum class StatementContext : std::uint8_t { TOP, ACL, BINDINGS };

enum class StatementId : std::uint8_t {
  COS_FLAG,
  COS_SCHEDULE_MODE,
  COS_SCHEDULE_ALGORITHM,
  COS_PRIORITY,
  COS_MAPPING,
  TIME_RANGE,
  ACL,
  INTERFACE,
  VLAN,
  RULE,
  COS_VALUE,
  FILTER,
  REMARK_DSCP,
  REMARK_PRIORITY,
  REMARK_TWO_BIT,
};

// Of a pattern: words in lower case stand as they are, words in upper case are
// arguments, "FIELD..." is any number of match fields, each a name or number and
// a value, and what is in square brackets may be left out.
struct Statement {
  StatementId id;
  StatementContext context;
  StatementContext opens;  // TOP: nothing
  std::string_view pattern;
  std::string_view reads;  // the request that reads it back from the daemon
  std::string_view sends;  // the requests that bring it about
  std::string_view help;
  void (*enter)(StatementEntry& entry, const StatementValues& values);
};

struct PatternElement {
  enum class Kind : std::uint8_t { LITERAL, ARGUMENT, FIELDS } kind;
  std::string_view word;     // of LITERAL; of the others as the pattern has it
  const Argument* argument;  // of ARGUMENT
  bool optional;             // it and what follows may be left out
};

// In the order in which configurations are written.
[[nodiscard]] std::span<const Statement> statements();
[[nodiscard]] const Statement& statement(StatementId id);
[[nodiscard]] const std::vector<PatternElement>& pattern_of(const Statement& statement);
// The elements of another pattern, which must outlive them; its arguments must be
// of the table.
[[nodiscard]] std::vector<PatternElement> parse_pattern(std::string_view pattern);

// How an argument is written: "0..7", "on, off".
[[nodiscard]] std::string argument_syntax(const Argument& argument);
// The choice of that place; `index` must be one.
[[nodiscard]] std::string_view choice(const Argument& argument, std::uint32_t index);
