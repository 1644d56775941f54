#include "chassis/card_manager_target.h"

#include "chassis/answer.h"
#include "platform/interfaces/card_state_observer_xif.h"

CardManagerTarget::CardManagerTarget(EventLoop& loop, SwitchModel& model, const FinderPlace& finder)
    : SwitchTarget(loop, "card_manager", finder),
      CommonHandlers<XrlCardManagerTargetBase>(&router()),
      _model(model),
      _observers(loop, router(), router().instance_name(),
                 [this](const std::string& observer, std::uint32_t card_id,
                        const Teller::Done& done) { return tell_state(observer, card_id, done); }) {
  _model.add_observer(this);
}

CardManagerTarget::~CardManagerTarget() {
  _model.remove_observer(this);
}

XrlCmdError CardManagerTarget::finder_event_observer_0_1_xrl_target_birth(
    std::string_view target_class, std::string_view target_instance) {
  _observers.target_born(target_class, target_instance);
  return XrlCmdError::OKAY();
}

XrlCmdError CardManagerTarget::finder_event_observer_0_1_xrl_target_death(
    std::string_view target_class, std::string_view target_instance) {
  _observers.target_died(target_class, target_instance);
  return XrlCmdError::OKAY();
}

XrlCmdError CardManagerTarget::card_manager_0_1_register_card_state(
    const XrlAtomList& /*card_states*/, std::string_view observer) {
  const Refusal refusal = _observers.add(observer);
  if (refusal.empty()) {
    for (std::uint32_t id = FIRST_CARD_ID; id <= LAST_CARD_ID; ++id) _observers.tell(observer, id);
    for (const auto& [id, state] : _model.cards()) {
      if (id < FIRST_CARD_ID || id > LAST_CARD_ID) _observers.tell(observer, id);
    }
  }
  return answer(refusal);
}

XrlCmdError CardManagerTarget::card_manager_0_1_deregister_card_state(
    const XrlAtomList& /*card_states*/, std::string_view observer) {
  return answer(_observers.remove(observer));
}

void CardManagerTarget::card_changed(std::uint32_t card_id) {
  _observers.tell_all(card_id);
}

bool CardManagerTarget::tell_state(const std::string& observer, std::uint32_t card_id,
                                   const Teller::Done& done) {
  return XrlCardStateObserverV0p1Client(router().sender())
      .send_card_state_change(observer, card_id, _model.card_state(card_id), done);
}
