// What is wrong with a command line, in our words.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/policyctl/failure.h"

// USAGE, of what parsing `app` ended with.
[[nodiscard]] Failure usage_failure(const CLI::App& app, const CLI::ParseError& error);
