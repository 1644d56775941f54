#include "tests/unit/policy/target_fixture.h"

namespace {

class Events : public TargetFixture {
 protected:
  std::string birth(const std::string& target_class) {
    return call("finder_event_observer/0.1/xrl_target_birth?target_class:txt=" + target_class +
                "&target_instance:txt=any");
  }
  std::string death(const std::string& target_class) {
    return call("finder_event_observer/0.1/xrl_target_death?target_class:txt=" + target_class +
                "&target_instance:txt=any");
  }
  std::string card(std::uint32_t card_id, std::uint32_t state) {
    return call("card_state_observer/0.1/card_state_change?card_id:u32=" + std::to_string(card_id) +
                "&card_state:u32=" + std::to_string(state));
  }
  std::string vlan(std::uint32_t event, std::uint32_t vlan_id) {
    return call("vlan_observer/0.1/vlan_event?event:u32=" + std::to_string(event) +
                "&vlan_id:u32=" + std::to_string(vlan_id));
  }
};

TEST_F(Events, TheVlanManagersBirthAndDeathAreNoted) {
  EXPECT_EQ(birth("vlan"), OKAY);
  EXPECT_TRUE(_target.is_vlan_alive());
  EXPECT_EQ(death("vlan"), OKAY);
  EXPECT_FALSE(_target.is_vlan_alive());
}

// The network may still hold what it sent.
TEST_F(Events, AtABirthTheInstancesBeforeItAreHeardNoMore) {
  ASSERT_EQ(birth("vlan"), OKAY);
  ASSERT_EQ(birth("card_manager"), OKAY);
  ASSERT_EQ(death("vlan"), OKAY);
  EXPECT_EQ(_router.ended(), (Texts{"vlan before any", "card_manager before any"}));
}

TEST_F(Events, TheCardManagersDeathEndsTheRegistrationAndLeavesTheCards) {
  const PolicyPortInfo& port = add_port(tree(), "0/1/1");
  ASSERT_EQ(birth("card_manager"), OKAY);
  _router.answer();
  ASSERT_EQ(card(17, 7), OKAY);
  ASSERT_TRUE(_target.is_cardmgr_registered());
  EXPECT_EQ(death("card_manager"), OKAY);
  EXPECT_FALSE(_target.is_cardmgr_registered());
  EXPECT_TRUE(port.card_ready);
  EXPECT_TRUE(tree().is_card_up(17));
}

TEST_F(Events, OtherClassesBirthsAndDeathsMeanNothing) {
  EXPECT_EQ(birth("sif"), OKAY);
  EXPECT_EQ(death("sif"), OKAY);
  EXPECT_EQ(birth(""), OKAY);
  EXPECT_EQ(death("card_manager-1"), OKAY);
  EXPECT_EQ(_router.sent(), Texts{});
  EXPECT_FALSE(_target.is_vlan_alive());
}

TEST_F(Events, ABirthIsAnsweredOkayAlsoWhenNothingCanBeSent) {
  _router.refuse_after(0);
  EXPECT_EQ(birth("card_manager"), OKAY);
}

TEST_F(Events, CardState7MarksThePortsOfTheCardReady) {
  const PolicyPortInfo& port = add_port(tree(), "0/1/1");
  const PolicyPortInfo& other = add_port(tree(), "0/2/1");
  EXPECT_EQ(card(17, 7), OKAY);
  EXPECT_TRUE(port.card_ready);
  EXPECT_FALSE(other.card_ready);
}

TEST_F(Events, CardStates0And8And9MarkThePortsOfTheCardNotReady) {
  const PolicyPortInfo& port = add_port(tree(), "0/1/1");
  for (const std::uint32_t state : {0U, 8U, 9U}) {
    ASSERT_EQ(card(17, 7), OKAY);
    ASSERT_TRUE(port.card_ready);
    EXPECT_EQ(card(17, state), OKAY);
    EXPECT_FALSE(port.card_ready) << state;
  }
}

TEST_F(Events, EveryOtherCardStateIsRefusedEvenFourWhichIsAskedFor) {
  ASSERT_EQ(card(17, 7), OKAY);
  for (const std::uint32_t state : {1U, 2U, 3U, 4U, 5U, 6U, 10U, 4294967295U}) {
    EXPECT_EQ(card(17, state), "101 card_state is bad.");
  }
  EXPECT_TRUE(tree().is_card_up(17));
}

TEST_F(Events, ASecondState7DoesNotReachPortsThatCameSince) {
  ASSERT_EQ(card(17, 7), OKAY);
  PolicyPortInfo& port = add_port(tree(), "0/1/1");
  port.card_ready = false;
  EXPECT_EQ(card(17, 7), OKAY);
  EXPECT_FALSE(port.card_ready);
}

TEST_F(Events, ACardThatGoesTwiceIsNoError) {
  EXPECT_EQ(card(17, 0), OKAY);
  EXPECT_EQ(card(17, 0), OKAY);
}

TEST_F(Events, AVlanIsCreatedOnce) {
  EXPECT_EQ(vlan(1, 10), OKAY);
  EXPECT_NE(tree().find_vlan(10), nullptr);
  EXPECT_EQ(vlan(1, 10), "102 vlan has existed.");
}

TEST_F(Events, AVlanIsDeletedOnce) {
  ASSERT_EQ(vlan(1, 10), OKAY);
  EXPECT_EQ(vlan(0, 10), OKAY);
  EXPECT_EQ(tree().find_vlan(10), nullptr);
  EXPECT_EQ(vlan(0, 10), "102 vlan does not exist.");
}

TEST_F(Events, VlanEvent2IsRefused) {
  EXPECT_EQ(vlan(2, 10), "101 event is bad.");
  EXPECT_EQ(vlan(4294967295U, 10), "101 event is bad.");
  EXPECT_EQ(tree().find_vlan(10), nullptr);
}

TEST_F(Events, VlansAreFollowedWhetherTheirManagerIsAliveOrNot) {
  ASSERT_FALSE(_target.is_vlan_alive());
  EXPECT_EQ(vlan(1, 10), OKAY);
}

TEST_F(Events, DeletingAVlanDropsItsBindings) {
  add_rule(tree(), 10, 1);
  ASSERT_EQ(vlan(1, 10), OKAY);
  ASSERT_EQ(tree().find_vlan(10)->add_filter({10, 1}), 0);
  ASSERT_EQ(vlan(0, 10), OKAY);
  EXPECT_FALSE(tree().is_acl_used(10));
}

TEST_F(Events, AnEmptyTreeThatIsCompleteMakesNoRecords) {
  _target.tree_complete();
  _target.updates_made();
  Texts names;
  tree().get_port_names(names);
  EXPECT_EQ(names, Texts{});
}

}  // namespace
