// Packet filters and remarks: rules bound to the ports and VLANs of a real
// switch.
#include "tests/integration/real_daemon.h"

namespace {

const std::string NO_INTERFACE = "102 the interface does not exist.";
const std::string NO_VLAN = "102 the vlan does not exist.";
const std::string NO_FILTERS = "100 acls:list=&rules:list=&extras:list=";
const std::string NO_REMARKS = "100 acl_ids:list=&rule_ids:list=&kinds:list=&values:list=";

// ACL 10 with rules 1 and 2, which can be remarked, and 3, which cannot.
class Bindings : public RealDaemon {
 protected:
  void SetUp() override {
    start_all();
    hold({{"create_acl?acl:u32=10&type:u32=0", "100"},
          {"create_rule?acl:u32=10&rule:u32=1&action:u32=1&flags:list=&values:list=", "100"},
          {"create_rule?acl:u32=10&rule:u32=2&action:u32=1&flags:list=&values:list=", "100"},
          {"create_rule?acl:u32=10&rule:u32=3&action:u32=0&flags:list=&values:list=", "100"}});
  }
  // Refused because of the user that the log then names.
  void expect_still_used(const std::string& user) {
    EXPECT_EQ(policy("delete_acl?acl:u32=10"), "102 failed to delete acl");
    EXPECT_EQ(
        take_warnings(1),
        Lines{"WARNING policyd POLICY +LINE policytree is_acl_used: acl 10 is still used in " +
              user + "."});
  }
};

class PacketFilters : public Bindings {};

TEST_F(PacketFilters, OfAPortAreListedInTheOrderTheyWereAdded) {
  hold({{"set_port_packet_filter?ifname:txt=eth-0/1/1&acl:u32=10&rule:u32=3", "100"},
        {"set_port_packet_filter?ifname:txt=eth-0/1/1&acl:u32=10&rule:u32=1", "100"},
        {"set_port_packet_filter?ifname:txt=eth-0/1/1&acl:u32=10&rule:u32=2", "100"},
        {"delete_port_packet_filter?ifname:txt=eth-0/1/1&acl:u32=10&rule:u32=1", "100"},
        {"set_port_packet_filter?ifname:txt=eth-0/1/1&acl:u32=10&rule:u32=1", "100"},
        {"get_port_packet_filters?ifname:txt=eth-0/1/1",
         "100 acls:list=:u32=10,:u32=10,:u32=10&rules:list=:u32=3,:u32=2,:u32=1&extras:list="}});
}

TEST_F(PacketFilters, OfAVlanAreListedInTheOrderTheyWereAdded) {
  hold({{"set_vlan_packet_filter?vlan:u32=10&acl:u32=10&rule:u32=2", "100"},
        {"set_vlan_packet_filter?vlan:u32=10&acl:u32=10&rule:u32=1", "100"},
        {"get_vlan_packet_filters?vlan:u32=10",
         "100 acls:list=:u32=10,:u32=10&rules:list=:u32=2,:u32=1&extras:list="},
        {"delete_vlan_packet_filter?vlan:u32=10&acl:u32=10&rule:u32=2", "100"},
        {"clear_vlan_packet_filters?vlan:u32=10", "100"},
        {"get_vlan_packet_filters?vlan:u32=10", NO_FILTERS}});
}

// A client that asks for the same again and again must not fill the disk.
TEST_F(PacketFilters, KeepTheirListHoweverOftenItIsDeletedAndTheLogShort) {
  hold({{"set_vlan_packet_filter?vlan:u32=10&acl:u32=10&rule:u32=1", "100"}});
  for (int i = 0; i < 1000; ++i) hold({{"delete_acl?acl:u32=10", "102 failed to delete acl"}});
  EXPECT_EQ(shut_down(), "100");
  EXPECT_EQ(plane.policyd->wait(), 0);
  const Lines lines = take_warnings(101);
  ASSERT_EQ(lines.size(), 101U);
  EXPECT_EQ(lines.back(),
            "WARNING policyd POLICY +LINE policytree is_acl_used: and 900 more in 10 s");
}

TEST_F(PacketFilters, ARuleIsBoundOnceToEachPortAndVlan) {
  hold({{"set_port_packet_filter?ifname:txt=eth-0/1/1&acl:u32=10&rule:u32=1", "100"},
        {"set_port_packet_filter?ifname:txt=eth-0/1/1&acl:u32=10&rule:u32=1",
         "102 failed to set port packet filter."},
        {"set_port_packet_filter?ifname:txt=lag1&acl:u32=10&rule:u32=1", "100"},
        {"set_vlan_packet_filter?vlan:u32=10&acl:u32=10&rule:u32=1", "100"},
        {"set_vlan_packet_filter?vlan:u32=10&acl:u32=10&rule:u32=1",
         "102 failed to set vlan packet filter."},
        {"set_vlan_packet_filter?vlan:u32=20&acl:u32=10&rule:u32=1", "100"}});
}

TEST_F(PacketFilters, ARuleThatDoesNotExistIsNotBound) {
  hold({{"set_port_packet_filter?ifname:txt=eth-0/1/1&acl:u32=10&rule:u32=4",
         "102 failed to set port packet filter."},
        {"set_port_packet_filter?ifname:txt=eth-0/1/1&acl:u32=11&rule:u32=1",
         "102 failed to set port packet filter."},
        {"set_vlan_packet_filter?vlan:u32=10&acl:u32=10&rule:u32=4",
         "102 failed to set vlan packet filter."},
        {"set_all_ports_packet_filter?acl:u32=10&rule:u32=4", "100"},
        {"get_port_packet_filters?ifname:txt=eth-0/1/1", NO_FILTERS}});
}

TEST_F(PacketFilters, DeletingOneThatIsNotBoundIsRefused) {
  hold({{"delete_port_packet_filter?ifname:txt=eth-0/1/1&acl:u32=10&rule:u32=1",
         "102 failed to delete port packet filter."},
        {"delete_vlan_packet_filter?vlan:u32=10&acl:u32=10&rule:u32=1",
         "102 failed to delete vlan packet filter."},
        {"delete_all_ports_packet_filter?acl:u32=10&rule:u32=1", "100"}});
}

TEST_F(PacketFilters, EveryCommandOnAPortOrVlanThatDoesNotExistSaysSo) {
  hold({{"set_port_packet_filter?ifname:txt=eth-9/9/9&acl:u32=10&rule:u32=1", NO_INTERFACE},
        {"delete_port_packet_filter?ifname:txt=eth-9/9/9&acl:u32=10&rule:u32=1", NO_INTERFACE},
        {"clear_port_packet_filters?ifname:txt=", NO_INTERFACE},
        {"get_port_packet_filters?ifname:txt=eth-9/9/9", NO_INTERFACE},
        {"set_vlan_packet_filter?vlan:u32=99&acl:u32=10&rule:u32=1", NO_VLAN},
        {"delete_vlan_packet_filter?vlan:u32=99&acl:u32=10&rule:u32=1", NO_VLAN},
        {"clear_vlan_packet_filters?vlan:u32=0", NO_VLAN},
        {"get_vlan_packet_filters?vlan:u32=99", NO_VLAN}});
}

TEST_F(PacketFilters, AllPortsAreBoundAndReleasedTogetherWhateverOneHasAlready) {
  hold({{"set_port_packet_filter?ifname:txt=lag1&acl:u32=10&rule:u32=1", "100"},
        {"set_all_ports_packet_filter?acl:u32=10&rule:u32=1", "100"}});
  const std::vector<std::string> ports{"eth-0/1/1", "eth-0/1/2", "eth-0/2/1", "lag1", "vlan-if"};
  for (const std::string& port : ports) {
    hold({{"get_port_packet_filters?ifname:txt=" + port,
           "100 acls:list=:u32=10&rules:list=:u32=1&extras:list="}});
  }
  hold({{"get_vlan_packet_filters?vlan:u32=10", NO_FILTERS},
        {"delete_all_ports_packet_filter?acl:u32=10&rule:u32=1", "100"}});
  for (const std::string& port : ports) {
    hold({{"get_port_packet_filters?ifname:txt=" + port, NO_FILTERS}});
  }
}

TEST_F(PacketFilters, ClearingAllTakesThoseOfVlansToo) {
  hold({{"set_all_ports_packet_filter?acl:u32=10&rule:u32=1", "100"},
        {"set_vlan_packet_filter?vlan:u32=20&acl:u32=10&rule:u32=1", "100"},
        {"clear_all_packet_filters", "100"},
        {"get_port_packet_filters?ifname:txt=lag1", NO_FILTERS},
        {"get_vlan_packet_filters?vlan:u32=20", NO_FILTERS},
        {"delete_acl?acl:u32=10", "100"}});
}

TEST_F(PacketFilters, ABoundRuleIsNotDeletedUntilItIsReleased) {
  hold({{"set_vlan_packet_filter?vlan:u32=20&acl:u32=10&rule:u32=1", "100"},
        {"delete_rule?acl:u32=10&rule:u32=1", "102 failed to delete rule."},
        {"delete_rule?acl:u32=10&rule:u32=2", "100"},
        {"delete_vlan_packet_filter?vlan:u32=20&acl:u32=10&rule:u32=1", "100"},
        {"delete_rule?acl:u32=10&rule:u32=1", "100"}});
}

TEST_F(PacketFilters, ABoundAclIsNotDeletedAndTheFirstPortIsNamed) {
  hold({{"set_vlan_packet_filter?vlan:u32=10&acl:u32=10&rule:u32=1", "100"},
        {"set_port_packet_filter?ifname:txt=lag1&acl:u32=10&rule:u32=2", "100"},
        {"set_port_packet_filter?ifname:txt=eth-0/1/1&acl:u32=10&rule:u32=3", "100"}});
  expect_still_used("port eth-0/1/1");
  hold({{"clear_port_packet_filters?ifname:txt=eth-0/1/1", "100"}});
  expect_still_used("port lag1");
}

TEST_F(PacketFilters, TheFirstVlanIsNamedWhenNoPortUsesTheAcl) {
  hold({{"set_vlan_packet_filter?vlan:u32=20&acl:u32=10&rule:u32=1", "100"},
        {"set_vlan_packet_filter?vlan:u32=10&acl:u32=10&rule:u32=1", "100"}});
  expect_still_used("vlan 10");
  EXPECT_EQ(vlan_event(0, 10), "100");
  expect_still_used("vlan 20");
  EXPECT_EQ(vlan_event(0, 20), "100");
  hold({{"delete_acl?acl:u32=10", "100"}});
}

class Remarks : public Bindings {};

TEST_F(Remarks, OfAPortAreListedByAclAndRule) {
  hold({{"remark_port_priority?ifname:txt=eth-0/1/1&acl_id:u32=10&rule_id:u32=2&kind:u32=0"
         "&value:u32=63",
         "100"},
        {"remark_port_priority?ifname:txt=eth-0/1/1&acl_id:u32=10&rule_id:u32=1&kind:u32=1"
         "&value:u32=7",
         "100"},
        {"get_port_remark?ifname:txt=eth-0/1/1",
         "100 acl_ids:list=:u32=10,:u32=10&rule_ids:list=:u32=1,:u32=2&kinds:list=:u32=1,:u32=0"
         "&values:list=:u32=7,:u32=63"},
        // Remarks are no packet filters.
        {"get_port_packet_filters?ifname:txt=eth-0/1/1", NO_FILTERS},
        {"unremark_port_priority?ifname:txt=eth-0/1/1&acl_id:u32=10&rule_id:u32=2", "100"},
        {"clear_port_remark?ifname:txt=eth-0/1/1", "100"},
        {"get_port_remark?ifname:txt=eth-0/1/1", NO_REMARKS}});
}

TEST_F(Remarks, OfAVlanAreListedByAclAndRule) {
  hold({{"remark_vlan_priority?vlan_id:u32=10&acl_id:u32=10&rule_id:u32=2&kind:u32=2&value:u32=3",
         "100"},
        {"remark_vlan_priority?vlan_id:u32=10&acl_id:u32=10&rule_id:u32=1&kind:u32=0&value:u32=0",
         "100"},
        {"get_vlan_remark?vlan_id:u32=10",
         "100 acl_ids:list=:u32=10,:u32=10&rule_ids:list=:u32=1,:u32=2&kinds:list=:u32=0,:u32=2"
         "&values:list=:u32=0,:u32=3"},
        {"unremark_vlan_priority?vlan_id:u32=10&acl_id:u32=10&rule_id:u32=2", "100"},
        {"clear_vlan_remark?vlan_id:u32=10", "100"},
        {"get_vlan_remark?vlan_id:u32=10", NO_REMARKS}});
}

TEST_F(Remarks, AValuePastTheBoundOfItsKindIsRefused) {
  const std::string port = "remark_port_priority?ifname:txt=eth-0/1/1&acl_id:u32=10&rule_id:u32=1";
  const std::string vlan = "remark_vlan_priority?vlan_id:u32=10&acl_id:u32=10&rule_id:u32=1";
  for (const char* remark : {"&kind:u32=0&value:u32=64", "&kind:u32=1&value:u32=8",
                             "&kind:u32=2&value:u32=4", "&kind:u32=3&value:u32=0"}) {
    hold({{port + remark, "102 failed to remark port prioriy."},
          {vlan + remark, "102 failed to remark vlan prioriy."}});
  }
  hold({{"get_port_remark?ifname:txt=eth-0/1/1", NO_REMARKS},
        {"get_vlan_remark?vlan_id:u32=10", NO_REMARKS}});
}

TEST_F(Remarks, AnEntryIsNeverOverwritten) {
  const std::string port = "remark_port_priority?ifname:txt=eth-0/1/1&acl_id:u32=10&rule_id:u32=1";
  const std::string vlan = "remark_vlan_priority?vlan_id:u32=10&acl_id:u32=10&rule_id:u32=1";
  hold({{port + "&kind:u32=1&value:u32=7", "100"},
        {port + "&kind:u32=1&value:u32=6", "102 failed to remark port prioriy."},
        {vlan + "&kind:u32=1&value:u32=7", "100"},
        {vlan + "&kind:u32=1&value:u32=7", "102 failed to remark vlan prioriy."},
        {"get_port_remark?ifname:txt=eth-0/1/1",
         "100 acl_ids:list=:u32=10&rule_ids:list=:u32=1&kinds:list=:u32=1&values:list=:u32=7"}});
}

TEST_F(Remarks, OnlyARuleThatExistsAndHasActionOneTakesOne) {
  hold({{"remark_port_priority?ifname:txt=lag1&acl_id:u32=10&rule_id:u32=3&kind:u32=1&value:u32=1",
         "102 failed to remark port prioriy."},
        {"remark_port_priority?ifname:txt=lag1&acl_id:u32=10&rule_id:u32=4&kind:u32=1&value:u32=1",
         "102 failed to remark port prioriy."},
        {"remark_vlan_priority?vlan_id:u32=10&acl_id:u32=11&rule_id:u32=1&kind:u32=1&value:u32=1",
         "102 failed to remark vlan prioriy."}});
}

TEST_F(Remarks, UnremarkingWhatIsNotThereIsRefusedAndClearingIsNot) {
  hold({{"unremark_port_priority?ifname:txt=lag1&acl_id:u32=10&rule_id:u32=1",
         "102 failed to unremark port priority."},
        {"unremark_vlan_priority?vlan_id:u32=10&acl_id:u32=10&rule_id:u32=1",
         "102 failed to unremark vlan priority."},
        {"clear_port_remark?ifname:txt=lag1", "100"},
        {"clear_vlan_remark?vlan_id:u32=10", "100"},
        {"clear_all_port_remark", "100"}});
}

TEST_F(Remarks, EveryCommandOnAPortOrVlanThatDoesNotExistSaysSo) {
  hold({{"remark_port_priority?ifname:txt=no&acl_id:u32=10&rule_id:u32=1&kind:u32=9&value:u32=1",
         NO_INTERFACE},
        {"unremark_port_priority?ifname:txt=no&acl_id:u32=10&rule_id:u32=1", NO_INTERFACE},
        {"clear_port_remark?ifname:txt=no", NO_INTERFACE},
        {"get_port_remark?ifname:txt=no", NO_INTERFACE},
        {"set_port_cos_value?ifname:txt=no&value:u32=1", NO_INTERFACE},
        {"get_port_cos_value?ifname:txt=no", NO_INTERFACE},
        {"remark_vlan_priority?vlan_id:u32=99&acl_id:u32=10&rule_id:u32=1&kind:u32=9&value:u32=1",
         NO_VLAN},
        {"unremark_vlan_priority?vlan_id:u32=99&acl_id:u32=10&rule_id:u32=1", NO_VLAN},
        {"clear_vlan_remark?vlan_id:u32=99", NO_VLAN},
        {"get_vlan_remark?vlan_id:u32=99", NO_VLAN}});
}

TEST_F(Remarks, AllPortsAreRemarkedAndUnremarkedWhateverOneRefuses) {
  hold({{"remark_port_priority?ifname:txt=lag1&acl_id:u32=10&rule_id:u32=1&kind:u32=0&value:u32=5",
         "100"},
        {"remark_all_port_priority?acl_id:u32=10&rule_id:u32=1&kind:u32=1&value:u32=6", "100"},
        {"remark_all_port_priority?acl_id:u32=10&rule_id:u32=2&kind:u32=1&value:u32=9", "100"},
        {"get_port_remark?ifname:txt=vlan-if",
         "100 acl_ids:list=:u32=10&rule_ids:list=:u32=1&kinds:list=:u32=1&values:list=:u32=6"},
        {"get_port_remark?ifname:txt=lag1",
         "100 acl_ids:list=:u32=10&rule_ids:list=:u32=1&kinds:list=:u32=0&values:list=:u32=5"},
        {"unremark_port_priority?ifname:txt=lag1&acl_id:u32=10&rule_id:u32=1", "100"},
        {"unremark_all_port_priority?acl_id:u32=10&rule_id:u32=1", "100"},
        {"get_port_remark?ifname:txt=vlan-if", NO_REMARKS},
        {"remark_all_port_priority?acl_id:u32=10&rule_id:u32=2&kind:u32=1&value:u32=1", "100"},
        {"clear_all_port_remark", "100"},
        {"get_port_remark?ifname:txt=eth-0/1/1", NO_REMARKS}});
}

TEST_F(Remarks, KeepTheirRuleAlsoOnceItsFilterIsCleared) {
  hold({{"set_port_packet_filter?ifname:txt=lag1&acl:u32=10&rule:u32=1", "100"},
        {"remark_port_priority?ifname:txt=lag1&acl_id:u32=10&rule_id:u32=1&kind:u32=1&value:u32=1",
         "100"},
        {"clear_port_packet_filters?ifname:txt=lag1", "100"},
        {"delete_rule?acl:u32=10&rule:u32=1", "102 failed to delete rule."}});
  expect_still_used("port lag1");
  hold({{"clear_port_remark?ifname:txt=lag1", "100"}, {"delete_acl?acl:u32=10", "100"}});
}

TEST_F(Remarks, AVlanThatGoesReleasesTheRulesBoundToIt) {
  hold({{"set_vlan_packet_filter?vlan:u32=10&acl:u32=10&rule:u32=1", "100"},
        {"remark_vlan_priority?vlan_id:u32=10&acl_id:u32=10&rule_id:u32=2&kind:u32=1&value:u32=1",
         "100"}});
  EXPECT_EQ(vlan_event(0, 10), "100");
  hold(
      {{"delete_rule?acl:u32=10&rule:u32=1", "100"}, {"delete_rule?acl:u32=10&rule:u32=2", "100"}});
  EXPECT_EQ(vlan_event(1, 10), "100");
  hold({{"get_vlan_packet_filters?vlan:u32=10", NO_FILTERS},
        {"get_vlan_remark?vlan_id:u32=10", NO_REMARKS}});
}

TEST_F(Remarks, ThePortsOwnValueIsKept) {
  hold({{"get_port_cos_value?ifname:txt=lag1", "100 value:u32=0"},
        {"set_port_cos_value?ifname:txt=lag1&value:u32=4294967295", "100"},
        {"get_port_cos_value?ifname:txt=lag1", "100 value:u32=4294967295"},
        {"get_port_cos_value?ifname:txt=vlan-if", "100 value:u32=0"}});
}

class WithoutPorts : public RealDaemon {
 protected:
  void SetUp() override { start_without_switch(); }
};

TEST_F(WithoutPorts, TheCommandsOnAllOfThemAnswerOkay) {
  hold({{"set_all_ports_packet_filter?acl:u32=1&rule:u32=1", "100"},
        {"delete_all_ports_packet_filter?acl:u32=1&rule:u32=1", "100"},
        {"clear_all_packet_filters", "100"},
        {"remark_all_port_priority?acl_id:u32=1&rule_id:u32=1&kind:u32=0&value:u32=0", "100"},
        {"unremark_all_port_priority?acl_id:u32=1&rule_id:u32=1", "100"},
        {"clear_all_port_remark", "100"}});
}

}  // namespace
