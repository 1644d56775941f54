// A stand-in for the policy daemon, class "policy": follows cards and VLANs and
// writes down what it is told.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/xrl/router/xrl_std_router.h"
#include "platform/class_watch.h"
#include "platform/interfaces/card_manager_xif.h"
#include "platform/managers/switch_model.h"
#include "tests/unit/chassis/switch_follower_tgt.h"
#include "tests/unit/platform/sim_finder.h"

// Outlives the target base that is registered in it.
struct SwitchFollowerRouter {
  explicit SwitchFollowerRouter(EventLoop& loop)
      : router(loop, "policy", "127.0.0.1", SimFinder::PORT, false) {}
  XrlStdRouter router;
};

class SwitchFollower : private SwitchFollowerRouter, public XrlSwitchFollowerTargetBase {
 public:
  explicit SwitchFollower(EventLoop& loop)
      : SwitchFollowerRouter(loop),
        XrlSwitchFollowerTargetBase(&router),
        _watch(loop, router, router.instance_name(), "card_manager") {}

  // The cards that it was told are there.
  [[nodiscard]] const std::set<std::uint32_t>& cards() const { return _cards; }
  void set_cards(std::set<std::uint32_t> cards) { _cards = std::move(cards); }
  [[nodiscard]] const std::set<std::uint32_t>& vlans() const { return _vlans; }
  void set_vlans(std::set<std::uint32_t> vlans) { _vlans = std::move(vlans); }
  // "card 17 7", "vlan 10 1", in the order told.
  std::vector<std::string> take_events() { return std::exchange(_events, {}); }
  [[nodiscard]] std::size_t event_count() const { return _events.size(); }

  XrlCmdError finder_event_observer_0_1_xrl_target_birth(
      std::string_view target_class, std::string_view /*target_instance*/) override {
    if (target_class == "card_manager") register_card_state();
    return XrlCmdError::OKAY();
  }
  XrlCmdError finder_event_observer_0_1_xrl_target_death(
      std::string_view /*target_class*/, std::string_view /*target_instance*/) override {
    return XrlCmdError::OKAY();
  }
  XrlCmdError card_state_observer_0_1_card_state_change(std::uint32_t card_id,
                                                        std::uint32_t card_state) override {
    note("card", card_id, card_state);
    if (card_state == CARD_STATE_PRESENT) {
      _cards.insert(card_id);
    } else {
      _cards.erase(card_id);
    }
    return XrlCmdError::OKAY();
  }
  XrlCmdError vlan_observer_0_1_vlan_event(std::uint32_t event, std::uint32_t vlan_id) override {
    const bool created = event == 1;
    const bool is_news = created ? _vlans.insert(vlan_id).second : _vlans.erase(vlan_id) != 0;
    if (!is_news) return XrlCmdError::COMMAND_FAILED("it is so already.");
    note("vlan", vlan_id, event);
    return XrlCmdError::OKAY();
  }

 private:
  void register_card_state() {
    XrlAtomList states;
    states.append(0U);
    static_cast<void>(XrlCardManagerV0p1Client(&router).send_register_card_state(
        "card_manager", states, router.instance_name(),
        callback(_lifeline, [](const XrlError&) {})));
  }
  void note(const char* what, std::uint32_t id, std::uint32_t value) {
    _events.push_back(std::string(what) + " " + std::to_string(id) + " " + std::to_string(value));
  }

  std::set<std::uint32_t> _cards;
  std::set<std::uint32_t> _vlans;
  std::vector<std::string> _events;
  ClassWatch _watch;
  Lifeline _lifeline;
};
