// Changes a switch, all or nothing.
//
// Before the first request the journal of the change is on the disk. Whatever
// happens then, a refusal, Ctrl-C, a lost connection or the death of this
// process, the change is undone: by this process or by `policyctl recover`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tools/policyctl/change/journal.h"
#include "tools/policyctl/change/plan.h"
#include "tools/policyctl/change/run_plan.h"
#include "tools/policyctl/change/state_directory.h"

struct ChangeReport {
  ExitStatus status = ExitStatus::DONE;
  PlanCounts counts;         // of the change that was asked for
  std::size_t requests = 0;  // of it, that were answered OKAY
  std::string problem;       // why it was not made; empty: it is made
  std::string outcome;       // the truth about the switch now
  std::string advice;        // what to do next
  Entries mapping_differs;   // what line cards were told and reads back otherwise, as it does
  bool is_made = false;      // nothing of it is undone, whatever else is a problem
};

struct ChangeOptions {
  std::string what;             // "apply edge.conf", for messages and checkpoints
  std::string id;               // of this one change
  std::int64_t confirm_by = 0;  // as in the journal; 0: needs no confirmation
};

// For ChangeOptions: one that no other change has.
[[nodiscard]] std::string new_change_id();

// Throws Failure REFUSED when a change before this one was left unfinished or
// waits for its confirmation. To be called with the lock held, before the switch
// is read.
void refuse_unfinished_change(const StateDirectory& directory);

// Carries `plan` out. The lock must have been held since before the plan's
// present was read.
[[nodiscard]] ChangeReport change_switch(const OnProgress& on_progress, SwitchSession& session,
                                         const StateDirectory& directory, const Plan& plan,
                                         const ChangeOptions& options);

// Undoes what a journal tells of, where `mapping_was_sent` also with line cards
// that may have been told theirs. Unless the status is NOT_REACHABLE, REFUSED or
// TIMED_OUT with a problem, nothing of the change is left and the journal is gone.
// Throws Failure when the switch cannot be asked.
[[nodiscard]] ChangeReport undo_change(SwitchSession& session, const StateDirectory& directory,
                                       const Journal& journal, bool mapping_was_sent = true);

// Removes the journal of a change whose policyd has gone, and tells so.
[[nodiscard]] ChangeReport forget_with_its_policyd(const StateDirectory& directory);
