// SwitchModel: the switch as plain data: interfaces, VLANs, cards
// and line cards, with what can be done to them. It knows nothing of targets
// and requests; who shows it to others observes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "common/switch_vocabulary.h"
#include "platform/managers/line_card.h"
#include "platform/managers/refusal.h"
#include "platform/sif_mgr_if_tree.h"

// The card ids of a stack of four units (get_card_id()).
inline constexpr std::uint32_t FIRST_CARD_ID = 16;
inline constexpr std::uint32_t LAST_CARD_ID = 1039;

// Runs inside the operation that made the change, after it was made.
class SwitchObserver {
 public:
  virtual ~SwitchObserver() = default;
  virtual void interfaces_changed() {}
  virtual void card_changed(std::uint32_t /*card_id*/) {}
  virtual void vlan_changed(std::uint32_t /*vlan_id*/) {}
  virtual void line_card_added(std::uint32_t /*slot*/) {}
  virtual void port_programmed(const Usp& /*port*/) {}
};

class SwitchModel {
 public:
  // Interfaces, and bytes of the name of one, that a switch has room for: the whole
  // tree is told in one reply, which names a member four times (itself and its
  // aggregate, each in two lists).
  static constexpr std::size_t MAX_INTERFACES = 65536;
  static constexpr std::size_t MAX_INTERFACE_NAME_BYTES = 48;
  // Cards that it has room for.
  static constexpr std::size_t MAX_CARDS = 65536;

  SwitchModel() = default;
  SwitchModel(const SwitchModel&) = delete;
  SwitchModel& operator=(const SwitchModel&) = delete;

  // Observers are told in the order they came; they must outlive the model or
  // be removed, and must neither come nor go while they are told.
  void add_observer(SwitchObserver* observer);
  void remove_observer(SwitchObserver* observer);

  // The interfaces; lagmember() and lagname() of a member name its aggregate.
  [[nodiscard]] const SifMgrIfTree& interfaces() const { return _interfaces; }
  // Differs after every change of the interfaces.
  [[nodiscard]] std::uint64_t interfaces_serial() const { return _interfaces_serial; }

  // Brings the slot's line card with it where there is none yet. Refused: a name
  // that is empty, too long or there already, one interface too many.
  [[nodiscard]] Refusal add_interface(std::string_view name);
  // A member leaves its aggregate, the members of an aggregate become free;
  // the line card stays.
  [[nodiscard]] Refusal remove_interface(std::string_view name);
  // An interface is a member of one aggregate, and aggregates of none.
  [[nodiscard]] Refusal add_member(std::string_view lag, std::string_view name);
  [[nodiscard]] Refusal remove_member(std::string_view lag, std::string_view name);

  // State by card id. A card that was never mentioned is not there; one that
  // went away is, in the state it went with.
  [[nodiscard]] const std::map<std::uint32_t, std::uint32_t>& cards() const { return _cards; }
  // CARD_STATE_ABSENT for a card that was never mentioned.
  [[nodiscard]] std::uint32_t card_state(std::uint32_t card_id) const;
  // Tells the observers also when the state is what it was.
  [[nodiscard]] Refusal set_card_state(std::uint32_t card_id, std::uint32_t card_state);

  [[nodiscard]] const std::set<std::uint32_t>& vlans() const { return _vlans; }
  // Both tell the observers. Refused: a number outside of 1..4094, one that is there
  // already, or one that is not there.
  [[nodiscard]] Refusal create_vlan(std::uint32_t vlan_id);
  [[nodiscard]] Refusal delete_vlan(std::uint32_t vlan_id);

  // By slot.
  [[nodiscard]] const std::map<std::uint32_t, LineCard>& line_cards() const { return _line_cards; }
  // Null when the slot has none.
  [[nodiscard]] LineCard* find_line_card(std::uint32_t slot);
  // As the line card's own, and tells the observers when it was done. The card is one
  // of the model's.
  [[nodiscard]] Refusal set_cos_mapping(LineCard& card, const Usp& port, std::uint32_t priority,
                                        std::uint32_t queue);

 private:
  void interfaces_changed();
  void tell(const std::function<void(SwitchObserver&)>& what);

  SifMgrIfTree _interfaces;
  std::uint64_t _interfaces_serial = 1;
  std::map<std::uint32_t, std::uint32_t> _cards;
  std::set<std::uint32_t> _vlans;
  std::map<std::uint32_t, LineCard> _line_cards;
  std::vector<SwitchObserver*> _observers;
};

// Where an interface's line card knows it: port 0 of slot 0 of unit 0 when it
// is no physical port.
[[nodiscard]] Usp usp_of_interface(std::string_view name);
