#include "tests/unit/policy/target_fixture.h"

namespace {

class RemarkCommands : public TargetFixture {
 protected:
  RemarkCommands()
      : _ge1(add_port(tree(), "ge1")), _ge2(add_port(tree(), "ge2")), _vlan(add_vlan(tree(), 5)) {
    add_rule(tree(), 1, 1);
    add_rule(tree(), 1, 2);
    add_rule(tree(), 1, 3, 0);
  }

  PolicyPortInfo& _ge1;
  PolicyPortInfo& _ge2;
  PolicyVlanInfo& _vlan;
};

TEST_F(RemarkCommands, APortsRemarksAreListedInOrderOfTheirRules) {
  expect({{"get_port_remark?ifname:txt=ge1",
           "100 acl_ids:list=&rule_ids:list=&kinds:list=&values:list="},
          {"remark_port_priority?ifname:txt=ge1&acl_id:u32=1&rule_id:u32=2&kind:u32=0&value:u32=63",
           "100 "},
          {"remark_port_priority?ifname:txt=ge1&acl_id:u32=1&rule_id:u32=1&kind:u32=2&value:u32=3",
           "100 "},
          {"get_port_remark?ifname:txt=ge1",
           "100 acl_ids:list=:u32=1,:u32=1&rule_ids:list=:u32=1,:u32=2&kinds:list=:u32=2,:u32=0&"
           "values:list=:u32=3,:u32=63"}});
}

TEST_F(RemarkCommands, AVlansRemarksAreListedInOrderOfTheirRules) {
  expect({{"remark_vlan_priority?vlan_id:u32=5&acl_id:u32=1&rule_id:u32=2&kind:u32=1&value:u32=7",
           "100 "},
          {"remark_vlan_priority?vlan_id:u32=5&acl_id:u32=1&rule_id:u32=1&kind:u32=0&value:u32=0",
           "100 "},
          {"get_vlan_remark?vlan_id:u32=5",
           "100 acl_ids:list=:u32=1,:u32=1&rule_ids:list=:u32=1,:u32=2&kinds:list=:u32=0,:u32=1&"
           "values:list=:u32=0,:u32=7"}});
}

TEST_F(RemarkCommands, RemarkingTwiceIsRefusedTheSecondTime) {
  expect({{"remark_port_priority?ifname:txt=ge1&acl_id:u32=1&rule_id:u32=2&kind:u32=0&value:u32=5",
           "100 "},
          {"remark_port_priority?ifname:txt=ge1&acl_id:u32=1&rule_id:u32=2&kind:u32=0&value:u32=6",
           "102 failed to remark port prioriy."},
          {"remark_vlan_priority?vlan_id:u32=5&acl_id:u32=1&rule_id:u32=2&kind:u32=0&value:u32=5",
           "100 "},
          {"remark_vlan_priority?vlan_id:u32=5&acl_id:u32=1&rule_id:u32=2&kind:u32=0&value:u32=5",
           "102 failed to remark vlan prioriy."},
          {"get_port_remark?ifname:txt=ge1",
           "100 acl_ids:list=:u32=1&rule_ids:list=:u32=2&kinds:list=:u32=0&values:list=:u32=5"}});
}

TEST_F(RemarkCommands, ValuesAboveTheirKindsBoundAndOtherKindsAreRefused) {
  for (const char* bad : {"kind:u32=0&value:u32=64", "kind:u32=1&value:u32=8",
                          "kind:u32=2&value:u32=4", "kind:u32=3&value:u32=0",
                          "kind:u32=4294967295&value:u32=0", "kind:u32=0&value:u32=4294967295"}) {
    EXPECT_EQ(
        call(std::string("remark_port_priority?ifname:txt=ge1&acl_id:u32=1&rule_id:u32=1&") + bad),
        "102 failed to remark port prioriy.");
    EXPECT_EQ(
        call(std::string("remark_vlan_priority?vlan_id:u32=5&acl_id:u32=1&rule_id:u32=1&") + bad),
        "102 failed to remark vlan prioriy.");
  }
  EXPECT_EQ(action_keys_of(_ge1), Keys{});
}

TEST_F(RemarkCommands, AMissingRuleAndARuleOfAnotherActionAreRefused) {
  expect({{"remark_port_priority?ifname:txt=ge1&acl_id:u32=1&rule_id:u32=9&kind:u32=0&value:u32=0",
           "102 failed to remark port prioriy."},
          {"remark_port_priority?ifname:txt=ge1&acl_id:u32=1&rule_id:u32=3&kind:u32=0&value:u32=0",
           "102 failed to remark port prioriy."},
          {"remark_vlan_priority?vlan_id:u32=5&acl_id:u32=9&rule_id:u32=1&kind:u32=0&value:u32=0",
           "102 failed to remark vlan prioriy."}});
}

TEST_F(RemarkCommands, UnremarkRemovesAnEntryAndRefusesAMissingOne) {
  expect({{"unremark_port_priority?ifname:txt=ge1&acl_id:u32=1&rule_id:u32=1",
           "102 failed to unremark port priority."},
          {"remark_port_priority?ifname:txt=ge1&acl_id:u32=1&rule_id:u32=1&kind:u32=0&value:u32=5",
           "100 "},
          {"unremark_port_priority?ifname:txt=ge1&acl_id:u32=1&rule_id:u32=1", "100 "},
          {"unremark_vlan_priority?vlan_id:u32=5&acl_id:u32=1&rule_id:u32=1",
           "102 failed to unremark vlan priority."},
          {"remark_vlan_priority?vlan_id:u32=5&acl_id:u32=1&rule_id:u32=1&kind:u32=0&value:u32=5",
           "100 "},
          {"unremark_vlan_priority?vlan_id:u32=5&acl_id:u32=1&rule_id:u32=1", "100 "},
          {"delete_acl?acl:u32=1", "100 "}});
}

TEST_F(RemarkCommands, ClearSucceedsAlsoWhenThereIsNothing) {
  ASSERT_EQ(_ge1.actions().set_action({1, 1}, 0, 0), 0);
  ASSERT_EQ(_ge2.actions().set_action({1, 1}, 0, 0), 0);
  ASSERT_EQ(_vlan.actions().set_action({1, 1}, 0, 0), 0);
  expect({{"clear_port_remark?ifname:txt=ge1", "100 "},
          {"clear_port_remark?ifname:txt=ge1", "100 "},
          {"clear_vlan_remark?vlan_id:u32=5", "100 "},
          {"clear_vlan_remark?vlan_id:u32=5", "100 "}});
  EXPECT_EQ(action_keys_of(_ge1), Keys{});
  EXPECT_EQ(action_keys_of(_ge2), (Keys{{1, 1}}));
  EXPECT_EQ(action_keys_of(_vlan), Keys{});
}

TEST_F(RemarkCommands, AMissingInterfaceIsRefused) {
  for (const char* request : {
           "remark_port_priority?ifname:txt=ge9&acl_id:u32=1&rule_id:u32=1&kind:u32=9&value:u32=9",
           "unremark_port_priority?ifname:txt=ge9&acl_id:u32=1&rule_id:u32=1",
           "clear_port_remark?ifname:txt=ge9",
           "get_port_remark?ifname:txt=ge9",
       }) {
    EXPECT_EQ(call(request), "102 the interface does not exist.") << request;
  }
}

TEST_F(RemarkCommands, AMissingVlanIsRefused) {
  for (const char* request : {
           "remark_vlan_priority?vlan_id:u32=9&acl_id:u32=1&rule_id:u32=1&kind:u32=9&value:u32=9",
           "unremark_vlan_priority?vlan_id:u32=9&acl_id:u32=1&rule_id:u32=1",
           "clear_vlan_remark?vlan_id:u32=9",
           "get_vlan_remark?vlan_id:u32=9",
       }) {
    EXPECT_EQ(call(request), "102 the vlan does not exist.") << request;
  }
}

TEST_F(RemarkCommands, AllPortsAreRemarkedAndOneThatRefusesIsSkipped) {
  ASSERT_EQ(_ge1.actions().set_action({1, 1}, 0, 9), 0);
  EXPECT_EQ(call("remark_all_port_priority?acl_id:u32=1&rule_id:u32=1&kind:u32=1&value:u32=2"),
            OKAY);
  expect({{"get_port_remark?ifname:txt=ge1",
           "100 acl_ids:list=:u32=1&rule_ids:list=:u32=1&kinds:list=:u32=0&values:list=:u32=9"},
          {"get_port_remark?ifname:txt=ge2",
           "100 acl_ids:list=:u32=1&rule_ids:list=:u32=1&kinds:list=:u32=1&values:list=:u32=2"}});
  EXPECT_EQ(action_keys_of(_vlan), Keys{});
}

TEST_F(RemarkCommands, AllPortsAreUnremarkedAndCleared) {
  ASSERT_EQ(_ge1.actions().set_action({1, 1}, 0, 9), 0);
  ASSERT_EQ(_ge1.actions().set_action({1, 2}, 0, 9), 0);
  ASSERT_EQ(_ge2.actions().set_action({1, 1}, 0, 9), 0);
  ASSERT_EQ(_vlan.actions().set_action({1, 1}, 0, 9), 0);
  EXPECT_EQ(call("unremark_all_port_priority?acl_id:u32=1&rule_id:u32=1"), OKAY);
  EXPECT_EQ(action_keys_of(_ge1), (Keys{{1, 2}}));
  EXPECT_EQ(action_keys_of(_ge2), Keys{});
  EXPECT_EQ(call("clear_all_port_remark"), OKAY);
  EXPECT_EQ(action_keys_of(_ge1), Keys{});
  EXPECT_EQ(action_keys_of(_vlan), (Keys{{1, 1}}));
}

TEST_F(RemarkCommands, TheAllPortsCommandsAnswerOkayWhateverIsMissing) {
  expect({{"remark_all_port_priority?acl_id:u32=9&rule_id:u32=9&kind:u32=9&value:u32=9", "100 "},
          {"unremark_all_port_priority?acl_id:u32=9&rule_id:u32=9", "100 "},
          {"clear_all_port_remark", "100 "}});
  tree().delete_port("ge1");
  tree().delete_port("ge2");
  expect({{"remark_all_port_priority?acl_id:u32=1&rule_id:u32=1&kind:u32=0&value:u32=0", "100 "},
          {"unremark_all_port_priority?acl_id:u32=1&rule_id:u32=1", "100 "},
          {"clear_all_port_remark", "100 "}});
}

}  // namespace
