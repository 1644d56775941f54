// LcmgrTarget: the manager of one line card. It stores what it is sent and
// misbehaves as the line card's fault says.
#pragma once

#include "platform/managers/interfaces/lcmgr_tgt.h"
#include "platform/managers/switch_model.h"
#include "platform/managers/switch_target.h"

class LcmgrTarget : public SwitchTarget, public CommonHandlers<XrlLcmgrTargetBase> {
 public:
  // The model must outlive the target and have a line card in that slot.
  LcmgrTarget(EventLoop& loop, SwitchModel& model, std::uint32_t slot,
              const SwitchProcess& process);

  XrlCmdError lcmgr_0_1_set_port_cos_mapping(std::uint32_t unit, std::uint32_t slot,
                                             std::uint32_t port, std::uint32_t priority,
                                             std::uint32_t queue) override;

 private:
  XrlFilterAction filter(std::string_view method);

  SwitchModel& _model;
  LineCard& _card;
};
