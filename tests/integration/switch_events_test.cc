// Events of the switch, from a real chassis and sent by hand.
#include <memory>

#include "platform/managers/interfaces/card_manager_tgt.h"
#include "platform/managers/switch_target.h"
#include "tests/integration/real_daemon.h"

namespace {

class SwitchEvents : public RealDaemon {
 protected:
  static std::string birth(const std::string& class_name) {
    return "policy/finder_event_observer/0.1/xrl_target_birth?target_class:txt=" + class_name +
           "&target_instance:txt=" + class_name + "-0";
  }
  static std::string death(const std::string& class_name) {
    return "policy/finder_event_observer/0.1/xrl_target_death?target_class:txt=" + class_name +
           "&target_instance:txt=" + class_name + "-0";
  }
};

TEST_F(SwitchEvents, OfTheCardStatesSevenIsUpAndZeroEightNineAreGone) {
  start_without_switch();
  for (const std::uint32_t state : {7U, 0U, 7U, 8U, 7U, 9U, 9U}) {
    EXPECT_EQ(card_event(17, state), "100") << state;
  }
}

TEST_F(SwitchEvents, AnyOtherCardStateIsBadEvenOneThatWasRegisteredFor) {
  start_without_switch();
  for (const std::uint32_t state : {4U, 1U, 2U, 3U, 5U, 6U, 10U, 4294967295U}) {
    EXPECT_EQ(card_event(17, state), "101 card_state is bad.") << state;
  }
}

TEST_F(SwitchEvents, AVlanIsCreatedOnceAndDeletedOnce) {
  start_without_switch();
  EXPECT_EQ(vlan_event(1, 5), "100");
  EXPECT_EQ(vlan_event(1, 5), "102 vlan has existed.");
  EXPECT_TRUE(has_vlan(5));
  EXPECT_EQ(vlan_event(0, 5), "100");
  EXPECT_EQ(vlan_event(0, 5), "102 vlan does not exist.");
  EXPECT_FALSE(has_vlan(5));
}

TEST_F(SwitchEvents, AnyOtherVlanEventIsBad) {
  start_without_switch();
  EXPECT_EQ(vlan_event(2, 5), "101 event is bad.");
  EXPECT_EQ(vlan_event(4294967295U, 5), "101 event is bad.");
  EXPECT_FALSE(has_vlan(5));
}

TEST_F(SwitchEvents, BirthsAndDeathsNeverFail) {
  start_without_switch();
  for (const char* class_name : {"vlan", "lldp", "", "card_manager%00"}) {
    EXPECT_EQ(ask(birth(class_name)), "100") << class_name;
    EXPECT_EQ(ask(death(class_name)), "100") << class_name;
  }
}

// A card manager that writes down who registers for what.
class RecordingCardManager : public CommonHandlers<XrlCardManagerTargetBase> {
 public:
  explicit RecordingCardManager(XrlStdRouter* router)
      : CommonHandlers<XrlCardManagerTargetBase>(router, {{}, "chassis"}) {}

  [[nodiscard]] const std::vector<std::string>& registrations() const { return _registrations; }

  XrlCmdError finder_event_observer_0_1_xrl_target_birth(std::string_view /*target_class*/,
                                                         std::string_view /*instance*/) override {
    return XrlCmdError::OKAY();
  }
  XrlCmdError finder_event_observer_0_1_xrl_target_death(std::string_view /*target_class*/,
                                                         std::string_view /*instance*/) override {
    return XrlCmdError::OKAY();
  }
  XrlCmdError card_manager_0_1_register_card_state(const XrlAtomList& card_states,
                                                   std::string_view observer) override {
    _registrations.push_back(card_states.str() + " " + std::string(observer));
    return refuse ? XrlCmdError::COMMAND_FAILED("not today.") : XrlCmdError::OKAY();
  }
  XrlCmdError card_manager_0_1_deregister_card_state(const XrlAtomList& /*card_states*/,
                                                     std::string_view /*observer*/) override {
    _registrations.emplace_back("deregistered");
    return XrlCmdError::OKAY();
  }

  bool refuse = false;

 private:
  std::vector<std::string> _registrations;
};

class CardManagerBirths : public SwitchEvents {
 protected:
  void SetUp() override {
    start_without_switch();
    router = plane.make_router("card_manager");
    card_manager = std::make_unique<RecordingCardManager>(router.get());
    const std::string instances = ask("finder/finder/0.2/get_interests");
    const std::size_t at = instances.find("policy-");
    ASSERT_NE(at, std::string::npos) << instances;
    instance = instances.substr(at, std::string("policy-0123456789abcdef").size());
  }
  [[nodiscard]] bool wait_for_registrations(std::size_t count) {
    return plane.client().turn_until([&] { return card_manager->registrations().size() >= count; });
  }
  [[nodiscard]] std::string registration() const {
    return ":u32=0,:u32=8,:u32=4,:u32=9 " + instance;
  }

