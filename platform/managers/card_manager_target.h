// CardManagerTarget: the card manager, class "card_manager". Who registers is
// told the state of every card and then each change, until it dies; which
// states it registered for is not looked at. Card ids without a card are told
// of too, as absent: the observer may know such a card from before a restart of
// the card manager.
#pragma once

#include "platform/managers/interfaces/card_manager_tgt.h"
#include "platform/managers/observed_target.h"

class CardManagerTarget : public ObservedTarget<XrlCardManagerTargetBase> {
 public:
  // The model must outlive the target.
  CardManagerTarget(EventLoop& loop, SwitchModel& model, const SwitchProcess& process);

  XrlCmdError card_manager_0_1_register_card_state(const XrlAtomList& card_states,
                                                   std::string_view observer) override;
  XrlCmdError card_manager_0_1_deregister_card_state(const XrlAtomList& card_states,
                                                     std::string_view observer) override;

  void card_changed(std::uint32_t card_id) override;

 private:
  bool tell_state(const std::string& observer, std::uint32_t card_id, const Teller::Done& done);
};
