#include "chassis/lcmgr_target.h"

#include "chassis/answer.h"

std::string line_card_target_name(std::uint32_t slot) {
  return "lcmgr02" + std::to_string(slot);
}

LcmgrTarget::LcmgrTarget(EventLoop& loop, std::uint32_t slot, LineCard& card,
                         const FinderPlace& finder)
    : SwitchTarget(loop, line_card_target_name(slot), finder),
      CommonHandlers<XrlLcmgrTargetBase>(&router()),
      _card(card) {
  router().set_request_filter([this](std::string_view method) { return filter(method); });
}

XrlFilterAction LcmgrTarget::filter(std::string_view method) {
  if (method == "lcmgr/0.1/set_port_cos_mapping") _card.count_request();
  switch (_card.fault()) {
    case LineCardFault::SILENT:
      return XrlFilterAction::IGNORE;
    case LineCardFault::CLOSE:
      return XrlFilterAction::CLOSE;
    case LineCardFault::NONE:
    case LineCardFault::REFUSE:
      break;
  }
  return XrlFilterAction::HANDLE;
}

XrlCmdError LcmgrTarget::lcmgr_0_1_set_port_cos_mapping(std::uint32_t unit, std::uint32_t slot,
                                                        std::uint32_t port, std::uint32_t priority,
                                                        std::uint32_t queue) {
  if (_card.fault() == LineCardFault::REFUSE) {
    return XrlCmdError::COMMAND_FAILED("the line card refuses.");
  }
  return answer(_card.set_cos_mapping({unit, slot, port}, priority, queue));
}
