#include "framework/finder/finder_target.h"

#include <new>
#include <utility>

#include "framework/finder/finder_target_lists.h"
#include "framework/xrl/interfaces/common_status.h"

XrlCmdError XrlFinderTarget::told(XrlCmdError answer) {
  if (answer.is_okay()) _sessions.send_notices();
  return answer;
}

// -------------------------------------------------------------- common/0.1

XrlCmdError XrlFinderTarget::common_0_1_get_target_name(std::string& name) {
  name = cmds()->name();
  return XrlCmdError::OKAY();
}

XrlCmdError XrlFinderTarget::common_0_1_get_version(std::string& version) {
  version = "finder/0.2";
  return XrlCmdError::OKAY();
}

XrlCmdError XrlFinderTarget::common_0_1_get_status(std::uint32_t& status, std::string& reason) {
  status = TARGET_READY;
  reason = "ready";
  return XrlCmdError::OKAY();
}

XrlCmdError XrlFinderTarget::common_0_1_shutdown() {
  // All others depend on it, so no one of them may end it.
  return XrlCmdError::COMMAND_FAILED("the finder serves for ever.");
}

// -------------------------------------------------------------- finder/0.2

XrlCmdError XrlFinderTarget::finder_0_2_register_target(std::string_view instance_name,
                                                        std::string_view class_name,
                                                        const XrlAtomList& addresses,
                                                        const XrlAtomList& methods,
                                                        const XrlAtomList& keys) {
  FinderTarget target{std::string(class_name), std::string(instance_name), {}, {}};
  std::string problem = read_finder_target_lists(addresses, methods, keys, target);
  if (!problem.empty()) return XrlCmdError::BAD_ARGS(std::move(problem));
  try {
    return told(_registry.register_target(_sessions.current_session(), std::move(target)));
  } catch (const std::bad_alloc&) {
    // The target whose place it was to take may be dead.
    _sessions.send_notices();
    throw;
  }
}

XrlCmdError XrlFinderTarget::finder_0_2_deregister_target(std::string_view instance_name) {
  return told(_registry.deregister_target(_sessions.current_session(), instance_name));
}

XrlCmdError XrlFinderTarget::finder_0_2_resolve_target(std::string_view target,
                                                       std::string& instance_name,
                                                       XrlAtomList& addresses, XrlAtomList& methods,
                                                       XrlAtomList& keys) {
  const FinderTarget* found = nullptr;
  XrlCmdError answer = _registry.resolve(_sessions.current_session(), target, found);
  if (!answer.is_okay()) return answer;
  FinderTargetLists lists = finder_target_lists(*found);
  instance_name = found->instance_name;
  addresses = std::move(lists.addresses);
  methods = std::move(lists.methods);
  keys = std::move(lists.keys);
  return answer;
}

XrlCmdError XrlFinderTarget::finder_0_2_get_xrl_targets(XrlAtomList& targets) {
  for (const FinderTarget* target : _registry.targets()) targets.append(target->class_name);
  return XrlCmdError::OKAY();
}

XrlCmdError XrlFinderTarget::finder_0_2_get_instances(XrlAtomList& targets, XrlAtomList& instances,
                                                      XrlAtomList& addresses) {
  for (const FinderTarget* target : _registry.targets()) {
    targets.append(target->class_name);
    instances.append(target->instance_name);
    addresses.append(target->addresses.front());
  }
  return XrlCmdError::OKAY();
}

XrlCmdError XrlFinderTarget::finder_0_2_get_methods(std::string_view target, XrlAtomList& methods) {
  const FinderTarget* found = nullptr;
  XrlCmdError answer = _registry.find(target, found);
  if (!answer.is_okay()) return answer;
  for (const FinderMethod& method : found->methods) methods.append(method.name);
  return answer;
}

XrlCmdError XrlFinderTarget::finder_0_2_get_interests(XrlAtomList& requesters,
                                                      XrlAtomList& classes) {
  for (const FinderInterest& interest : _registry.interests()) {
    requesters.append(interest.requester);
    classes.append(interest.class_name);
  }
  return XrlCmdError::OKAY();
}

// ----------------------------------------------- finder_event_notifier/0.1

XrlCmdError XrlFinderTarget::finder_event_notifier_0_1_register_class_event_interest(
    std::string_view requester_instance, std::string_view class_name) {
  return told(
      _registry.register_interest(_sessions.current_session(), requester_instance, class_name));
}

XrlCmdError XrlFinderTarget::finder_event_notifier_0_1_deregister_class_event_interest(
    std::string_view requester_instance, std::string_view class_name) {
  return told(
      _registry.deregister_interest(_sessions.current_session(), requester_instance, class_name));
}
