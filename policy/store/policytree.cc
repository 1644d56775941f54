#include "policy/store/policytree.h"

#include <new>

#include "framework/base/xlog.h"
#include "policy/store/memory_reserve.h"
#include "policy/store/ordered_records.h"
#include "policy/store/policy_acl_info.h"
#include "policy/store/policy_port_info.h"
#include "policy/store/policy_rule_info.h"
#include "policy/store/policy_vlan_info.h"

PolicyTree::PolicyTree() = default;
PolicyTree::~PolicyTree() = default;

int PolicyTree::create_acl(std::uint32_t id, std::uint32_t type) {
  if (type > PolicyAclInfo::MAX_TYPE) return -1;
  return insert_record(_acls, id, [&] { return std::make_unique<PolicyAclInfo>(*this, id, type); });
}

int PolicyTree::delete_acl(std::uint32_t id) {
  if (is_acl_used(id)) return -1;
  return erase_record(_acls, id);
}

PolicyAclInfo* PolicyTree::find_acl(std::uint32_t id) const {
  return find_record(_acls, id);
}

void PolicyTree::get_acl_ids(std::vector<std::uint32_t>& ids) const {
  append_keys(_acls, ids);
}

bool PolicyTree::find_rule(std::uint32_t acl, std::uint32_t rule) const {
  return find_rule_info(acl, rule) != nullptr;
}

PolicyRuleInfo* PolicyTree::find_rule_info(std::uint32_t acl, std::uint32_t rule) const {
  const PolicyAclInfo* info = find_acl(acl);
  return info == nullptr ? nullptr : info->find_rule(rule);
}

int PolicyTree::get_rule_action(std::uint32_t acl, std::uint32_t rule,
                                std::uint32_t& action) const {
  const PolicyRuleInfo* info = find_rule_info(acl, rule);
  if (info == nullptr) return -1;
  action = info->action();
  return 0;
}

bool PolicyTree::is_acl_used(std::uint32_t id) const {
  const PolicyAclInfo* acl = find_acl(id);
  const PolicyRecordName* user = acl == nullptr ? nullptr : acl->first_user();
  if (user == nullptr) return false;
  // Numbers are logged as signed ones; operators' log filters know the text so.
  const int number = static_cast<int>(id);
  try {
    if (const std::string* port = std::get_if<std::string>(user)) {
      XLOG_WARNING("acl %d is still used in port %s.", number, port->c_str());
    } else {
      const int vlan = static_cast<int>(std::get<std::uint32_t>(*user));
      XLOG_WARNING("acl %d is still used in vlan %d.", number, vlan);
    }
  } catch (const std::bad_alloc&) {
    // With no memory left for the warning the answer is the same.
  }
  return true;
}

bool PolicyTree::is_rule_used(std::uint32_t acl, std::uint32_t rule) const {
  const PolicyRuleInfo* info = find_rule_info(acl, rule);
  return info != nullptr && info->is_bound();
}

int PolicyTree::create_port(std::string_view name) {
  return insert_record(_ports, name, [&] {
    auto port = std::make_unique<PolicyPortInfo>(*this, std::string(name));
    port->card_ready = is_card_up(port->card_id);
    return port;
  });
}

int PolicyTree::delete_port(std::string_view name) {
  return erase_record(_ports, name);
}

PolicyPortInfo* PolicyTree::find_port(std::string_view name) const {
  return find_record(_ports, name);
}

void PolicyTree::get_port_names(std::vector<std::string>& names) const {
  append_keys(_ports, names);
}

int PolicyTree::create_vlan(std::uint32_t id) {
  return insert_record(_vlans, id, [&] { return std::make_unique<PolicyVlanInfo>(*this, id); });
}

int PolicyTree::delete_vlan(std::uint32_t id) {
  return erase_record(_vlans, id);
}

PolicyVlanInfo* PolicyTree::find_vlan(std::uint32_t id) const {
  return find_record(_vlans, id);
}

void PolicyTree::get_vlan_ids(std::vector<std::uint32_t>& ids) const {
  append_keys(_vlans, ids);
}

int PolicyTree::create_time_range(std::string_view name, std::uint32_t number1,
                                  std::uint32_t number2, bool flag, std::uint32_t number3,
                                  std::uint32_t number4) {
  return insert_record(_time_ranges, name, [&] {
    return std::make_unique<PolicyTimeRange>(
        PolicyTimeRange{std::string(name), number1, number2, flag ? 1U : 0U, number3, number4});
  });
}

int PolicyTree::delete_time_range(std::string_view name) {
  erase_record(_time_ranges, name);
  return 0;
}

void PolicyTree::clear_time_ranges() {
  _time_ranges.clear();
}

const PolicyTimeRange* PolicyTree::find_time_range(std::string_view name) const {
  return find_record(_time_ranges, name);
}

void PolicyTree::get_time_ranges(std::vector<const PolicyTimeRange*>& time_ranges) const {
  time_ranges.reserve(time_ranges.size() + _time_ranges.size());
  for (const auto& entry : _time_ranges) time_ranges.push_back(entry.second.get());
}

int PolicyTree::set_card_up(std::uint32_t card_id) {
  return unless_out_of_memory([&] {
    if (_cards.insert(card_id).second) set_card_ready(card_id, true);
    return 0;
  });
}

void PolicyTree::set_card_down(std::uint32_t card_id) {
  if (_cards.erase(card_id) != 0) set_card_ready(card_id, false);
}

void PolicyTree::set_card_ready(std::uint32_t card_id, bool ready) {
  for (const auto& entry : _ports) {
    if (entry.second->card_id == card_id) entry.second->card_ready = ready;
  }
}
