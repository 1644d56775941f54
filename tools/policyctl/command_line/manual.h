// The manual page, and help on commands, from the command line's own
// description and the tables of the language.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

// policyctl(1), for man.
[[nodiscard]] std::string manual_page(const CLI::App& app);

// How the program, or one of its commands, is called.
[[nodiscard]] std::string usage_text(const CLI::App& app);

// Help on a topic: nothing, a command, or one of language_topics(). Throws
// Failure USAGE when there is none, naming the nearest.
[[nodiscard]] std::string help_text(const CLI::App& app, const std::vector<std::string>& topic);
