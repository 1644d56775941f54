// status.
#pragma once

#include "tools/policyctl/commands/context.h"

// Which policyd there is, and which change waits for its confirmation, with nobody left
// to undo it perhaps, or was left unfinished. Throws Failure when the switch cannot be
// reached, or the journal of such a change cannot be read.
ExitStatus status_command(const Context& context);
