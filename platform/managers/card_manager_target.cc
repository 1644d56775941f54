#include "platform/managers/card_manager_target.h"

#include "common/well_known_names.h"
#include "platform/interfaces/card_state_observer_xif.h"
#include "platform/managers/answer.h"

CardManagerTarget::CardManagerTarget(EventLoop& loop, SwitchModel& model,
                                     const SwitchProcess& process)
    : ObservedTarget(
          loop, well_known_names[NAME_CARD_MANAGER], process, model,
          [this](const std::string& observer, std::uint32_t card_id, const Teller::Done& done) {
            return tell_state(observer, card_id, done);
          }) {}

XrlCmdError CardManagerTarget::card_manager_0_1_register_card_state(
    const XrlAtomList& /*card_states*/, std::string_view observer) {
  const Refusal refusal = observers().add(observer);
  if (refusal.empty()) {
    for (std::uint32_t id = FIRST_CARD_ID; id <= LAST_CARD_ID; ++id) observers().tell(observer, id);
    for (const auto& [id, state] : model().cards()) {
      if (id < FIRST_CARD_ID || id > LAST_CARD_ID) observers().tell(observer, id);
    }
  }
  return answer(refusal);
}

XrlCmdError CardManagerTarget::card_manager_0_1_deregister_card_state(
    const XrlAtomList& /*card_states*/, std::string_view observer) {
  return answer(observers().remove(observer));
}

void CardManagerTarget::card_changed(std::uint32_t card_id) {
  observers().tell_all(card_id);
}

bool CardManagerTarget::tell_state(const std::string& observer, std::uint32_t card_id,
                                   const Teller::Done& done) {
  return XrlCardStateObserverV0p1Client(router().sender())
      .send_card_state_change(observer, card_id, model().card_state(card_id), done);
}
