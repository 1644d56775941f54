#include "policy/store/policytree.h"

#include <new>

#include "framework/base/xlog.h"
#include "policy/store/memory_reserve.h"
#include "policy/store/ordered_records.h"
#include "policy/store/policy_acl_info.h"
#include "policy/store/policy_port_info.h"
#include "policy/store/policy_rule_info.h"
#include "policy/store/policy_vlan_info.h"

namespace {

// In a list, beside the text: number, type and the text's length; the text's length,
// five values.
constexpr std::size_t LISTED_ACL_BYTES = 12;
constexpr std::size_t LISTED_TIME_RANGE_BYTES = 24;
// With the node of the tree that holds it. Its name is there twice.
constexpr std::size_t TIME_RANGE_BYTES = sizeof(PolicyTimeRange) + sizeof(std::string) +
                                         8 * sizeof(void*) + 4 * store_bounds::BLOCK_BYTES;

std::size_t stored_bytes_of_time_ranges(std::size_t count, std::size_t name_bytes) {
  return count * TIME_RANGE_BYTES + 2 * name_bytes;
}

}  // namespace

PolicyTree::PolicyTree(std::size_t max_stored_bytes) : _stored(max_stored_bytes) {}
PolicyTree::~PolicyTree() = default;

int PolicyTree::create_acl(std::uint32_t id, std::uint32_t type) {
  if (type > PolicyAclInfo::MAX_TYPE) return -1;
  const std::size_t bytes = PolicyAclInfo::bytes_of_empty();
  if (!_listed_acls.has_room_for(1, LISTED_ACL_BYTES) || !_stored.has_room_for(bytes)) return -1;
  const int result =
      insert_record(_acls, id, [&] { return std::make_unique<PolicyAclInfo>(*this, id, type); });
  if (result != 0) return result;
  _listed_acls.add(1, LISTED_ACL_BYTES);
  _stored.add(bytes);
  return 0;
}

int PolicyTree::delete_acl(std::uint32_t id) {
  if (is_acl_used(id)) return -1;
  const PolicyAclInfo* acl = find_acl(id);
  if (acl == nullptr) return -1;
  _listed_acls.remove(1, LISTED_ACL_BYTES + acl->description().size());
  _stored.remove(acl->stored_bytes());
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
  const std::size_t bytes = stored_bytes_of_time_ranges(1, name.size());
  const std::size_t listed = LISTED_TIME_RANGE_BYTES + name.size();
  if (!_listed_time_ranges.has_room_for(1, listed) || !_stored.has_room_for(bytes)) return -1;
  const int result = insert_record(_time_ranges, name, [&] {
    return std::make_unique<PolicyTimeRange>(
        PolicyTimeRange{std::string(name), number1, number2, flag ? 1U : 0U, number3, number4});
  });
  if (result != 0) return result;
  _listed_time_ranges.add(1, listed);
  _stored.add(bytes);
  return 0;
}

int PolicyTree::delete_time_range(std::string_view name) {
  if (erase_record(_time_ranges, name) == 0) forget_time_ranges(1, name.size());
  return 0;
}

void PolicyTree::clear_time_ranges() {
  _time_ranges.clear();
  const std::size_t count = _listed_time_ranges.entries();
  forget_time_ranges(count, _listed_time_ranges.bytes() - count * LISTED_TIME_RANGE_BYTES);
}

void PolicyTree::forget_time_ranges(std::size_t count, std::size_t name_bytes) {
  _listed_time_ranges.remove(count, count * LISTED_TIME_RANGE_BYTES + name_bytes);
  _stored.remove(stored_bytes_of_time_ranges(count, name_bytes));
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
