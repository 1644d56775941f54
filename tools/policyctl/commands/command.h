// Command: all that is known of one command of policyctl. The command line, the shell,
// help, the manual page, completion and docs/policyctl.md go over commands().
//
// A new command is a function and a row in command_table.cc.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/commands/context.h"
#include "tools/policyctl/language/statements.h"

class Shell;
struct Command;

// Where a command, or a word of it, can be typed.
enum class Typed : std::uint8_t {
  ANYWHERE,
  ON_COMMAND_LINE,
  IN_SHELL,
  BY_PROGRAMS,  // on the command line, and no help tells of it
};
[[nodiscard]] constexpr bool can_be_typed(Typed typed, Where where) {
  return typed == Typed::ANYWHERE || (typed == Typed::IN_SHELL) == (where == Where::SHELL);
}

// What a command does to the switch; one of the shell, to the candidate or the switch.
enum class Touches : std::uint8_t { NOTHING, READS, CHANGES };

struct CommandArgument {
  Argument type;
  bool optional = false;
  Typed typed = Typed::ANYWHERE;
};

// "--confirm 60", in the shell "confirm 60".
struct CommandOption {
  std::string_view name;  // of one letter: "-o"
  std::string_view help;
  Argument value{};  // without a name: it takes none
  Typed typed = Typed::ON_COMMAND_LINE;
  std::string_view excludes{};  // another one

  [[nodiscard]] std::string dashed() const {
    return (name.size() == 1 ? "-" : "--") + std::string(name);
  }
  [[nodiscard]] bool takes_value() const { return !value.name.empty(); }
};

// A command as it was typed.
struct Call {
  Context& context;
  const Command& command;
  Shell* shell = nullptr;                        // null: on the command line
  std::vector<std::string> words{};              // its arguments
  std::map<std::string, std::string> options{};  // and their values

  // Of the argument at that place; empty, 0: it was left out.
  [[nodiscard]] std::string text(std::size_t place) const;
  [[nodiscard]] std::uint32_t number(std::size_t place) const;
  [[nodiscard]] bool has(const std::string& option) const { return options.contains(option); }
  [[nodiscard]] std::uint32_t option_number(const std::string& option,
                                            std::uint32_t otherwise = 0) const;
  [[nodiscard]] double option_seconds(const std::string& option, double otherwise) const;
};

struct Command {
  std::string_view name;  // empty: its argument stands alone
  Typed typed;
  Touches touches;
  std::vector<CommandArgument> arguments;
  std::vector<CommandOption> options;
  std::string_view help;
  ExitStatus (*run)(Call& call);

  [[nodiscard]] bool is_told_of() const { return typed != Typed::BY_PROGRAMS; }
};

// The table, in the order in which help lists them.
[[nodiscard]] std::span<const Command> commands();
// Those of the command line of that name; null when there is none.
[[nodiscard]] const Command* find_command(std::string_view name);
// What every command of the command line takes.
[[nodiscard]] std::span<const CommandOption> common_options();

// The forms that the words of an argument have one of; empty when it is one word.
struct ArgumentForm {
  std::string_view words;  // in the notation of statements
  const Scope* scope;      // what has to be open in the shell
};
[[nodiscard]] std::vector<ArgumentForm> forms_of(const Argument& argument);
[[nodiscard]] bool takes_many_words(const Argument& argument);
// "a file of configuration", or its forms.
[[nodiscard]] std::string help_of(const Argument& argument);
// Its words without its options: "rollback N", "rollback [N]".
[[nodiscard]] std::string usage_of(const Command& command, Where where);
