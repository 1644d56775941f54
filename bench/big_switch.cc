#include "bench/big_switch.h"

#include <array>
#include <string_view>

#include "bench/measure.h"
#include "policy/store/policy_port_info.h"
#include "policy/store/policy_vlan_info.h"

namespace {

constexpr std::uint32_t PORTS_PER_SLOT = 64;

void require(bool done, const char* what) {
  if (!done) give_up(std::string(what).append(" is refused"));
}

}  // namespace

std::string port_name(std::uint32_t port) {
  return "eth-0/" + std::to_string(1 + port / PORTS_PER_SLOT) + "/" +
         std::to_string(1 + port % PORTS_PER_SLOT);
}

void create_ports(PolicyTree& tree, std::uint32_t ports) {
  for (std::uint32_t port = 0; port < ports; ++port) {
    require(tree.create_port(port_name(port)) == 0, "a port");
  }
}

void create_vlans(PolicyTree& tree, std::uint32_t last) {
  for (std::uint32_t vlan = 1; vlan <= last; ++vlan) {
    require(tree.create_vlan(vlan) == 0, "a VLAN");
  }
}

std::vector<PolicyInfo*> records_of(PolicyTree& tree) {
  std::vector<std::string> ports;
  std::vector<std::uint32_t> vlans;
  tree.get_port_names(ports);
  tree.get_vlan_ids(vlans);
  std::vector<PolicyInfo*> records;
  for (const std::string& port : ports) records.push_back(tree.find_port(port));
  for (const std::uint32_t vlan : vlans) records.push_back(tree.find_vlan(vlan));
  return records;
}

std::size_t create_acl(PolicyTree& tree, std::uint32_t acl, std::size_t rules) {
  require(tree.create_acl(acl, 0) == 0, "an ACL");
  PolicyAclInfo& info = *tree.find_acl(acl);
  std::size_t text_bytes = 0;
  for (std::size_t rule = 0; rule < rules; ++rule) {
    const RuleValues texts = rule_values(rule);
    std::array<std::string_view, FIELDS_OF_RULE> values;
    for (std::size_t field = 0; field < FIELDS_OF_RULE; ++field) {
      values[field] = texts[field];
      text_bytes += texts[field].size();
    }
    require(info.create_rule(static_cast<std::uint32_t>(rule), PolicyRuleInfo::ACTION_REMARKABLE,
                             RULE_FIELDS, values) == 0,
            "a rule");
  }
  return text_bytes;
}

void bind(PolicyInfo& record, PolicyBindingKey key) {
  require(record.add_filter(key) == 0, "a filter");
}
