#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/big_switch.h"
#include "bench/direct_target.h"
#include "bench/growth.h"
#include "bench/measure.h"
#include "bench/store_sections.h"
#include "policy/store/policy_port_info.h"
#include "policy/store/policy_vlan_info.h"

namespace {

constexpr std::size_t ROUNDS = 3;

struct Large {
  std::size_t things;    // ACLs, time ranges, rules of ACL 1, and bindings and remarks of
                         // the first port and of VLAN 1
  std::size_t bindings;  // on all ports and VLANs
};

struct Step {
  const char* request;
  XrlErrorCode wanted = XrlErrorCode::OKAY;
};

constexpr const char* LIST_OF_8 = ":u32=0,:u32=1,:u32=2,:u32=3,:u32=4,:u32=5,:u32=6,:u32=7";

// In an order in which each has something to do; {8} is a list of eight.
constexpr Step STEPS[] = {
    {"common/0.1/get_target_name"},
    {"common/0.1/get_version"},
    {"common/0.1/get_status"},
    {"profile/0.1/list"},
    {"profile/0.1/enable?pname:txt=policy_profile1"},
    {"create_time_range?name:txt=new&number1:u32=1&number2:u32=2&flag:bool=true&number3:u32=3"
     "&number4:u32=4"},
    {"get_time_range?name:txt=new"},
    {"get_time_ranges"},
    {"delete_time_range?name:txt=new"},
    {"create_acl?acl:u32=4000000000&type:u32=1"},
    {"set_acl_description?acl:u32=4000000000&description:txt=new"},
    {"get_acl_description?acl:u32=4000000000"},
    {"unset_acl_description?acl:u32=4000000000"},
    {"get_acls"},
    {"delete_acl?acl:u32=4000000000"},
    {"create_rule?acl:u32=1&rule:u32=4000000000&action:u32=1&flags:list=:u32=7,:u32=8,:u32=11,"
     ":u32=12,:u32=13,:u32=20&values:list=:txt=10.1.2.0/24,:txt=172.16.1.2/32,:txt=6,"
     ":txt=1024-65535,:txt=443,:txt=46"},
    {"set_rule_description?acl:u32=1&rule:u32=4000000000&description:txt=new"},
    {"get_rule_description?acl:u32=1&rule:u32=4000000000"},
    {"get_rule?acl:u32=1&rule:u32=4000000000"},
    {"unset_rule_description?acl:u32=1&rule:u32=4000000000"},
    {"get_rules?acl:u32=1"},
    {"set_port_packet_filter?ifname:txt=eth-0/3/7&acl:u32=1&rule:u32=4000000000"},
    {"delete_port_packet_filter?ifname:txt=eth-0/3/7&acl:u32=1&rule:u32=4000000000"},
    {"set_vlan_packet_filter?vlan:u32=777&acl:u32=1&rule:u32=4000000000"},
    {"delete_vlan_packet_filter?vlan:u32=777&acl:u32=1&rule:u32=4000000000"},
    {"set_all_ports_packet_filter?acl:u32=1&rule:u32=4000000000"},
    {"remark_all_port_priority?acl_id:u32=1&rule_id:u32=4000000000&kind:u32=0&value:u32=46"},
    {"unremark_all_port_priority?acl_id:u32=1&rule_id:u32=4000000000"},
    {"delete_all_ports_packet_filter?acl:u32=1&rule:u32=4000000000"},
    {"remark_port_priority?ifname:txt=eth-0/3/7&acl_id:u32=1&rule_id:u32=4000000000&kind:u32=0"
     "&value:u32=46"},
    {"unremark_port_priority?ifname:txt=eth-0/3/7&acl_id:u32=1&rule_id:u32=4000000000"},
    {"remark_vlan_priority?vlan_id:u32=777&acl_id:u32=1&rule_id:u32=4000000000&kind:u32=0"
     "&value:u32=46"},
    {"unremark_vlan_priority?vlan_id:u32=777&acl_id:u32=1&rule_id:u32=4000000000"},
    {"delete_rule?acl:u32=1&rule:u32=4000000000"},
    {"get_port_packet_filters?ifname:txt=eth-0/1/1"},
    {"get_vlan_packet_filters?vlan:u32=1"},
    {"get_port_remark?ifname:txt=eth-0/1/1"},
    {"get_vlan_remark?vlan_id:u32=1"},
    {"set_cos_flag?flag:bool=true"},
    {"get_cos_flag"},
    {"set_schedule_mode?mode:u32=1"},
    {"get_schedule_mode"},
    {"set_port_cos_value?ifname:txt=eth-0/3/7&value:u32=1"},
    {"get_port_cos_value?ifname:txt=eth-0/3/7"},
    {"get_cos_mapping?priorities:list={8}"},
    {"set_dscp_queue?dscps:list={8}&queues:list={8}"},
    {"get_dscp_queue?dscps:list={8}"},
    {"set_priority_queue?priorities:list={8}&queues:list={8}"},
    {"get_priority_queue?priorities:list={8}"},
    {"set_schedule_algorithm?algorithm:u32=1&weights:list=:u32=1,:u32=2,:u32=3,:u32=4"},
    {"get_schedule_algorithm"},
    {"card_state_observer/0.1/card_state_change?card_id:u32=17&card_state:u32=7"},
    {"card_state_observer/0.1/card_state_change?card_id:u32=17&card_state:u32=0"},
    {"vlan_observer/0.1/vlan_event?event:u32=0&vlan_id:u32=777"},
    {"vlan_observer/0.1/vlan_event?event:u32=1&vlan_id:u32=777"},
    {"delete_acl?acl:u32=1", XrlErrorCode::COMMAND_FAILED},
    {"clear_port_packet_filters?ifname:txt=eth-0/1/1"},
    {"clear_port_remark?ifname:txt=eth-0/1/1"},
    {"clear_vlan_packet_filters?vlan:u32=1"},
    {"clear_vlan_remark?vlan_id:u32=1"},
    {"clear_all_port_remark"},
    {"clear_all_packet_filters"},
    {"delete_acl?acl:u32=1"},
    {"clear_time_ranges"},
};

std::string with_lists(std::string request) {
  const std::string mark = "{8}";
  for (std::size_t at = 0; (at = request.find(mark)) != std::string::npos;) {
    request.replace(at, mark.size(), LIST_OF_8);
  }
  return request;
}

void bind_all_rules(PolicyInfo& record, std::size_t rules) {
  for (std::uint32_t rule = 0; rule < rules; ++rule) {
    bind(record, {1, rule});
    if (record.actions().set_action({1, rule}, 0, rule % 64) != 0) give_up("a remark is refused");
  }
}

void fill(PolicyTree& tree, const Large& large) {
  create_ports(tree);
  create_vlans(tree);
  (void)create_acl(tree, 1, large.things);
  for (std::uint32_t i = 2; i <= large.things; ++i) {
    (void)create_acl(tree, i, 0);
    if (tree.find_acl(i)->set_description("ACL " + std::to_string(i)) != 0) give_up("memory");
  }
  for (std::size_t i = 0; i < large.things; ++i) {
    if (tree.create_time_range("range " + std::to_string(i), 8, 18, true, 1, 5) != 0) {
      give_up("a time range is refused");
    }
  }
  PolicyInfo& port = *tree.find_port(port_name(0));
  PolicyInfo& vlan = *tree.find_vlan(1);
  bind_all_rules(port, large.things);
  bind_all_rules(vlan, large.things);
  std::size_t next = 0;
  for (PolicyInfo* record : records_of(tree)) {
    if (record == &port || record == &vlan) continue;
    for (std::size_t i = 0; i < large.bindings / RECORDS; ++i, ++next) {
      bind(*record, {1, static_cast<std::uint32_t>(next % large.things)});
    }
  }
}

std::vector<double> seconds_of_steps(const Large& large) {
  DirectTarget target;
  fill(target.tree(), large);
  std::vector<double> seconds;
  for (const Step& step : STEPS) {
    const DirectTarget::Request request = target.request(with_lists(step.request));
    seconds.push_back(DirectTarget::cpu_seconds_of(request, step.wanted));
  }
  return seconds;
}

}  // namespace

