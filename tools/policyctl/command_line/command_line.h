// The command line of policyctl.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

#include "tools/policyctl/commands/context.h"

// The commands with their options, for parsing, completion and the manual page.
// Parsing sets `context` from the options that every command has, and `run` to
// what was asked for.
struct CommandLine {
  std::unique_ptr<CLI::App> app;
  std::function<ExitStatus(Context&)> run;
};
[[nodiscard]] std::unique_ptr<CommandLine> make_command_line(Context& context);

// The command of that name, hidden or not; null when there is none.
[[nodiscard]] const CLI::App* find_command(const CLI::App& app, const std::string& name);

// The switch that "HOST[:PORT]" names. Throws CLI::ValidationError.
void set_finder(Context& context, const std::string& text);

// Runs what the command line asks for and answers the exit status. Never throws.
[[nodiscard]] int run_command_line(Context& context, int argc, const char* const* argv);
