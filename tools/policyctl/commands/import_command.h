// import.
#pragma once

#include <string>

#include "tools/policyctl/commands/context.h"
#include "tools/policyctl/import/import_text.h"

struct ImportCommandOptions {
  std::string format;  // as import_formats() name it
  std::string file;
  std::string output;  // empty: standard output
  ImportOptions options;
};

// Writes the configuration text that a file of another tool becomes, and names
// on standard error what has no counterpart. Throws Failure USAGE when there is
// no such format.
ExitStatus import_command(const Context& context, const ImportCommandOptions& import);
