// VlanTarget: the VLAN manager, class "vlan". It tells every policy daemon that
// comes up, and at its own start those that live, of every VLAN id: created or
// deleted; then each change. That a VLAN is "deleted" that the daemon never
// knew, or "created" a second time, the daemon refuses, which does no harm.
#pragma once

#include <memory>
#include <string>

#include "platform/class_watch.h"
#include "platform/managers/interfaces/vlan_tgt.h"
#include "platform/managers/switch_model.h"
#include "platform/managers/switch_target.h"
#include "platform/managers/teller.h"

class VlanTarget : public SwitchTarget,
                   public CommonHandlers<XrlVlanTargetBase>,
                   public SwitchObserver {
 public:
  // The model must outlive the target.
  VlanTarget(EventLoop& loop, SwitchModel& model, const SwitchProcess& process);
  ~VlanTarget() override;

  XrlCmdError finder_event_observer_0_1_xrl_target_birth(std::string_view target_class,
                                                         std::string_view target_instance) override;
  XrlCmdError finder_event_observer_0_1_xrl_target_death(std::string_view target_class,
                                                         std::string_view target_instance) override;
  XrlCmdError vlan_0_1_get_vlans(XrlAtomList& vlans) override;

  void vlan_changed(std::uint32_t vlan_id) override;

 private:
  // The daemon that lives now; a class has one instance at a time.
  struct Policy {
    std::string instance;
    Teller teller;
  };

  [[nodiscard]] std::unique_ptr<Policy> make_policy(std::string_view instance);
  bool tell_event(const std::string& policy, std::uint32_t vlan_id, const Teller::Done& done);

  EventLoop& _loop;
  SwitchModel& _model;
  std::unique_ptr<Policy> _policy;
  ClassWatch _watch;
};