  std::unique_ptr<XrlStdRouter> router;
  std::unique_ptr<RecordingCardManager> card_manager;
  std::string instance;
};

TEST_F(CardManagerBirths, EachMakesPolicydRegisterForCardStates) {
  ASSERT_TRUE(wait_for_registrations(1));
  EXPECT_EQ(ask(birth("card_manager")), "100");
  ASSERT_TRUE(wait_for_registrations(2));
  EXPECT_EQ(card_manager->registrations(), (Lines{registration(), registration()}));
}

TEST_F(CardManagerBirths, ARefusedRegistrationIsWarnedOfAndNotTriedAgain) {
  ASSERT_TRUE(wait_for_registrations(1));
  card_manager->refuse = true;
  EXPECT_EQ(ask(birth("card_manager")), "100");
  EXPECT_EQ(take_warnings(1), Lines{"WARNING policyd POLICY +LINE xrl_policy_target "
                                    "card_state_registered_response: Attempt to register to "
                                    "cardmgr failed"});
  EXPECT_EQ(card_manager->registrations().size(), 2U);
}

TEST_F(CardManagerBirths, TheRegistrationStandsWhenPolicydLeaves) {
  ASSERT_TRUE(wait_for_registrations(1));
  EXPECT_EQ(shut_down(), "100");
  ASSERT_TRUE(plane.client().until([this] {
    return ask("finder/finder/0.2/get_xrl_targets").find("policy") == std::string::npos;
  }));
  EXPECT_EQ(card_manager->registrations(), Lines{registration()});
}

TEST_F(SwitchEvents, PortRecordsFollowTheInterfaces) {
  start_all();
  EXPECT_TRUE(has_port("lag1") && has_port("vlan-if"));
  EXPECT_EQ(policy("set_port_cos_value?ifname:txt=eth-0/1/1&value:u32=9"), "100");
  ASSERT_EQ(chassis("add_interface?name:txt=eth-0/3/1"), "100");
  EXPECT_TRUE(until([this] { return has_port("eth-0/3/1"); }));
  ASSERT_EQ(chassis("remove_interface?name:txt=eth-0/2/1"), "100");
  EXPECT_TRUE(until([this] { return !has_port("eth-0/2/1"); }));
  EXPECT_EQ(policy("get_port_cos_value?ifname:txt=eth-0/1/1"), "100 value:u32=9");
}

TEST_F(SwitchEvents, APortThatComesOrGoesIsAChangeOfPolicyd) {
  start_all();
  const auto changes = [this] { return ask("policy/statistics/0.1/get_changes"); };
  const std::string before = changes();
  EXPECT_EQ(changes(), before);
  ASSERT_EQ(chassis("remove_interface?name:txt=eth-0/2/1"), "100");
  EXPECT_TRUE(until([this] { return !has_port("eth-0/2/1"); }));
  EXPECT_NE(changes(), before);
}

TEST_F(SwitchEvents, ARemovedInterfaceReleasesItsRulesAndReturnsEmpty) {
  start_all();
  hold({{"create_acl?acl:u32=1&type:u32=0", "100"},
        {"create_rule?acl:u32=1&rule:u32=1&action:u32=1&flags:list=&values:list=", "100"},
        {"set_port_packet_filter?ifname:txt=eth-0/2/1&acl:u32=1&rule:u32=1", "100"},
        {"delete_rule?acl:u32=1&rule:u32=1", "102 failed to delete rule."}});
  ASSERT_EQ(chassis("remove_interface?name:txt=eth-0/2/1"), "100");
  EXPECT_TRUE(until([this] { return !has_port("eth-0/2/1"); }));
  hold({{"delete_rule?acl:u32=1&rule:u32=1", "100"}, {"delete_acl?acl:u32=1", "100"}});
  ASSERT_EQ(chassis("add_interface?name:txt=eth-0/2/1"), "100");
  EXPECT_TRUE(until_answered("get_port_packet_filters?ifname:txt=eth-0/2/1",
                             "100 acls:list=&rules:list=&extras:list="));
}

TEST_F(SwitchEvents, VlanRecordsFollowTheVlans) {
  start_all();
  ASSERT_EQ(chassis("create_vlan?vlan_id:u32=4094"), "100");
  EXPECT_TRUE(until([this] { return has_vlan(4094); }));
  ASSERT_EQ(chassis("delete_vlan?vlan_id:u32=10"), "100");
  EXPECT_TRUE(until([this] { return !has_vlan(10); }));
  EXPECT_TRUE(has_vlan(20));
}

TEST_F(SwitchEvents, TheDeathOfTheInterfaceManagerLeavesThePorts) {
  start_all();
  ASSERT_EQ(chassis("stop_target?name:txt=sif"), "100");
  ASSERT_EQ(chassis("add_interface?name:txt=eth-0/1/9"), "100");
  EXPECT_TRUE(has_port("eth-0/1/1"));
  EXPECT_FALSE(has_port("eth-0/1/9"));
  ASSERT_EQ(chassis("start_target?name:txt=sif"), "100");
  EXPECT_TRUE(until([this] { return has_port("eth-0/1/9"); }));
}

TEST_F(SwitchEvents, TheRebirthOfTheVlanManagerBringsTheVlansInStep) {
  start_all();
  ASSERT_EQ(chassis("stop_target?name:txt=vlan"), "100");
  ASSERT_EQ(chassis("delete_vlan?vlan_id:u32=10"), "100");
  ASSERT_EQ(chassis("create_vlan?vlan_id:u32=30"), "100");
  EXPECT_TRUE(has_vlan(10));
  EXPECT_FALSE(has_vlan(30));
  ASSERT_EQ(chassis("start_target?name:txt=vlan"), "100");
  EXPECT_TRUE(until([this] { return !has_vlan(10) && has_vlan(30); }));
}

}  // namespace
