#include <algorithm>
#include <cstdio>
#include <random>
#include <string>

#include "bench/big_switch.h"
#include "bench/direct_target.h"
#include "bench/growth.h"
#include "bench/measure.h"
#include "bench/store_sections.h"
#include "bench/yardstick.h"

namespace {

constexpr double MOST_RATIO = 2;
constexpr std::size_t SAMPLES = 2001;

// The ACL whose rules are bound everywhere, except each fifth of them, and the
// one of as many rules of which the last VLAN alone uses one.
constexpr std::uint32_t BOUND = 1;
constexpr std::uint32_t BOUND_ON_LAST_VLAN = 2;
constexpr std::uint32_t EACH_UNBOUND = 5;

struct Size {
  std::size_t rules;     // of either ACL, a multiple of EACH_UNBOUND
  std::size_t bindings;  // on all ports and VLANs, at most four fifths of the rules on each
};

constexpr const char* COMMANDS[] = {"create_rule",  "delete_rule", "delete_acl",  "set_port_",
                                    "delete_port_", "set_vlan_",   "delete_vlan_"};
// Behind them, of as many rules as there are: what no store can be faster than.
constexpr const char* YARDSTICKS[] = {"(map erase)", "(read)"};
constexpr std::size_t BYTES_OF_RULE = 192;

// The n-th rule that is to be bound.
std::uint32_t bound_rule(std::size_t n) {
  return static_cast<std::uint32_t>(n / (EACH_UNBOUND - 1) * EACH_UNBOUND + n % (EACH_UNBOUND - 1));
}

void fill(PolicyTree& tree, const Size& size) {
  create_ports(tree);
  create_vlans(tree);
  (void)create_acl(tree, BOUND, size.rules);
  (void)create_acl(tree, BOUND_ON_LAST_VLAN, size.rules);
  bind(*records_of(tree).back(), {BOUND_ON_LAST_VLAN, 0});
  // Each record binds a run of rules that begins somewhere else, so that all
  // rules are bound about equally often.
  const std::size_t rules = size.rules / EACH_UNBOUND * (EACH_UNBOUND - 1);
  const std::size_t each = size.bindings / RECORDS;
  std::size_t next = 0;
  for (PolicyInfo* record : records_of(tree)) {
    for (std::size_t i = 0; i < each; ++i, ++next) bind(*record, {BOUND, bound_rule(next % rules)});
  }
}

// Seconds that each of COMMANDS and YARDSTICKS takes, the middle one of many on random
// rules, ports and VLANs.
std::vector<double> command_seconds(const Size& size) {
  DirectTarget target;
  fill(target.tree(), size);
  std::minstd_rand random(1);
  const auto below = [&](std::size_t end) { return random() % end; };
  const auto text = [](std::size_t number) { return std::to_string(number); };
  std::vector<std::vector<double>> seconds(std::size(COMMANDS));
  for (std::size_t sample = 0; sample < SAMPLES; ++sample) {
    const std::string rule =
        text(below(size.rules / EACH_UNBOUND) * EACH_UNBOUND + EACH_UNBOUND - 1);
    const std::string key = "acl:u32=" + text(BOUND) + "&rule:u32=" + rule;
    const std::string port = "?ifname:txt=" + port_name(static_cast<std::uint32_t>(below(PORTS)));
    const std::string vlan = "?vlan:u32=" + text(1 + below(LAST_VLAN));
    const auto time = [&](std::size_t command, const std::string& request,
                          XrlErrorCode wanted = XrlErrorCode::OKAY) {
      seconds[command].push_back(DirectTarget::seconds_of(target.request(request), wanted));
    };
    time(1, "delete_rule?" + key);
    time(0, "create_rule?" + key +
                "&action:u32=1&flags:list=:u32=7,:u32=8,:u32=11,:u32=12,:u32=13,:u32=20"
                "&values:list=:txt=10.1.2.0/24,:txt=172.16.1.2/32,:txt=6,:txt=1024-65535,"
                ":txt=443,:txt=46");
    time(2, "delete_acl?acl:u32=" + text(BOUND_ON_LAST_VLAN), XrlErrorCode::COMMAND_FAILED);
    time(3, "set_port_packet_filter" + port + "&" + key);
    time(4, "delete_port_packet_filter" + port + "&" + key);
    time(5, "set_vlan_packet_filter" + vlan + "&" + key);
    time(6, "delete_vlan_packet_filter" + vlan + "&" + key);
  }
  std::vector<double> medians;
  for (const std::vector<double>& each : seconds) medians.push_back(median(each));
  medians.push_back(seconds_of_map_erase(size.rules, BYTES_OF_RULE, SAMPLES));
  medians.push_back(seconds_of_dependent_read(size.rules, BYTES_OF_RULE));
  return medians;
}

// A row of the table for each size, and the worst ratio per tenfold of what
// `grows` names.
bool print_growth(const std::vector<Size>& sizes, std::size_t Size::*grows, const char* name) {
  std::vector<std::vector<double>> costs(std::size(COMMANDS) + std::size(YARDSTICKS));
  std::vector<std::size_t> grown;
  for (const Size& size : sizes) {
    const std::vector<double> seconds = in_fresh_process([&] { return command_seconds(size); });
    std::printf("%8s %9s", short_size(size.rules).c_str(), short_size(size.bindings).c_str());
    for (std::size_t command = 0; command < seconds.size(); ++command) {
      costs[command].push_back(seconds[command]);
      std::printf(" %12.0f", seconds[command] * 1e9);
    }
    std::printf("\n");
    grown.push_back(size.*grows);
  }
  double worst = 1;
  std::printf("ratio per tenfold ");
  for (std::size_t column = 0; column < costs.size(); ++column) {
    const double ratio = worst_ratio_per_tenfold(grown, costs[column]);
    std::printf(" %12.2f", ratio);
    if (column < std::size(COMMANDS)) worst = std::max(worst, ratio);
  }
  std::printf("\n%s, worst ratio %.2f (%s)\n\n", name, worst, at_most(worst, MOST_RATIO).c_str());
  std::fflush(stdout);
  return worst <= MOST_RATIO;
}

}  // namespace

bool measure_growth(std::size_t largest) {
  std::printf(
      "One command, ns; set_ and delete_ are the packet filters; delete_acl is refused for the "
      "last VLAN\n%8s %9s",
      "rules", "bindings");
  for (const char* command : COMMANDS) std::printf(" %12s", command);
  for (const char* yardstick : YARDSTICKS) std::printf(" %12s", yardstick);
  std::printf("\n");
  const std::size_t few = 8 * RECORDS;
  std::vector<Size> by_rules{{10, few}, {100, few}};
  for (const std::size_t rules : tenfold_sizes(largest)) by_rules.push_back({rules, few});
  const std::size_t rules = std::min<std::size_t>(largest, 100000);
  std::vector<Size> by_bindings{{rules, RECORDS}, {rules, few}};
  if (largest >= 1000) by_bindings.push_back({rules, 80 * RECORDS});
  if (largest >= 10000) by_bindings.push_back({rules, 800 * RECORDS});
  const bool flat = print_growth(by_rules, &Size::rules, "by rules");
  return print_growth(by_bindings, &Size::bindings, "by bindings") && flat;
}
