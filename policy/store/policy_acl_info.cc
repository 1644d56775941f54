#include "policy/store/policy_acl_info.h"

#include "policy/store/ordered_records.h"
#include "policy/store/policytree.h"
#include "policy/store/store_bounds.h"

int PolicyAclInfo::create_rule(std::uint32_t rule, std::uint32_t action,
                               const PolicyFieldValues& values) {
  if (action > PolicyRuleInfo::MAX_ACTION || !values.is_complete()) return -1;
  if (_rules.size() >= store_bounds::MAX_LISTED) return -1;
  return exchange_bytes(0, PolicyRuleInfo::bytes_of(values), [&] {
    return insert_record(_rules, rule, [&] {
      return std::make_unique<PolicyRuleInfo>(*_tree, *this, rule, action, values);
    });
  });
}

int PolicyAclInfo::delete_rule(std::uint32_t rule) {
  const PolicyRuleInfo* info = find_rule(rule);
  if (info == nullptr) return -1;
  // Its end tells whether it is bound, its beginning is needed to free it: often
  // two cache lines, which are waited for together.
  __builtin_prefetch(info);
  if (info->is_bound()) return -1;
  count_exchange(info->stored_bytes(), 0);
  return erase_record(_rules, rule);
}

int PolicyAclInfo::set_description(std::string_view description) {
  const std::size_t before = _description.text().size();
  Listing& acls = _tree->listed_acls();
  if (description.size() > before && !acls.has_room_for(0, description.size() - before)) return -1;
  const int result = exchange_bytes(PolicyDescription::bytes_of(_description.text()),
                                    PolicyDescription::bytes_of(description),
                                    [&] { return _description.set(description); });
  if (result == 0) {
    acls.add(0, description.size());
    acls.remove(0, before);
  }
  return result;
}

std::size_t PolicyAclInfo::bytes_of_empty() {
  return sizeof(PolicyAclInfo) + store_bounds::BLOCK_BYTES + store_bounds::ENTRY_BYTES;
}

bool PolicyAclInfo::has_room_for(std::size_t bytes) const {
  return _tree->stored().has_room_for(bytes);
}

void PolicyAclInfo::count_exchange(std::size_t before, std::size_t after) {
  _stored_bytes += after - before;
  _tree->stored().add(after);
  _tree->stored().remove(before);
}

PolicyRuleInfo* PolicyAclInfo::find_rule(std::uint32_t rule) const {
  return find_record(_rules, rule);
}

void PolicyAclInfo::get_rule_ids(std::vector<std::uint32_t>& ids) const {
  append_keys(_rules, ids);
}
