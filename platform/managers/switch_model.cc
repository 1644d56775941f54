#include "platform/managers/switch_model.h"

#include <algorithm>

namespace {

constexpr Refusal NO_INTERFACE = "the interface does not exist.";

}  // namespace

Usp usp_of_interface(std::string_view name) {
  Usp usp;
  ifname_to_usp(name, usp);
  return usp;
}

void SwitchModel::add_observer(SwitchObserver* observer) {
  _observers.push_back(observer);
}

void SwitchModel::remove_observer(SwitchObserver* observer) {
  std::erase(_observers, observer);
}

void SwitchModel::tell(const std::function<void(SwitchObserver&)>& what) {
  for (SwitchObserver* observer : _observers) what(*observer);
}

void SwitchModel::interfaces_changed() {
  ++_interfaces_serial;
  tell([](SwitchObserver& observer) { observer.interfaces_changed(); });
}

Refusal SwitchModel::add_interface(std::string_view name) {
  if (name.empty()) return "the interface has no name.";
  if (name.size() > MAX_INTERFACE_NAME_BYTES) return "the interface's name is too long.";
  if (_interfaces.find(name) != nullptr) return "the interface exists already.";
  if (_interfaces.atoms().size() == MAX_INTERFACES) return "the switch has no more interfaces.";
  _interfaces.add(SifMgrIfAtom{std::string(name)});
  const std::uint32_t slot = usp_of_interface(name).slot;
  if (_line_cards.try_emplace(slot, slot).second) {
    tell([slot](SwitchObserver& observer) { observer.line_card_added(slot); });
  }
  interfaces_changed();
  return DONE;
}

Refusal SwitchModel::remove_interface(std::string_view name) {
  const SifMgrIfAtom* atom = _interfaces.find(name);
  if (atom == nullptr) return NO_INTERFACE;
  if (atom->lagmember()) _interfaces.find(atom->lagname())->remove_member(name);
  for (const std::string& member : atom->members()) _interfaces.find(member)->set_lag(false, {});
  _interfaces.remove(name);
  interfaces_changed();
  return DONE;
}

Refusal SwitchModel::add_member(std::string_view lag, std::string_view name) {
  SifMgrIfAtom* aggregate = _interfaces.find(lag);
  if (aggregate == nullptr) return "the aggregate does not exist.";
  SifMgrIfAtom* member = _interfaces.find(name);
  if (member == nullptr) return NO_INTERFACE;
  if (member == aggregate) return "an aggregate cannot be its own member.";
  if (aggregate->lagmember()) return "the aggregate is a member itself.";
  if (!member->members().empty()) return "an aggregate cannot be a member.";
  if (member->lagmember()) return "the interface is a member already.";
  aggregate->add_member(member->name());
  member->set_lag(true, aggregate->name());
  interfaces_changed();
  return DONE;
}

Refusal SwitchModel::remove_member(std::string_view lag, std::string_view name) {
  SifMgrIfAtom* aggregate = _interfaces.find(lag);
  if (aggregate == nullptr) return "the aggregate does not exist.";
  if (!aggregate->remove_member(name)) return "the interface is no member of the aggregate.";
  _interfaces.find(name)->set_lag(false, {});
  interfaces_changed();
  return DONE;
}

std::uint32_t SwitchModel::card_state(std::uint32_t card_id) const {
  const auto at = _cards.find(card_id);
  return at == _cards.end() ? CARD_STATE_ABSENT : at->second;
}

Refusal SwitchModel::set_card_state(std::uint32_t card_id, std::uint32_t card_state) {
  if (!_cards.contains(card_id) && _cards.size() == MAX_CARDS) {
    return "the switch has no more cards.";
  }
  _cards[card_id] = card_state;
  tell([card_id](SwitchObserver& observer) { observer.card_changed(card_id); });
  return DONE;
}

Refusal SwitchModel::create_vlan(std::uint32_t vlan_id) {
  if (vlan_id < FIRST_VLAN_ID || vlan_id > LAST_VLAN_ID) return "vlan_id is bad.";
  if (!_vlans.insert(vlan_id).second) return "the vlan exists already.";
  tell([vlan_id](SwitchObserver& observer) { observer.vlan_changed(vlan_id); });
  return DONE;
}

Refusal SwitchModel::delete_vlan(std::uint32_t vlan_id) {
  if (_vlans.erase(vlan_id) == 0) return "the vlan does not exist.";
  tell([vlan_id](SwitchObserver& observer) { observer.vlan_changed(vlan_id); });
  return DONE;
}

LineCard* SwitchModel::find_line_card(std::uint32_t slot) {
  const auto at = _line_cards.find(slot);
  return at == _line_cards.end() ? nullptr : &at->second;
}

Refusal SwitchModel::set_cos_mapping(LineCard& card, const Usp& port, std::uint32_t priority,
                                     std::uint32_t queue) {
  const Refusal refusal = card.set_cos_mapping(port, priority, queue);
  if (refusal.empty()) tell([&port](SwitchObserver& observer) { observer.port_programmed(port); });
  return refusal;
}
