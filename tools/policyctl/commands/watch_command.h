// watch.
#pragma once

#include <chrono>
#include <cstddef>

#include "tools/policyctl/commands/context.h"
#include "tools/policyctl/entries/selection.h"

struct WatchOptions {
  std::chrono::duration<double> interval{1};  // from the end of a reading to the next
  std::size_t count = 0;                      // ends after so many changes; 0: with Ctrl-C
};

// Prints each change of what is selected, as it is seen by reading it again and
// again:
//
//     2026-01-31 23:59:59 + rule 2 deny protocol 17 (acl 10 type 0)
//
// or with --json a line each, an object. A switch that is lost on the way is waited
// for, and who is gone is said:
//
//     2026-01-31 23:59:59 policyctl: policyd is gone. Waiting for the switch to be back.
//
// At the start it is a Failure, which is thrown. Ctrl-C ends the process with status
// 0.
ExitStatus watch_command(const Context& context, const Selection& selection,
                         const WatchOptions& options);
