#include "tools/policyctl/commands/status_command.h"

#include "tools/policyctl/change/change_switch.h"
#include "tools/policyctl/change/read_switch.h"

ExitStatus status_command(const Context& context) {
  const StateDirectory directory(context.place);
  const auto session = context.connect();
  // One that does not answer does not run.
  (void)read_parts(*session, {top_kinds().front()});
  ChangeReport report;
  std::string change = unwatched_change(directory);
  try {
    refuse_unfinished_change(directory);
    change = "no change waits for its confirmation or was left unfinished.";
  } catch (const Failure& unfinished) {
    if (unfinished.status() != ExitStatus::REFUSED) throw;
    if (change.empty()) change = unfinished.what();
    report.advice = unfinished.advice();
  }
  report.outcome = "policyd runs as " + session->policyd() + " by the finder at " +
                   context.place.name() + "; " + change;
  return print_report(context, "status", report);
}
