#include "policy/command/policy_replies.h"
#include "tests/unit/policy/target_fixture.h"

namespace {

class FilterCommands : public TargetFixture {
 protected:
  FilterCommands()
      : _ge1(add_port(tree(), "ge1")), _ge2(add_port(tree(), "ge2")), _vlan(add_vlan(tree(), 5)) {
    add_rule(tree(), 10, 1);
    add_rule(tree(), 10, 2);
  }

  PolicyPortInfo& _ge1;
  PolicyPortInfo& _ge2;
  PolicyVlanInfo& _vlan;
};

TEST_F(FilterCommands, APortThatGoesWhileAllAreWalkedIsPassedOver) {
  Texts walked;
  policy_replies::for_every_port(tree(), [&](const PolicyPortInfo& port) {
    walked.push_back(port.name());
    EXPECT_EQ(tree().delete_port("ge2"), 0);
  });
  EXPECT_EQ(walked, Texts{"ge1"});
}

TEST_F(FilterCommands, SetBindsARuleToAPortAndToAVlan) {
  expect({{"set_port_packet_filter?ifname:txt=ge1&acl:u32=10&rule:u32=2", "100 "},
          {"set_vlan_packet_filter?vlan:u32=5&acl:u32=10&rule:u32=1", "100 "}});
  EXPECT_EQ(filters_of(_ge1), (Keys{{10, 2}}));
  EXPECT_EQ(filters_of(_ge2), Keys{});
  EXPECT_EQ(filters_of(_vlan), (Keys{{10, 1}}));
}

TEST_F(FilterCommands, SetRefusesAMissingInterfaceOrVlanFirst) {
  expect(
      {{"set_port_packet_filter?ifname:txt=ge9&acl:u32=9&rule:u32=9",
        "102 the interface does not exist."},
       {"set_vlan_packet_filter?vlan:u32=9&acl:u32=9&rule:u32=9", "102 the vlan does not exist."}});
}

TEST_F(FilterCommands, SetRefusesAMissingRuleAndARuleThatIsBoundAlready) {
  expect({{"set_port_packet_filter?ifname:txt=ge1&acl:u32=10&rule:u32=3",
           "102 failed to set port packet filter."},
          {"set_port_packet_filter?ifname:txt=ge1&acl:u32=10&rule:u32=1", "100 "},
          {"set_port_packet_filter?ifname:txt=ge1&acl:u32=10&rule:u32=1",
           "102 failed to set port packet filter."},
          {"set_vlan_packet_filter?vlan:u32=5&acl:u32=11&rule:u32=1",
           "102 failed to set vlan packet filter."},
          {"set_vlan_packet_filter?vlan:u32=5&acl:u32=10&rule:u32=1", "100 "},
          {"set_vlan_packet_filter?vlan:u32=5&acl:u32=10&rule:u32=1",
           "102 failed to set vlan packet filter."}});
}

TEST_F(FilterCommands, DeleteRemovesABinding) {
  expect({{"set_port_packet_filter?ifname:txt=ge1&acl:u32=10&rule:u32=1", "100 "},
          {"set_vlan_packet_filter?vlan:u32=5&acl:u32=10&rule:u32=1", "100 "},
          {"delete_port_packet_filter?ifname:txt=ge1&acl:u32=10&rule:u32=1", "100 "},
          {"delete_vlan_packet_filter?vlan:u32=5&acl:u32=10&rule:u32=1", "100 "},
          {"delete_acl?acl:u32=10", "100 "}});
}

TEST_F(FilterCommands, DeleteRefusesWhatIsMissing) {
  expect({{"delete_port_packet_filter?ifname:txt=ge9&acl:u32=10&rule:u32=1",
           "102 the interface does not exist."},
          {"delete_port_packet_filter?ifname:txt=ge1&acl:u32=10&rule:u32=1",
           "102 failed to delete port packet filter."},
          {"delete_port_packet_filter?ifname:txt=ge1&acl:u32=77&rule:u32=1",
           "102 failed to delete port packet filter."},
          {"delete_vlan_packet_filter?vlan:u32=9&acl:u32=10&rule:u32=1",
           "102 the vlan does not exist."},
          {"delete_vlan_packet_filter?vlan:u32=5&acl:u32=10&rule:u32=1",
           "102 failed to delete vlan packet filter."}});
}

TEST_F(FilterCommands, SetAllPortsBindsToEveryPortAndToNoVlan) {
  ASSERT_EQ(_ge1.add_filter({10, 1}), 0);
  EXPECT_EQ(call("set_all_ports_packet_filter?acl:u32=10&rule:u32=1"), OKAY);
  EXPECT_EQ(filters_of(_ge1), (Keys{{10, 1}}));
  EXPECT_EQ(filters_of(_ge2), (Keys{{10, 1}}));
  EXPECT_EQ(filters_of(_vlan), Keys{});
}

TEST_F(FilterCommands, SetAllPortsOfAMissingRuleAnswersOkayAndBindsNothing) {
  EXPECT_EQ(call("set_all_ports_packet_filter?acl:u32=10&rule:u32=9"), OKAY);
  EXPECT_EQ(filters_of(_ge1), Keys{});
}

TEST_F(FilterCommands, DeleteAllPortsRemovesFromEveryPortThatHasIt) {
  ASSERT_EQ(_ge2.add_filter({10, 1}), 0);
  ASSERT_EQ(_vlan.add_filter({10, 1}), 0);
  EXPECT_EQ(call("delete_all_ports_packet_filter?acl:u32=10&rule:u32=1"), OKAY);
  EXPECT_EQ(filters_of(_ge2), Keys{});
  EXPECT_EQ(filters_of(_vlan), (Keys{{10, 1}}));
  EXPECT_EQ(call("delete_all_ports_packet_filter?acl:u32=10&rule:u32=1"), OKAY);
}

TEST_F(FilterCommands, ClearAllEmptiesEveryPortAndEveryVlanAndLeavesTheActions) {
  ASSERT_EQ(_ge1.add_filter({10, 1}), 0);
  ASSERT_EQ(_ge2.add_filter({10, 2}), 0);
  ASSERT_EQ(_vlan.add_filter({10, 2}), 0);
  ASSERT_EQ(_vlan.actions().set_action({10, 1}, 0, 1), 0);
  EXPECT_EQ(call("clear_all_packet_filters"), OKAY);
  EXPECT_EQ(filters_of(_ge1), Keys{});
  EXPECT_EQ(filters_of(_ge2), Keys{});
  EXPECT_EQ(filters_of(_vlan), Keys{});
  EXPECT_EQ(action_keys_of(_vlan), (Keys{{10, 1}}));
  expect({{"delete_rule?acl:u32=10&rule:u32=2", "100 "},
          {"delete_rule?acl:u32=10&rule:u32=1", "102 failed to delete rule."}});
}

TEST_F(FilterCommands, ClearOnePortOrOneVlanLeavesTheOthers) {
  ASSERT_EQ(_ge1.add_filter({10, 1}), 0);
  ASSERT_EQ(_ge2.add_filter({10, 1}), 0);
  ASSERT_EQ(_vlan.add_filter({10, 1}), 0);
  expect({{"clear_port_packet_filters?ifname:txt=ge1", "100 "}});
  EXPECT_EQ(filters_of(_ge1), Keys{});
  EXPECT_EQ(filters_of(_ge2), (Keys{{10, 1}}));
  expect({{"clear_vlan_packet_filters?vlan:u32=5", "100 "}});
  EXPECT_EQ(filters_of(_vlan), Keys{});
  expect({{"clear_port_packet_filters?ifname:txt=ge9", "102 the interface does not exist."},
          {"clear_vlan_packet_filters?vlan:u32=9", "102 the vlan does not exist."}});
}

TEST_F(FilterCommands, ListingGivesAlignedListsInOrderOfAdditionAndAnEmptyThirdOne) {
  expect({{"set_port_packet_filter?ifname:txt=ge1&acl:u32=10&rule:u32=2", "100 "},
          {"set_port_packet_filter?ifname:txt=ge1&acl:u32=10&rule:u32=1", "100 "},
          {"get_port_packet_filters?ifname:txt=ge1",
           "100 acls:list=:u32=10,:u32=10&rules:list=:u32=2,:u32=1&extras:list="},
          {"set_vlan_packet_filter?vlan:u32=5&acl:u32=10&rule:u32=2", "100 "},
          {"get_vlan_packet_filters?vlan:u32=5",
           "100 acls:list=:u32=10&rules:list=:u32=2&extras:list="}});
}

TEST_F(FilterCommands, ListingLeavesOutTheActions) {
  ASSERT_EQ(_ge1.actions().set_action({10, 1}, 0, 1), 0);
  EXPECT_EQ(call("get_port_packet_filters?ifname:txt=ge1"),
            "100 acls:list=&rules:list=&extras:list=");
}

TEST_F(FilterCommands, ListingRefusesWhatIsMissing) {
  expect({{"get_port_packet_filters?ifname:txt=ge9", "102 the interface does not exist."},
          {"get_vlan_packet_filters?vlan:u32=9", "102 the vlan does not exist."}});
}

TEST_F(FilterCommands, APortsListsThatAreNotEquallyLongAreRefusedBeforeTheInterface) {
  XrlAtomList none;
  XrlAtomList one;
  one.append(1U);
  XrlAtomList another = one;
  for (const auto& answer : {
           _target.policy_config_0_1_get_port_packet_filters("ge9", one, none, none),
           _target.policy_config_0_1_get_port_packet_filters("ge9", none, none, one),
           _target.policy_config_0_1_get_port_packet_filters("ge9", one, another, none),
       }) {
    EXPECT_EQ(answer.error().str(), "101 BAD_ARGS bad acl and rule.");
  }
}

TEST_F(FilterCommands, OfAVlansListsOnlyTheFirstTwoAreCompared) {
  XrlAtomList acls;
  XrlAtomList rules;
  XrlAtomList one;
  one.append(1U);
  EXPECT_EQ(_target.policy_config_0_1_get_vlan_packet_filters(9, one, rules, acls).error().str(),
            "101 BAD_ARGS bad acl and rule.");
  EXPECT_TRUE(_target.policy_config_0_1_get_vlan_packet_filters(5, acls, rules, one).is_okay());
}

}  // namespace
