// What the exit statuses mean to people.
#pragma once

#include <span>
#include <string_view>

#include "tools/policyctl/failure.h"

struct ExitStatusHelp {
  ExitStatus status;
  std::string_view meaning;
};

// Ascending.
[[nodiscard]] std::span<const ExitStatusHelp> exit_statuses();
