// shell.
#pragma once

#include "tools/policyctl/commands/context.h"

// A person's shell at a terminal. From anything else lines are read as they come,
// up to the first that is refused, whose status it exits with; edits that are
// left uncommitted at the end are told of and exit REFUSED.
ExitStatus shell_command(const Context& context);
