// The manual page, and help on commands, from the tables of commands and of the
// language.
#pragma once

#include <string>
#include <vector>

#include "tools/policyctl/commands/command.h"

// policyctl(1), for man.
[[nodiscard]] std::string manual_page();
ExitStatus manual_command(const Context& context);

// How the program, or the command of that name, is called.
[[nodiscard]] std::string usage_text(const std::string& command);

// Help on a topic: nothing, a command, or one of language_topics(). Throws
// Failure USAGE when there is none, naming the nearest.
[[nodiscard]] std::string help_text(const std::vector<std::string>& topic);
ExitStatus help_command(const Context& context, const std::vector<std::string>& topic);
