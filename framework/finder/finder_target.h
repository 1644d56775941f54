// XrlFinderTarget: the finder's handlers. Each translates between a request
// and the registry; who asks and who tells others is its Sessions' concern.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "framework/finder/finder_registry.h"
#include "framework/finder/finder_tgt.h"

class XrlFinderTarget final : public XrlFinderTargetBase {
 public:
  class Sessions {
   public:
    virtual ~Sessions() = default;
    // Whose request is being handled.
    virtual FinderSession current_session() = 0;
    // Sends the notices that the registry may have queued; who cannot be sent
    // them is closed. Does not throw.
    virtual void send_notices() = 0;
  };

  // All must outlive it; the registry and the sessions are first used by the
  // first request.
  XrlFinderTarget(XrlCmdMap& commands, FinderRegistry& registry, Sessions& sessions)
      : XrlFinderTargetBase(&commands), _registry(registry), _sessions(sessions) {}

  XrlCmdError common_0_1_get_target_name(std::string& name) override;
  XrlCmdError common_0_1_get_version(std::string& version) override;
  XrlCmdError common_0_1_get_status(std::uint32_t& status, std::string& reason) override;
  XrlCmdError common_0_1_shutdown() override;

  XrlCmdError finder_0_2_register_target(std::string_view instance_name,
                                         std::string_view class_name, const XrlAtomList& addresses,
                                         const XrlAtomList& methods,
                                         const XrlAtomList& keys) override;
  XrlCmdError finder_0_2_deregister_target(std::string_view instance_name) override;
  XrlCmdError finder_0_2_resolve_target(std::string_view target, std::string& instance_name,
                                        XrlAtomList& addresses, XrlAtomList& methods,
                                        XrlAtomList& keys) override;
  XrlCmdError finder_0_2_get_xrl_targets(XrlAtomList& targets) override;
  XrlCmdError finder_0_2_get_instances(XrlAtomList& targets, XrlAtomList& instances,
                                       XrlAtomList& addresses) override;
  XrlCmdError finder_0_2_get_methods(std::string_view target, XrlAtomList& methods) override;
  XrlCmdError finder_0_2_get_interests(XrlAtomList& requesters, XrlAtomList& classes) override;

  XrlCmdError finder_event_notifier_0_1_register_class_event_interest(
      std::string_view requester_instance, std::string_view class_name) override;
  XrlCmdError finder_event_notifier_0_1_deregister_class_event_interest(
      std::string_view requester_instance, std::string_view class_name) override;

 private:
  // Passes an answer of the registry on.
  XrlCmdError told(XrlCmdError answer);

  FinderRegistry& _registry;
  Sessions& _sessions;
};
