// save, checkpoint, checkpoints, rollback, diff.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tools/policyctl/commands/context.h"

// The configuration of the switch into a file.
ExitStatus save_command(const Context& context, const std::string& file);
// Keeps the configuration of the switch as it is now.
ExitStatus checkpoint_command(const Context& context, const std::string& why);
ExitStatus checkpoints_command(const Context& context);
// Makes the switch what it was at the `number`th checkpoint, counted from the
// newest, which is 1. `confirm_s` as for apply.
ExitStatus rollback_command(const Context& context, std::size_t number, std::uint32_t confirm_s);
// What makes `to` of `from`; each is a file, "checkpoint:N", or "switch".
ExitStatus diff_command(const Context& context, const std::string& from, const std::string& to);
