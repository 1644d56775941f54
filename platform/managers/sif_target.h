// SifTarget: the switch interface manager, class "sif". It shows the model's
// interfaces and tells its observers, until they die, that the tree has
// changed; they read it themselves.
#pragma once

#include "platform/managers/interfaces/sif_tgt.h"
#include "platform/managers/observed_target.h"

class SifTarget : public ObservedTarget<XrlSifTargetBase> {
 public:
  // The model must outlive the target.
  SifTarget(EventLoop& loop, SwitchModel& model, const SwitchProcess& process);

  XrlCmdError sif_0_1_register_observer(std::string_view observer) override;
  XrlCmdError sif_0_1_deregister_observer(std::string_view observer) override;
  XrlCmdError sif_0_1_get_tree(std::uint64_t& serial, XrlAtomList& names, XrlAtomList& lagmembers,
                               XrlAtomList& lagnames, XrlAtomList& member_lags,
                               XrlAtomList& member_names) override;

  void interfaces_changed() override;

 private:
  bool tell_serial(const std::string& observer, const Teller::Done& done);
};
