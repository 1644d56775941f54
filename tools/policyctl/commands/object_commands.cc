#include "tools/policyctl/commands/object_commands.h"

#include <ostream>
#include <utility>

#include "policy/interfaces/policy_config_xif.h"
#include "tools/policyctl/change/change_switch.h"
#include "tools/policyctl/change/faults_at_switch.h"
#include "tools/policyctl/change/read_switch.h"
#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/render/json_output.h"
#include "tools/policyctl/render/print_uses.h"

namespace {

ExitStatus refuse_used(const Context& context, const ObjectName& object,
                       const std::vector<ObjectUse>& uses, bool lists_all) {
  if (context.json) {
    print_json(context.out, uses_json(object, uses));
    return ExitStatus::REFUSED;
  }
  context.err << "policyctl: delete " << object.name() << ": it is in use by "
              << counted(uses.size(), "binding") << ". Nothing was changed.\n";
  print_uses(context.err, uses, lists_all ? uses.size() : MOST_USES);
  context.err << "  Unbind it first, or delete it with --cascade.\n";
  return ExitStatus::REFUSED;
}

// A request that was sent and not answered may have been carried out.
Failure may_have_been_set(const Failure& failure) {
  return failure.status() == ExitStatus::REFUSED ? failure : failure.with(Fate::NOT_KNOWN);
}

XrlError set_dscp_queue(SwitchSession& session, std::uint32_t dscp, std::uint32_t queue) {
  const Lifeline lifeline;
  XrlAtomList dscps;
  dscps.append(dscp);
  XrlAtomList queues;
  queues.append(queue);
  bool answered = false;
  XrlError problem;
  const bool sent = XrlPolicyConfigV0p1Client(session.sender())
                        .send_set_dscp_queue(session.policyd(), dscps, queues,
                                             callback(lifeline, [&](const XrlError& error) {
                                               answered = true;
                                               problem = error;
                                             }));
  if (!sent) throw Failure(ExitStatus::NOT_REACHABLE, "a request could not be sent to policyd.");
  session.heard();
  try {
    session.wait("the queue of a DSCP to be set", [&answered] { return answered; });
  } catch (const Failure& failure) {
    throw may_have_been_set(failure);
  }
  return problem;
}

}  // namespace

ExitStatus who_uses_command(const Context& context, const ObjectName& object) {
  const auto session = context.connect();
  const SwitchConfiguration present = read_switch(*session, all_parts());
  require_object(object, present, ON_THE_SWITCH);
  const std::vector<ObjectUse> uses = uses_of(object, present);
  if (context.json) {
    print_json(context.out, uses_json(object, uses));
  } else if (uses.empty()) {
    context.out << object.name() << " is not in use.\n";
  } else {
    print_uses(context.out, uses);
  }
  return ExitStatus::DONE;
}

ExitStatus delete_command(const Context& context, const ObjectName& object,
                          const DeleteOptions& options) {
  const StateDirectory directory(context.place);
  const ChangeLock lock = directory.lock(context.patience, "delete " + object.name());
  refuse_unfinished_change(directory);
  std::unique_ptr<SwitchSession> session;
  SwitchConfiguration present;
  before_change([&] {
    session = context.connect();
    present = read_switch_for(*session, {});
    require_object(object, present, ON_THE_SWITCH);
  });
  if (!options.cascade) {
    const std::vector<ObjectUse> uses = uses_of(object, present);
    if (!uses.empty()) return refuse_used(context, object, uses, options.lists_all);
  }
  SwitchConfiguration target = present;
  unbind_object(object, target);
  erase_with_all_below(target, *object.kind, object.key);
  const Plan plan(present, std::move(target));
  const std::string what = "delete " + object.name();
  const ChangeReport report = change_switch([](std::size_t, std::size_t) {}, *session, directory,
                                            plan, {what, new_change_id(), 0});
  return print_report(context, what, report);
}

ExitStatus dscp_queue_command(const Context& context, std::uint32_t dscp, std::uint32_t queue) {
  const StateDirectory directory(context.place);
  const ChangeLock lock = directory.lock(context.patience, "dscp-queue " + std::to_string(dscp));
  refuse_unfinished_change(directory);
  std::unique_ptr<SwitchSession> session;
  before_change([&] { session = context.connect(); });
  const XrlError problem = set_dscp_queue(*session, dscp, queue);
  const std::string what = "set the queue of DSCP " + std::to_string(dscp);
  if (!problem.is_okay()) throw may_have_been_set(request_failure(what, problem));
  ChangeReport report;
  report.requests = 1;
  report.counts.changed = 1;
  report.outcome = "The queue is set.";
  return print_report(context, what, report);
}
