// Every number of every command at its ends, and texts where there is little of
// them or too much, with a real policyd: stored as they are or refused as any other.
#include "framework/xrl/limits.h"
#include "framework/xrl/xrl_args.h"
#include "tests/integration/real_daemon.h"

namespace {

// A request in which N stands for the number under test, and what policyd answers
// when that is 0 and when it is 4294967295.
struct Row {
  const char* request;
  const char* at_zero;            // null: not asked
  const char* at_most = nullptr;  // null: the same, N being the number
};

constexpr Row ROWS[] = {
    {"create_time_range?name:txt=N&number1:u32=N&number2:u32=N&flag:bool=true&number3:u32=N"
     "&number4:u32=N",
     "100"},
    {"get_time_range?name:txt=N",
     "100 number1:u32=N&number2:u32=N&flag:bool=true&number3:u32=N&number4:u32=N"},
    {"create_acl?acl:u32=9&type:u32=N", "100", "102 failed to create acl"},
    {"create_acl?acl:u32=N&type:u32=1", "100"},
    {"set_acl_description?acl:u32=N&description:txt=d", "100"},
    {"get_acl_description?acl:u32=N", "100 description:txt=d"},
    {"unset_acl_description?acl:u32=N", "100"},
    {"create_rule?acl:u32=N&rule:u32=5&action:u32=N&flags:list=&values:list=", "100",
     "102 failed to create acl."},
    {"create_rule?acl:u32=N&rule:u32=6&action:u32=1&flags:list=:u32=N&values:list=:txt=v", "100",
     "102 failed to create acl."},
    {"create_rule?acl:u32=N&rule:u32=N&action:u32=1&flags:list=&values:list=", "100"},
    {"get_rule?acl:u32=N&rule:u32=N", "100 action:u32=1&description:txt=&flags:list=&values:list="},
    {"set_rule_description?acl:u32=N&rule:u32=N&description:txt=d", "100"},
    {"get_rule_description?acl:u32=N&rule:u32=N", "100 description:txt=d"},
    {"unset_rule_description?acl:u32=N&rule:u32=N", "100"},
    {"get_rules?acl:u32=N", "100 rules:list=:u32=0,:u32=5,:u32=6&type:u32=1",
     "100 rules:list=:u32=N&type:u32=1"},
    {"set_all_ports_packet_filter?acl:u32=N&rule:u32=N", "100"},
    {"set_port_packet_filter?ifname:txt=eth-0/1/1&acl:u32=N&rule:u32=N",
     "102 failed to set port packet filter."},
    {"get_port_packet_filters?ifname:txt=eth-0/1/1",
     "100 acls:list=:u32=N&rules:list=:u32=N&extras:list="},
    {"delete_port_packet_filter?ifname:txt=eth-0/1/1&acl:u32=N&rule:u32=N", "100"},
    {"delete_all_ports_packet_filter?acl:u32=N&rule:u32=N", "100"},
    {"set_vlan_packet_filter?vlan:u32=N&acl:u32=N&rule:u32=N", "100"},
    {"get_vlan_packet_filters?vlan:u32=N", "100 acls:list=:u32=N&rules:list=:u32=N&extras:list="},
    {"delete_rule?acl:u32=N&rule:u32=N", "102 failed to delete rule."},
    {"delete_vlan_packet_filter?vlan:u32=N&acl:u32=N&rule:u32=N", "100"},
    {"clear_vlan_packet_filters?vlan:u32=N", "100"},
    {"remark_port_priority?ifname:txt=eth-0/1/1&acl_id:u32=N&rule_id:u32=N&kind:u32=N&value:u32=0",
     "100", "102 failed to remark port prioriy."},
    {"unremark_all_port_priority?acl_id:u32=N&rule_id:u32=N", "100"},
    {"remark_port_priority?ifname:txt=eth-0/1/1&acl_id:u32=N&rule_id:u32=N&kind:u32=2&value:u32=N",
     "100", "102 failed to remark port prioriy."},
    {"remark_all_port_priority?acl_id:u32=N&rule_id:u32=N&kind:u32=2&value:u32=0", "100"},
    {"get_port_remark?ifname:txt=eth-0/1/1",
     "100 acl_ids:list=:u32=N&rule_ids:list=:u32=N&kinds:list=:u32=2&values:list=:u32=0"},
    {"unremark_port_priority?ifname:txt=eth-0/1/1&acl_id:u32=N&rule_id:u32=N", "100"},
    {"remark_vlan_priority?vlan_id:u32=N&acl_id:u32=N&rule_id:u32=N&kind:u32=N&value:u32=0", "100",
     "102 failed to remark vlan prioriy."},
    {"clear_vlan_remark?vlan_id:u32=N", "100"},
    {"remark_vlan_priority?vlan_id:u32=N&acl_id:u32=N&rule_id:u32=N&kind:u32=1&value:u32=N", "100",
     "102 failed to remark vlan prioriy."},
    {"get_vlan_remark?vlan_id:u32=N",
     "100 acl_ids:list=:u32=0&rule_ids:list=:u32=0&kinds:list=:u32=1&values:list=:u32=0",
     "100 acl_ids:list=&rule_ids:list=&kinds:list=&values:list="},
    {"unremark_vlan_priority?vlan_id:u32=N&acl_id:u32=N&rule_id:u32=N", "100",
     "102 failed to unremark vlan priority."},
    {"clear_all_port_remark", "100"},
    {"delete_rule?acl:u32=N&rule:u32=N", "100"},
    {"delete_acl?acl:u32=N", "100"},
    {"set_port_cos_value?ifname:txt=eth-0/1/1&value:u32=N", "100"},
    {"get_port_cos_value?ifname:txt=eth-0/1/1", "100 value:u32=N"},
    {"set_schedule_mode?mode:u32=N", "100", "101 bad mode."},
    {"set_schedule_algorithm?algorithm:u32=N&weights:list=:u32=1,:u32=1,:u32=1,:u32=1", "100",
     "101 bad algorithm."},
    {"set_schedule_algorithm?algorithm:u32=3&weights:list=:u32=N,:u32=N,:u32=N,:u32=N", "100"},
    {"get_schedule_algorithm", "100 algorithm:u32=3&weights:list=:u32=N,:u32=N,:u32=N,:u32=N"},
    {"set_priority_queue?priorities:list=:u32=N&queues:list=:u32=0", "100",
     "101 bad priority and queue."},
    {"set_priority_queue?priorities:list=:u32=0&queues:list=:u32=N", "100",
     "101 bad priority and queue."},
    {"get_priority_queue?priorities:list=:u32=N", "100 queues:list=:u32=0", "101 bad priority."},
    {"set_dscp_queue?dscps:list=:u32=N&queues:list=:u32=2", "100", "101 bad dscp and queue."},
    {"set_dscp_queue?dscps:list=:u32=9&queues:list=:u32=N", "100", "101 bad dscp and queue."},
    {"get_dscp_queue?dscps:list=:u32=N", "100 queues:list=:u32=0", "101 bad dscp."},
    // At 0 these would reach the line cards, which is another test's matter.
    {"set_cos_mapping?priorities:list=:u32=N&queues:list=:u32=2", nullptr,
     "101 bad priority and queue."},
    {"set_cos_mapping?priorities:list=:u32=0&queues:list=:u32=N", nullptr,
     "101 bad priority and queue."},
    {"get_cos_mapping?priorities:list=:u32=N", "100 queues:list=:u32=2", "101 bad priority."},
};

std::string with_number(std::string text, const std::string& number) {
  for (std::size_t at = 0; (at = text.find('N', at)) != std::string::npos; at += number.size()) {
    text.replace(at, 1, number);
  }
  return text;
}

class ExtremeNumbers : public RealDaemon, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(ExtremeNumbers, AreNumbersLikeOthersInEveryArgumentOfEveryCommand) {
  start_all();
  const bool at_most = GetParam() != 0;
  const std::string number = std::to_string(GetParam());
  ASSERT_EQ(vlan_event(1, GetParam()), "100");
  for (const Row& row : ROWS) {
    const char* answer = at_most && row.at_most != nullptr ? row.at_most : row.at_zero;
    const std::string request = with_number(row.request, number);
    if (answer == nullptr) continue;
    EXPECT_EQ(policy(request), with_number(answer, number)) << request;
  }
  EXPECT_EQ(vlan_event(0, GetParam()), "100");
  EXPECT_EQ(vlan_event(GetParam(), 10), at_most ? "101 event is bad." : "100");
  EXPECT_EQ(card_event(GetParam(), 7), "100");
  EXPECT_EQ(card_event(GetParam(), GetParam()), at_most ? "101 card_state is bad." : "100");
}

INSTANTIATE_TEST_SUITE_P(, ExtremeNumbers, testing::Values(0U, 0xffffffffU));

class ExtremeTexts : public RealDaemon {
 protected:
  void SetUp() override { start_without_switch(); }
};

TEST_F(ExtremeTexts, EmptyOnesAreTextsLikeOthers) {
  hold({{"create_time_range?name:txt=&number1:u32=1&number2:u32=2&flag:bool=false&number3:u32=3"
         "&number4:u32=4",
         "100"},
        {"create_time_range?name:txt=&number1:u32=1&number2:u32=2&flag:bool=false&number3:u32=3"
         "&number4:u32=4",
         "102 failed to create time range."},
        {"get_time_ranges",
         "100 names:list=:txt=&number1s:list=:u32=1&number2s:list=:u32=2&flags:list=:u32=0"
         "&number3s:list=:u32=3&number4s:list=:u32=4"},
        {"delete_time_range?name:txt=", "100"},
        {"get_time_range?name:txt=", "102 time range does not exist."},
        {"create_acl?acl:u32=1&type:u32=0", "100"},
        {"set_acl_description?acl:u32=1&description:txt=", "100"},
        {"get_acl_description?acl:u32=1", "100 description:txt="},
        {"create_rule?acl:u32=1&rule:u32=1&action:u32=1&flags:list=:u32=4,:u32=3"
         "&values:list=:txt=,:txt=",
         "100"},
        {"get_rule?acl:u32=1&rule:u32=1",
         "100 action:u32=1&description:txt=&flags:list=:u32=3,:u32=4&values:list=:txt=,:txt="},
        {"get_port_remark?ifname:txt=", "102 the interface does not exist."},
        {"set_port_packet_filter?ifname:txt=&acl:u32=1&rule:u32=1",
         "102 the interface does not exist."}});
  EXPECT_EQ(ask("policy/profile/0.1/enable?pname:txt="),
            "102 The profile variable  does not exist.");
  EXPECT_EQ(ask("policy/finder_event_observer/0.1/xrl_target_birth?target_class:txt="
                "&target_instance:txt="),
            "100");
}

TEST_F(ExtremeTexts, NamesOfTheGreatestLengthAndOfEveryByteAreComparedWhole) {
  std::string name;
  for (std::size_t i = 0; i < xrl_limits::MAX_TEXT_BYTES; ++i) name += static_cast<char>(i % 256);
  std::string other = name;
  other.back() = static_cast<char>(other.back() + 1);
  const auto request = [](const std::string& method, const std::string& argument,
                          const std::string& text) {
    XrlArgs args;
    args.add({argument, text});
    return method + "?" + args.str();
  };
  const std::string values =
      "&number1:u32=1&number2:u32=2&flag:bool=true&number3:u32=3&number4:u32=4";
  EXPECT_EQ(policy(request("create_time_range", "name", name) + values), "100");
  EXPECT_EQ(policy(request("create_time_range", "name", name) + values),
            "102 failed to create time range.");
  EXPECT_EQ(policy(request("get_time_range", "name", name)), "100 " + values.substr(1));
  EXPECT_EQ(policy(request("get_time_range", "name", other)), "102 time range does not exist.");
  EXPECT_EQ(policy(request("get_port_cos_value", "ifname", name)),
            "102 the interface does not exist.");
  EXPECT_EQ(policy(request("delete_time_range", "name", name)), "100");
  hold({{"get_time_ranges",
         "100 names:list=&number1s:list=&number2s:list=&flags:list=&number3s:list="
         "&number4s:list="}});
}

TEST_F(ExtremeTexts, AListOf65536WeightsIsNotOneOfFour) {
  XrlAtomList weights;
  for (std::uint32_t i = 0; i < 65536; ++i) weights.append(i);
  XrlArgs args;
  args.add({"algorithm", 1U});
  args.add({"weights", weights});
  EXPECT_EQ(policy("set_schedule_algorithm?" + args.str()), "101 bad weight.");
  hold({{"get_schedule_algorithm",
         "100 algorithm:u32=0&weights:list=:u32=12,:u32=8,:u32=4,:u32=1"}});
}

}  // namespace
