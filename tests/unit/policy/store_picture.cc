#include "tests/unit/policy/store_picture.h"

#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "tests/unit/policy/store_samples.h"

namespace {

void draw_acl(std::ostream& out, const PolicyAclInfo& acl) {
  out << "acl " << acl.id() << " type " << acl.type() << " '" << acl.description() << "' used by ";
  if (const PolicyRecordName* user = acl.first_user()) {
    std::visit([&out](const auto& name) { out << name; }, *user);
  } else {
    out << "nobody";
  }
  out << "\n";
  for (const std::uint32_t id : rule_ids_of(acl)) {
    std::uint32_t action = 0;
    std::string description;
    Numbers flags;
    Texts values;
    const PolicyRuleInfo& rule = *acl.find_rule(id);
    rule.get(action, description, flags, values);
    out << " rule " << id << " action " << action << " '" << description << "' "
        << (rule.is_bound() ? "bound" : "free");
    for (std::size_t i = 0; i < flags.size(); ++i) out << " " << flags[i] << "=" << values.at(i);
    out << "\n";
  }
}

void draw_bindings(std::ostream& out, const PolicyInfo& info) {
  out << " filters";
  for (const PolicyBindingKey& key : filters_of(info)) out << " " << key;
  out << " actions";
  for (const PolicyBindingKey& key : action_keys_of(info)) {
    std::uint32_t kind = 0;
    std::uint32_t value = 0;
    EXPECT_EQ(info.actions().get_action(key, kind, value), 0);
    out << " " << key << ":" << kind << "/" << value;
  }
  out << "\n";
}

}  // namespace

std::string picture_of(const PolicyTree& tree) {
  std::ostringstream out;
  for (const std::uint32_t id : acl_ids_of(tree)) draw_acl(out, *tree.find_acl(id));
  Texts ports;
  tree.get_port_names(ports);
  for (const std::string& name : ports) {
    const PolicyPortInfo& port = *tree.find_port(name);
    out << "port " << port.name() << " card " << port.card_id << (port.card_ready ? " ready" : "")
        << (port.special_card ? " special" : "") << (port.lag_member ? " member" : "") << " '"
        << port.lag_name << "' cos " << port.port_cos_value;
    draw_bindings(out, port);
  }
  Numbers vlans;
  tree.get_vlan_ids(vlans);
  for (const std::uint32_t id : vlans) {
    out << "vlan " << tree.find_vlan(id)->vlan_id();
    draw_bindings(out, *tree.find_vlan(id));
  }
  std::vector<const PolicyTimeRange*> ranges;
  tree.get_time_ranges(ranges);
  for (const PolicyTimeRange* range : ranges) {
    out << "time range " << range->name << " " << range->number1 << " " << range->number2 << " "
        << range->flag << " " << range->number3 << " " << range->number4 << "\n";
  }
  return out.str();
}
