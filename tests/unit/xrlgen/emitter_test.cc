#include "framework/xrlgen/emitter.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "framework/xrlgen/checker.h"
#include "framework/xrlgen/layout.h"
#include "framework/xrlgen/parser.h"

using xrlgen::Generated;
using xrlgen::Interface;

namespace {

std::string read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

std::string golden(const std::string& name) {
  return read(std::string(GOLDEN_DIR) + "/" + name);
}

Interface thermometer() {
  Interface interface = xrlgen::parse_interface("thermometer.xif", golden("thermometer.xif"));
  check_interface(interface);
  return interface;
}

// The words that follow `before` in `text`, up to `after`.
std::vector<std::string> words_between(const std::string& text, const std::string& before,
                                       const std::string& after) {
  std::vector<std::string> words;
  for (std::size_t at = text.find(before); at != std::string::npos; at = text.find(before, at)) {
    at += before.size();
    words.push_back(text.substr(at, text.find(after, at) - at));
  }
  return words;
}

}  // namespace

TEST(ClientStub, LooksLikeThis) {
  const Generated generated = emit_client(thermometer(), "thermometer_xif.h");
  EXPECT_EQ(generated.header, golden("thermometer_xif.h.golden"));
  EXPECT_EQ(generated.source, golden("thermometer_xif.cc.golden"));
}

TEST(TargetBase, LooksLikeThis) {
  const std::vector<Interface> known = {thermometer()};
  const xrlgen::Target target = xrlgen::parse_target("thermometer.tgt", golden("thermometer.tgt"));
  const Generated generated =
      emit_target_base(target, resolve_target(target, known), "thermometer_tgt.h");
  EXPECT_EQ(generated.header, golden("thermometer_tgt.h.golden"));
  EXPECT_EQ(generated.source, golden("thermometer_tgt.cc.golden"));
}

TEST(Layout, OneLineIsUsedWhileItDoes) {
  EXPECT_EQ(xrlgen::fill("  f(", {"a", "b"}, ",", ");"), "  f(a, b);\n");
  EXPECT_EQ(xrlgen::fill("  f(", {}, ",", ");"), "  f();\n");
}

TEST(Layout, WhatDoesNotFitIsAlignedBehindTheHead) {
  const std::string item(60, 'x');
  EXPECT_EQ(xrlgen::fill("  f(", {item, item}, ",", ");"),
            "  f(" + item + ",\n    " + item + ");\n");
}

TEST(Layout, WhatDoesNotFitBehindTheHeadGoesBelowIt) {
  const std::string head = "  " + std::string(60, 'f') + "(";
  const std::string item(60, 'x');
  EXPECT_EQ(xrlgen::fill(head, {item, item}, ",", ");"),
            head + "\n      " + item + ",\n      " + item + ");\n");
}

TEST(Layout, WhatWouldTakeManyLinesBehindTheHeadGoesBelowIt) {
  const std::string head = "  " + std::string(50, 'f') + "(";
  const std::vector<std::string> items(8, std::string(40, 'x'));
  std::string below = head + "\n";
  for (int line = 0; line < 4; ++line) {
    below += "      " + items[0] + ", " + items[0] + (line < 3 ? ",\n" : ");\n");
  }
  EXPECT_EQ(xrlgen::fill(head, items, ",", ");"), below);
}

TEST(Layout, LineHasAtMost100Columns) {
  const std::string item(96 - 6, 'x');
  EXPECT_EQ(xrlgen::fill("    f(", {item + "ab"}, ",", ");"), "    f(" + item + "ab);\n");
  EXPECT_EQ(xrlgen::fill("    f(", {item + "abc"}, ",", ");"),
            "    f(\n        " + item + "abc);\n");
}

