// The command line of policyctl.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "tools/policyctl/commands/command.h"

// What commands() tells of, for parsing. Parsing sets `context` from the options that
// every command has, and `call` to what was asked for.
struct CommandLine {
  std::unique_ptr<CLI::App> app;
  std::shared_ptr<Call> call;
};
[[nodiscard]] std::unique_ptr<CommandLine> make_command_line(Context& context);

// The switch that "HOST[:PORT]" names. Throws CLI::ValidationError.
void set_finder(Context& context, const std::string& text);

// Runs what the command line asks for and answers the exit status. Never throws.
[[nodiscard]] int run_command_line(Context& context, int argc, const char* const* argv);
