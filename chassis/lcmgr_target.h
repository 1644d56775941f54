// LcmgrTarget: the manager of one line card. It stores what it is sent and
// misbehaves as the line card's fault says.
#pragma once

#include "chassis/interfaces/lcmgr_tgt.h"
#include "chassis/line_card.h"
#include "chassis/switch_target.h"

// "lcmgr02" and the slot in decimal: lcmgr021, lcmgr0212.
[[nodiscard]] std::string line_card_target_name(std::uint32_t slot);

class LcmgrTarget : public SwitchTarget, public CommonHandlers<XrlLcmgrTargetBase> {
 public:
  // The card must outlive the target.
  LcmgrTarget(EventLoop& loop, std::uint32_t slot, LineCard& card, const FinderPlace& finder);

  XrlCmdError lcmgr_0_1_set_port_cos_mapping(std::uint32_t unit, std::uint32_t slot,
                                             std::uint32_t port, std::uint32_t priority,
                                             std::uint32_t queue) override;

 private:
  XrlFilterAction filter(std::string_view method);

  LineCard& _card;
};