// The order is part of what the daemon is: handlers are known by their place.
TEST(PolicyTarget, HasItsHandlersInOrder) {
  const std::vector<std::string> expected = {
      "common_0_1_get_target_name",
      "common_0_1_get_version",
      "common_0_1_get_status",
      "common_0_1_shutdown",
      "finder_event_observer_0_1_xrl_target_birth",
      "finder_event_observer_0_1_xrl_target_death",
      "card_state_observer_0_1_card_state_change",
      "vlan_observer_0_1_vlan_event",
      "policy_config_0_1_create_time_range",
      "policy_config_0_1_delete_time_range",
      "policy_config_0_1_clear_time_ranges",
      "policy_config_0_1_get_time_range",
      "policy_config_0_1_get_time_ranges",
      "policy_config_0_1_create_acl",
      "policy_config_0_1_get_acls",
      "policy_config_0_1_delete_acl",
      "policy_config_0_1_set_acl_description",
      "policy_config_0_1_get_acl_description",
      "policy_config_0_1_unset_acl_description",
      "policy_config_0_1_create_rule",
      "policy_config_0_1_delete_rule",
      "policy_config_0_1_set_rule_description",
      "policy_config_0_1_unset_rule_description",
      "policy_config_0_1_get_rule_description",
      "policy_config_0_1_get_rules",
      "policy_config_0_1_get_rule",
      "policy_config_0_1_set_all_ports_packet_filter",
      "policy_config_0_1_set_port_packet_filter",
      "policy_config_0_1_set_vlan_packet_filter",
      "policy_config_0_1_delete_all_ports_packet_filter",
      "policy_config_0_1_delete_port_packet_filter",
      "policy_config_0_1_delete_vlan_packet_filter",
      "policy_config_0_1_clear_all_packet_filters",
      "policy_config_0_1_clear_port_packet_filters",
      "policy_config_0_1_clear_vlan_packet_filters",
      "policy_config_0_1_get_port_packet_filters",
      "policy_config_0_1_get_vlan_packet_filters",
      "policy_config_0_1_set_cos_flag",
      "policy_config_0_1_get_cos_flag",
      "policy_config_0_1_set_schedule_mode",
      "policy_config_0_1_get_schedule_mode",
      "policy_config_0_1_set_port_cos_value",
      "policy_config_0_1_get_port_cos_value",
      "policy_config_0_1_set_cos_mapping",
      "policy_config_0_1_get_cos_mapping",
      "policy_config_0_1_set_dscp_queue",
      "policy_config_0_1_get_dscp_queue",
      "policy_config_0_1_set_priority_queue",
      "policy_config_0_1_get_priority_queue",
      "policy_config_0_1_remark_all_port_priority",
      "policy_config_0_1_unremark_all_port_priority",
      "policy_config_0_1_clear_all_port_remark",
      "policy_config_0_1_remark_port_priority",
      "policy_config_0_1_unremark_port_priority",
      "policy_config_0_1_clear_port_remark",
      "policy_config_0_1_get_port_remark",
      "policy_config_0_1_remark_vlan_priority",
      "policy_config_0_1_unremark_vlan_priority",
      "policy_config_0_1_clear_vlan_remark",
      "policy_config_0_1_get_vlan_remark",
      "policy_config_0_1_set_schedule_algorithm",
      "policy_config_0_1_get_schedule_algorithm",
      "profile_0_1_enable",
      "profile_0_1_disable",
      "profile_0_1_get_entries",
      "profile_0_1_clear",
      "profile_0_1_list",
  };
  ASSERT_EQ(expected.size(), 67U);
  const Generated generated = [] {
    const std::string root = SOURCE_DIR;
    std::vector<Interface> known;
    for (const char* path :
         {"framework/xrl/interfaces/common.xif", "framework/xrl/interfaces/profile.xif",
          "framework/xrl/interfaces/finder_event_observer.xif",
          "platform/interfaces/card_state_observer.xif", "platform/interfaces/vlan_observer.xif",
          "policy/interfaces/policy_config.xif"})
      known.push_back(xrlgen::parse_interface(path, read(root + "/" + path)));
    const xrlgen::Target target = xrlgen::parse_target(
        "policy/interfaces/policy.tgt", read(root + "/policy/interfaces/policy.tgt"));
    return emit_target_base(target, resolve_target(target, known), "policy_tgt.h");
  }();
  EXPECT_EQ(words_between(generated.header, "virtual XrlCmdError ", "("), expected);
  // In the table of commands a name stands right before the closing brace.
  const std::string table = generated.source.substr(generated.source.find("COMMANDS[] = {"));
  std::vector<std::string> registered = words_between(table, "\",", "}");
  for (std::string& name : registered) name.erase(0, name.find_first_not_of(" \n"));
  EXPECT_EQ(registered, expected);
}
