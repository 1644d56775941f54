// Help on the configuration language, from its tables.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/failure.h"

struct Statement;

// How configurations are written, in lines.
[[nodiscard]] std::string_view language_introduction();

// "statements", "fields", "exit-statuses", the first words of statements, and the
// names of match fields.
[[nodiscard]] std::vector<std::string> language_topics();

// Help on one of them, in lines; "cos mapping" names a statement more closely
// than "cos". None when there is no such topic.
[[nodiscard]] std::optional<std::string> help_on(const std::vector<std::string>& topic);

// "  NAME    help" for each of these, in two columns, the second one as it is.
struct HelpRow {
  std::string name;
  std::string help;
};
[[nodiscard]] std::string columns(const std::vector<HelpRow>& rows);

// What the arguments of a statement are, each once.
[[nodiscard]] std::vector<HelpRow> argument_rows(const Statement& statement);

// What the exit statuses mean to people, ascending.
struct ExitStatusHelp {
  ExitStatus status;
  std::string_view meaning;
};
[[nodiscard]] std::span<const ExitStatusHelp> exit_statuses();
