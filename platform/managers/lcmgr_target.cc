#include "platform/managers/lcmgr_target.h"

#include "common/switch_vocabulary.h"
#include "platform/managers/answer.h"

LcmgrTarget::LcmgrTarget(EventLoop& loop, SwitchModel& model, std::uint32_t slot,
                         const SwitchProcess& process)
    : SwitchTarget(loop, line_card_manager(slot), process),
      CommonHandlers<XrlLcmgrTargetBase>(&router(), process),
      _model(model),
      _card(*model.find_line_card(slot)) {
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
  return answer(_model.set_cos_mapping(_card, {unit, slot, port}, priority, queue));
}