void measure_longest(std::size_t largest) {
  const Large large{std::min<std::size_t>(largest, 100000),
                    std::min<std::size_t>(largest, 800) * RECORDS};
  std::printf(
      "How long each command keeps the loop, the longest of %zu, at %s ACLs, time ranges, rules "
      "of\nACL 1 and filters and remarks of eth-0/1/1 and of VLAN 1, and %s filters on all %u "
      "ports and %u VLANs\n",
      ROUNDS, short_size(large.things).c_str(), short_size(large.bindings).c_str(), PORTS,
      LAST_VLAN);
  std::vector<double> longest(std::size(STEPS));
  for (std::size_t round = 0; round < ROUNDS; ++round) {
    const std::vector<double> seconds = in_fresh_process([&] { return seconds_of_steps(large); });
    for (std::size_t step = 0; step < longest.size(); ++step) {
      longest[step] = std::max(longest[step], seconds[step]);
    }
  }
  struct Row {
    double seconds;
    std::string text;
  };
  std::vector<Row> rows;
  for (std::size_t step = 0; step < longest.size(); ++step) {
    rows.push_back({longest[step], STEPS[step].request});
  }
  std::stable_sort(rows.begin(), rows.end(),
                   [](const Row& a, const Row& b) { return a.seconds > b.seconds; });
  constexpr std::size_t WIDTH = 80;
  for (const Row& row : rows) {
    std::printf("%12.4f ms  %s\n", row.seconds * 1e3, row.text.substr(0, WIDTH).c_str());
  }
  std::printf("set_cos_mapping is measured by propagation_bench: until it is answered\n");
}
