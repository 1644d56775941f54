// One ACL: a plain record that owns its rules.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "policy/store/packed_map.h"
#include "policy/store/policy_description.h"
#include "policy/store/policy_record_name.h"
#include "policy/store/policy_rule_info.h"

class PolicyAclInfo {
 public:
  static constexpr std::uint32_t MAX_TYPE = 1;

  // No description, no rules. `type` is at most MAX_TYPE.
  PolicyAclInfo(PolicyTree& tree, std::uint32_t id, std::uint32_t type)
      : _tree(&tree), _id(id), _type(type), _stored_bytes(bytes_of_empty()) {}
  PolicyAclInfo(const PolicyAclInfo&) = delete;
  PolicyAclInfo& operator=(const PolicyAclInfo&) = delete;

  [[nodiscard]] PolicyTree& tree() const { return *_tree; }
  [[nodiscard]] std::uint32_t id() const { return _id; }
  [[nodiscard]] std::uint32_t type() const { return _type; }

  // Holds until it is set.
  [[nodiscard]] std::string_view description() const { return _description.text(); }
  // -1 when memory runs out or a bound of the store would be passed, which neither
  // does for the empty text; the description is then as it was.
  [[nodiscard]] int set_description(std::string_view description);

  // A rule of any number, with `action` 0 or 1 and of each number in `flags`
  // (0..36) the first value that stands beside it in `values`. These are ranges
  // that know their size, of std::uint32_t and of std::string_view with any
  // bytes. -1, and nothing changes, when the ACL has a rule of that number, the
  // action is above 1, the ranges differ in length, a number is above 36,
  // memory runs out, or a bound of the store would be passed.
  template <typename Numbers = std::span<const std::uint32_t>,
            typename Values = std::span<const std::string_view>>
  [[nodiscard]] int create_rule(std::uint32_t rule, std::uint32_t action, const Numbers& flags,
                                const Values& values) {
    if (flags.size() != values.size()) return -1;
    return create_rule(rule, action, PolicyFieldValues(flags, values));
  }
  // The same, refused when `values` are not complete.
  [[nodiscard]] int create_rule(std::uint32_t rule, std::uint32_t action,
                                const PolicyFieldValues& values);
  // -1, and nothing changes, when there is no such rule or it is bound.
  [[nodiscard]] int delete_rule(std::uint32_t rule);
  // Null when there is none; lives until it or the ACL is deleted.
  [[nodiscard]] PolicyRuleInfo* find_rule(std::uint32_t rule) const;
  // Appends every rule number in ascending order.
  void get_rule_ids(std::vector<std::uint32_t>& ids) const;

  // What an ACL without rules takes of MAX_STORED_BYTES, and what this one does with
  // its rules.
  [[nodiscard]] static std::size_t bytes_of_empty();
  [[nodiscard]] std::size_t stored_bytes() const { return _stored_bytes; }
  // Runs `change`, which puts something of `after` bytes in the place of something of
  // `before`, and counts that when it answers 0. -1, and it does not run, when there
  // is no room for it.
  template <typename Change>
  [[nodiscard]] int exchange_bytes(std::size_t before, std::size_t after, Change change) {
    if (after > before && !has_room_for(after - before)) return -1;
    const int result = change();
    if (result == 0) count_exchange(before, after);
    return result;
  }

  // The first port, or when there is none the first VLAN, whose filters or
  // actions name a rule of this ACL; null when none does.
  [[nodiscard]] const PolicyRecordName* first_user() const {
    return _users.empty() ? nullptr : _users.front().key;
  }

 private:
  template <typename Value>
  friend class PolicyBindingTable;

  [[nodiscard]] bool has_room_for(std::size_t bytes) const;
  void count_exchange(std::size_t before, std::size_t after);

  struct InWalkOrder {
    bool operator()(const PolicyRecordName* a, const PolicyRecordName* b) const { return *a < *b; }
  };

  PolicyTree* _tree;
  std::uint32_t _id;
  std::uint32_t _type;
  std::size_t _stored_bytes;
  PolicyDescription _description;
  PackedMap<std::uint32_t, std::unique_ptr<PolicyRuleInfo>> _rules;
  // The records that hold bindings of this ACL's rules, each with how many.
  PackedMap<const PolicyRecordName*, std::uint32_t, InWalkOrder> _users;
};
