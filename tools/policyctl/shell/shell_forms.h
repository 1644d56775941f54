// The commands of the shell as forms of lines, from commands().
#pragma once

#include <cstddef>
#include <span>

#include "tools/policyctl/commands/command.h"
#include "tools/policyctl/language/command_forms.h"

// A form for each way to say a command.
[[nodiscard]] const CommandForms& shell_forms();
// The call that `words`, which are that form, make; not yet of any shell.
[[nodiscard]] Call shell_call(Context& context, std::size_t form, std::span<const Word> words);
