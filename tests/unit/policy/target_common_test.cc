#include <memory>

#include "tests/unit/policy/target_fixture.h"

namespace {

using Common = TargetFixture;
using Handlers = TargetFixture;

TEST_F(Common, TargetNameIsThatOfTheCommandMap) {
  EXPECT_EQ(call("common/0.1/get_target_name"), "100 name:txt=policy");
}

TEST_F(Common, VersionIsAlwaysTheSame) {
  EXPECT_EQ(call("common/0.1/get_version"), "100 version:txt=policy/0.0");
  ASSERT_EQ(call("common/0.1/shutdown"), OKAY);
  EXPECT_EQ(call("common/0.1/get_version"), "100 version:txt=policy/0.0");
}

TEST_F(Common, StatusIsReadyEvenBeforeStartUp) {
  EXPECT_FALSE(_target.is_running());
  EXPECT_EQ(call("common/0.1/get_status"), "100 status:u32=3&reason:txt=ready");
}

TEST_F(Common, StatusIsShuttingDownFromTheShutdownCommandOn) {
  ASSERT_EQ(call("common/0.1/shutdown"), OKAY);
  EXPECT_EQ(call("common/0.1/get_status"), "100 status:u32=4&reason:txt=");
  EXPECT_EQ(call("common/0.1/get_status"), "100 status:u32=4&reason:txt=");
}

TEST_F(Common, ShutdownOnlySetsTheFlag) {
  ASSERT_EQ(_target.startup(), 0);
  const auto sent = _router.sent();
  EXPECT_FALSE(_target.is_shutdown_requested());
  EXPECT_EQ(call("common/0.1/shutdown"), OKAY);
  EXPECT_TRUE(_target.is_shutdown_requested());
  EXPECT_TRUE(_target.is_running());
  EXPECT_EQ(_router.sent(), sent);
  EXPECT_EQ(_target.status(), SERVICE_READY);
}

TEST_F(Common, StatusChangeOfTheMirrorChangesNothing) {
  _target.status_change(nullptr, SERVICE_READY, SERVICE_FAILED);
  EXPECT_EQ(_target.status(), SERVICE_READY);
  EXPECT_FALSE(_target.is_running());
  EXPECT_EQ(_router.sent(), Texts{});
}

TEST_F(Common, TheServiceHasNoNameOfItsOwn) {
  EXPECT_EQ(_target.service_name(), "Unknown");
}

TEST_F(Common, ConstructionSendsNothing) {
  EXPECT_EQ(_router.sent(), Texts{});
  EXPECT_FALSE(_target.is_running());
  EXPECT_FALSE(_target.is_shutdown_requested());
  EXPECT_FALSE(_target.is_finder_cardmgr_registered());
  EXPECT_FALSE(_target.is_finder_vlan_registered());
  EXPECT_FALSE(_target.is_cardmgr_registered());
  EXPECT_FALSE(_target.is_vlan_alive());
}

TEST_F(Handlers, StandInTheOrderOfTheInterface) {
  const Texts expected{
      "common/0.1/get_target_name",
      "common/0.1/get_version",
      "common/0.1/get_status",
      "common/0.1/shutdown",
      "finder_event_observer/0.1/xrl_target_birth",
      "finder_event_observer/0.1/xrl_target_death",
      "card_state_observer/0.1/card_state_change",
      "vlan_observer/0.1/vlan_event",
      "policy_config/0.1/create_time_range",
      "policy_config/0.1/delete_time_range",
      "policy_config/0.1/clear_time_ranges",
      "policy_config/0.1/get_time_range",
      "policy_config/0.1/get_time_ranges",
      "policy_config/0.1/create_acl",
      "policy_config/0.1/get_acls",
      "policy_config/0.1/delete_acl",
      "policy_config/0.1/set_acl_description",
      "policy_config/0.1/get_acl_description",
      "policy_config/0.1/unset_acl_description",
      "policy_config/0.1/create_rule",
      "policy_config/0.1/delete_rule",
      "policy_config/0.1/set_rule_description",
      "policy_config/0.1/unset_rule_description",
      "policy_config/0.1/get_rule_description",
      "policy_config/0.1/get_rules",
      "policy_config/0.1/get_rule",
      "policy_config/0.1/set_all_ports_packet_filter",
      "policy_config/0.1/set_port_packet_filter",
      "policy_config/0.1/set_vlan_packet_filter",
      "policy_config/0.1/delete_all_ports_packet_filter",
      "policy_config/0.1/delete_port_packet_filter",
      "policy_config/0.1/delete_vlan_packet_filter",
      "policy_config/0.1/clear_all_packet_filters",
      "policy_config/0.1/clear_port_packet_filters",
      "policy_config/0.1/clear_vlan_packet_filters",
      "policy_config/0.1/get_port_packet_filters",
      "policy_config/0.1/get_vlan_packet_filters",
      "policy_config/0.1/set_cos_flag",
      "policy_config/0.1/get_cos_flag",
      "policy_config/0.1/set_schedule_mode",
      "policy_config/0.1/get_schedule_mode",
      "policy_config/0.1/set_port_cos_value",
      "policy_config/0.1/get_port_cos_value",
      "policy_config/0.1/set_cos_mapping",
      "policy_config/0.1/get_cos_mapping",
      "policy_config/0.1/set_dscp_queue",
      "policy_config/0.1/get_dscp_queue",
      "policy_config/0.1/set_priority_queue",
      "policy_config/0.1/get_priority_queue",
      "policy_config/0.1/remark_all_port_priority",
      "policy_config/0.1/unremark_all_port_priority",
      "policy_config/0.1/clear_all_port_remark",
      "policy_config/0.1/remark_port_priority",
      "policy_config/0.1/unremark_port_priority",
      "policy_config/0.1/clear_port_remark",
      "policy_config/0.1/get_port_remark",
      "policy_config/0.1/remark_vlan_priority",
      "policy_config/0.1/unremark_vlan_priority",
      "policy_config/0.1/clear_vlan_remark",
      "policy_config/0.1/get_vlan_remark",
      "policy_config/0.1/set_schedule_algorithm",
      "policy_config/0.1/get_schedule_algorithm",
      "profile/0.1/enable",
      "profile/0.1/disable",
      "profile/0.1/get_entries",
      "profile/0.1/clear",
      "profile/0.1/list",
  };
  Texts methods;
  for (const auto& command : _router.commands()) methods.push_back(command->method);
  EXPECT_EQ(methods, expected);
  EXPECT_EQ(methods.size(), 67U);
}

TEST_F(Handlers, GoWithTheTarget) {
  FakeRouter router("policy");
  auto target = std::make_unique<XrlPolicyTarget>(_world.loop(), _node, &router, _node.profile());
  target.reset();
  EXPECT_TRUE(router.commands().empty());
}

}  // namespace
