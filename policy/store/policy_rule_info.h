// One rule of one ACL: a plain record, owned by its ACL.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "policy/store/policy_binding_key.h"
#include "policy/store/policy_description.h"
#include "policy/store/policy_rule_fields.h"

class PolicyAclInfo;
class PolicyTree;
template <typename Value>
class PolicyBindingTable;

class PolicyRuleInfo {
 public:
  static constexpr std::uint32_t MAX_ACTION = 1;
  // The only action with which a rule may be remarked.
  static constexpr std::uint32_t ACTION_REMARKABLE = 1;

  // No description, bound nowhere. `action` is at most MAX_ACTION. Throws
  // std::bad_alloc when memory runs out.
  PolicyRuleInfo(PolicyTree& tree, PolicyAclInfo& acl, std::uint32_t id, std::uint32_t action,
                 const PolicyFieldValues& values)
      : _tree(&tree),
        _acl(&acl),
        _id(id),
        _action(action),
        _fields(values),
        _field_bytes(static_cast<std::uint32_t>(values.bytes())) {}
  // No binding may be left.
  ~PolicyRuleInfo();
  PolicyRuleInfo(const PolicyRuleInfo&) = delete;
  PolicyRuleInfo& operator=(const PolicyRuleInfo&) = delete;

  [[nodiscard]] PolicyTree& tree() const { return *_tree; }
  [[nodiscard]] PolicyAclInfo& acl() const { return *_acl; }
  [[nodiscard]] std::uint32_t id() const { return _id; }
  [[nodiscard]] std::uint32_t action() const { return _action; }
  // Its ACL's number and its own.
  [[nodiscard]] PolicyBindingKey key() const;

  // Replaces all fields: number `flags[i]` (0..36) has the value `values[i]`,
  // any bytes; of several with one number the first counts. -1 when the lists
  // differ in length, memory runs out or MAX_STORED_BYTES are, and the fields are as they were; -1
  // at the first number above 36 too, but the pairs before it then are the
  // rule's fields.
  [[nodiscard]] int set_fields(std::span<const std::uint32_t> flags,
                               std::span<const std::string_view> values);
  // In ascending order of number.
  [[nodiscard]] const PolicyRuleFields& fields() const { return _fields; }

  // Copies action and description, and appends the field numbers in ascending
  // order and their values in the same order. Always 0.
  int get(std::uint32_t& action, std::string& description, std::vector<std::uint32_t>& flags,
          std::vector<std::string>& values) const;

  // Holds until it is set.
  [[nodiscard]] std::string_view description() const { return _description.text(); }
  // -1 when memory runs out or MAX_STORED_BYTES do, which neither does for the
  // empty text; the description is then as it was.
  [[nodiscard]] int set_description(std::string_view description);

  // What a rule of such fields takes, and what this one does, of MAX_STORED_BYTES.
  [[nodiscard]] static std::size_t bytes_of(const PolicyFieldValues& values);
  [[nodiscard]] std::size_t stored_bytes() const;

  // Whether the filters or the actions of any port or VLAN name this rule.
  [[nodiscard]] bool is_bound() const { return _bindings != 0; }

 private:
  template <typename Value>
  friend class PolicyBindingTable;

  PolicyTree* _tree;
  PolicyAclInfo* _acl;
  std::uint32_t _id;
  std::uint32_t _action;
  PolicyDescription _description;
  PolicyRuleFields _fields;
  std::uint32_t _field_bytes;
  std::uint32_t _bindings = 0;  // filters and actions that name this rule
};
