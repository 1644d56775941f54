// The largest and the oddest values on their way to a real policyd and back.
#include "framework/xrl/limits.h"
#include "framework/xrl/xrl_args.h"
#include "policy/store/store_bounds.h"
#include "tests/integration/real_daemon.h"

namespace {

constexpr std::uint32_t MAX_U32 = 0xffffffffU;

class Limits : public RealDaemon {
 protected:
  void SetUp() override { start_without_switch(); }

  static XrlArgs args(std::vector<XrlAtom> atoms) {
    XrlArgs result;
    for (XrlAtom& atom : atoms) result.add(std::move(atom));
    return result;
  }
  std::string policy_with(const std::string& method, std::vector<XrlAtom> atoms) {
    return plane.client().ask(Xrl{"policy", "policy_config/0.1/" + method, args(std::move(atoms))});
  }
  static std::string okay(std::vector<XrlAtom> atoms) {
    return "100 " + args(std::move(atoms)).str();
  }

  template <typename Element>
  static XrlAtomList list_of(std::size_t count, Element element) {
    XrlAtomList list;
    for (std::size_t i = 0; i < count; ++i) list.append(element(static_cast<std::uint32_t>(i)));
    return list;
  }
};

std::string every_byte() {
  std::string text;
  for (int byte = 0; byte < 256; ++byte) text += static_cast<char>(byte);
  return text;
}

TEST_F(Limits, ListsOf65536NumbersAreReadAndAnswered) {
  constexpr std::size_t COUNT = 65536;
  const XrlAtomList priorities = list_of(COUNT, [](std::uint32_t i) { return i % 8; });
  const XrlAtomList queues = list_of(COUNT, [](std::uint32_t i) { return (i + 3) % 8; });
  EXPECT_EQ(policy_with("set_priority_queue", {{"priorities", priorities}, {"queues", queues}}),
            "100");
  EXPECT_EQ(policy_with("get_priority_queue", {{"priorities", priorities}}),
            okay({{"queues", queues}}));
}

TEST_F(Limits, OneBadNumberBehind65535GoodOnesRefusesThemAll) {
  XrlAtomList priorities = list_of(65535, [](std::uint32_t) { return 0U; });
  XrlAtomList queues = list_of(65535, [](std::uint32_t) { return 5U; });
  priorities.append(8U);
  queues.append(5U);
  EXPECT_EQ(policy_with("set_priority_queue", {{"priorities", priorities}, {"queues", queues}}),
            "101 bad priority and queue.");
  hold({{"get_priority_queue?priorities:list=:u32=0", "100 queues:list=:u32=0"}});
}

TEST_F(Limits, ARuleOf65536FieldsKeepsTheFirstValueOfEach) {
  constexpr std::uint32_t FIELDS = 37;
  hold({{"create_acl?acl:u32=1&type:u32=0", "100"}});
  const auto value = [](std::uint32_t i) { return "value " + std::to_string(i); };
  EXPECT_EQ(policy_with("create_rule",
                        {{"acl", 1U},
                         {"rule", 1U},
                         {"action", 1U},
                         {"flags", list_of(65536, [](std::uint32_t i) { return i % FIELDS; })},
                         {"values", list_of(65536, value)}}),
            "100");
  EXPECT_EQ(policy("get_rule?acl:u32=1&rule:u32=1"),
            okay({{"action", 1U},
                  {"description", ""},
                  {"flags", list_of(FIELDS, [](std::uint32_t i) { return i; })},
                  {"values", list_of(FIELDS, value)}}));
}

TEST_F(Limits, AListOfTheGreatestLengthIsAnsweredAndALongerOneIsNotSent) {
  XrlAtomList dscps =
      list_of(xrl_limits::MAX_LIST_ELEMENTS, [](std::uint32_t i) { return i % 63; });
  EXPECT_EQ(policy_with("get_dscp_queue", {{"dscps", dscps}}),
            okay({{"queues", list_of(xrl_limits::MAX_LIST_ELEMENTS,
                                     [](std::uint32_t i) { return i % 63 / 8; })}}));
  dscps.append(0U);
  EXPECT_EQ(policy_with("get_dscp_queue", {{"dscps", dscps}}), "not sent");
  EXPECT_EQ(ask("policy/common/0.1/get_version"), "100 version:txt=policy/0.0");
}

TEST_F(Limits, TheLeastAndTheGreatestNumbersAreNumbersLikeOthers) {
  for (const std::uint32_t number : {0U, MAX_U32}) {
    const std::string n = std::to_string(number);
    EXPECT_EQ(vlan_event(1, number), "100");
    hold({{"create_acl?acl:u32=" + n + "&type:u32=1", "100"},
          {"create_rule?acl:u32=" + n + "&rule:u32=" + n + "&action:u32=1&flags:list=&values:list=",
           "100"},
          {"set_vlan_packet_filter?vlan:u32=" + n + "&acl:u32=" + n + "&rule:u32=" + n, "100"},
          {"remark_vlan_priority?vlan_id:u32=" + n + "&acl_id:u32=" + n + "&rule_id:u32=" + n +
               "&kind:u32=0&value:u32=0",
           "100"},
          {"get_vlan_packet_filters?vlan:u32=" + n,
           "100 acls:list=:u32=" + n + "&rules:list=:u32=" + n + "&extras:list="},
          {"get_vlan_remark?vlan_id:u32=" + n, "100 acl_ids:list=:u32=" + n +
                                                   "&rule_ids:list=:u32=" + n +
                                                   "&kinds:list=:u32=0&values:list=:u32=0"},
          {"delete_acl?acl:u32=" + n, "102 failed to delete acl"}});
  }
  hold({{"get_acls",
         "100 acls:list=:u32=0,:u32=4294967295&types:list=:u32=1,:u32=1&descriptions:list=:txt=,"
         ":txt="}});
  // Numbers are logged as signed ones.
  const std::string used = "WARNING policyd POLICY +LINE policytree is_acl_used: acl ";
  EXPECT_EQ(take_warnings(2),
            (Lines{used + "0 is still used in vlan 0.", used + "-1 is still used in vlan -1."}));
}

TEST_F(Limits, TextsOfEveryByteComeBackAsTheyWent) {
  const std::string text = every_byte();
  XrlAtomList values;
  values.append(text);
  values.append("");
  hold({{"create_acl?acl:u32=1&type:u32=0", "100"}});
  EXPECT_EQ(policy_with("set_acl_description", {{"acl", 1U}, {"description", text}}), "100");
  EXPECT_EQ(policy("get_acl_description?acl:u32=1"), okay({{"description", text}}));
  EXPECT_EQ(policy_with("create_rule", {{"acl", 1U},
                                        {"rule", 1U},
                                        {"action", 0U},
                                        {"flags", list_of(2, [](std::uint32_t i) { return i; })},
                                        {"values", values}}),
            "100");
  EXPECT_EQ(policy_with("set_rule_description", {{"acl", 1U}, {"rule", 1U}, {"description", text}}),
            "100");
  EXPECT_EQ(policy("get_rule?acl:u32=1&rule:u32=1"),
            okay({{"action", 0U},
                  {"description", text},
                  {"flags", list_of(2, [](std::uint32_t i) { return i; })},
                  {"values", values}}));
  EXPECT_EQ(policy_with("create_time_range", {{"name", text},
                                              {"number1", 0U},
                                              {"number2", MAX_U32},
                                              {"flag", true},
                                              {"number3", 1U},
                                              {"number4", 2U}}),
            "100");
  EXPECT_EQ(policy_with("get_time_range", {{"name", text}}),
            "100 number1:u32=0&number2:u32=4294967295&flag:bool=true&number3:u32=1&number4:u32=2");
}

TEST_F(Limits, ATextOfTheGreatestLengthIsKeptAndALongerOneIsNotSent) {
  std::string text;
  while (text.size() < xrl_limits::MAX_TEXT_BYTES) text += every_byte();
  hold({{"create_acl?acl:u32=1&type:u32=0", "100"}});
  EXPECT_EQ(policy_with("set_acl_description", {{"acl", 1U}, {"description", text}}), "100");
  EXPECT_EQ(policy_with("set_acl_description", {{"acl", 1U}, {"description", text + "x"}}),
            "not sent");
  EXPECT_EQ(policy("get_acl_description?acl:u32=1"), okay({{"description", text}}));
  EXPECT_EQ(policy_with("set_acl_description", {{"acl", 1U}, {"description", ""}}), "100");
  hold({{"get_acl_description?acl:u32=1", "100 description:txt="}});
}

TEST_F(Limits, WhatCouldNotBeListedIsNotStored) {
  const std::string text(xrl_limits::MAX_TEXT_BYTES, 'x');
  constexpr std::uint32_t ACLS = store_bounds::MAX_LISTED_BYTES / xrl_limits::MAX_TEXT_BYTES;
  for (std::uint32_t acl = 0; acl <= ACLS; ++acl) {
    hold({{"create_acl?acl:u32=" + std::to_string(acl) + "&type:u32=0", "100"}});
    EXPECT_EQ(policy_with("set_acl_description", {{"acl", acl}, {"description", text}}),
              acl < ACLS ? "100" : "102 out of memory.");
  }
  EXPECT_EQ(policy("get_acls").substr(0, 4), "100 ");
  hold({{"unset_acl_description?acl:u32=3", "100"}});
  EXPECT_EQ(policy_with("set_acl_description", {{"acl", ACLS}, {"description", text}}), "100");
  EXPECT_EQ(policy("get_acls").substr(0, 4), "100 ");
}

TEST_F(Limits, ARuleOfTheLongestRequestIsReadBackWithADescription) {
  const std::string text(xrl_limits::MAX_TEXT_BYTES, 'x');
  XrlAtomList flags;
  XrlAtomList values;
  for (std::uint32_t field = 0; field < 15; ++field) {
    flags.append(field);
    values.append(text);
  }
  hold({{"create_acl?acl:u32=1&type:u32=0", "100"}});
  ASSERT_EQ(policy_with(
                "create_rule",
                {{"acl", 1U}, {"rule", 1U}, {"action", 0U}, {"flags", flags}, {"values", values}}),
            "100");
  ASSERT_EQ(policy_with("set_rule_description", {{"acl", 1U}, {"rule", 1U}, {"description", text}}),
            "100");
  EXPECT_EQ(policy("get_rule?acl:u32=1&rule:u32=1").substr(0, 4), "100 ");
}

TEST_F(Limits, AnInterfaceOfAnOddNameIsToldOnOneLine) {
  plane.start_chassis(R"({"interfaces": [{"name": "a\nb\u0007"}], "vlans": []})");
  const std::string name = "a%0Ab%07";
  ASSERT_TRUE(until([&] { return has_port(name); }));
  hold({{"create_acl?acl:u32=1&type:u32=0", "100"},
        {"create_rule?acl:u32=1&rule:u32=1&action:u32=1&flags:list=&values:list=", "100"},
        {"set_port_packet_filter?ifname:txt=" + name + "&acl:u32=1&rule:u32=1", "100"},
        {"delete_acl?acl:u32=1", "102 failed to delete acl"}});
  EXPECT_EQ(take_warnings(1), Lines{"WARNING policyd POLICY +LINE policytree is_acl_used: acl 1 is "
                                    "still used in port a\\x0Ab\\x07."});
}

}  // namespace
