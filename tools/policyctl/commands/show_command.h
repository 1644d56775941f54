// show.
#pragma once

#include "tools/policyctl/commands/context.h"
#include "tools/policyctl/entries/selection.h"

enum class ShowAs {
  WHAT_FITS,  // tables on a terminal, text that can be applied elsewhere
  TEXT,
  TABLES,
};

// The configuration of the switch. On a terminal what is longer than its window
// is paged.
ExitStatus show_command(const Context& context, const Selection& selection, ShowAs show_as);
