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

// Runs what the command line asks for and answers the exit status. Never throws.
[[nodiscard]] int run_command_line(Context& context, int argc, const char* const* argv);
