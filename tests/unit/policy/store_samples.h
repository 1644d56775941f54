// Short ways to fill and read a PolicyTree in tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "policy/store/policy_acl_info.h"
#include "policy/store/policy_info.h"
#include "policy/store/policy_port_info.h"
#include "policy/store/policy_rule_info.h"
#include "policy/store/policy_vlan_info.h"
#include "policy/store/policytree.h"

using Numbers = std::vector<std::uint32_t>;
using Texts = std::vector<std::string>;
using TextViews = std::vector<std::string_view>;
using Keys = std::vector<PolicyBindingKey>;
using Fields = std::vector<std::pair<std::uint32_t, std::string>>;

inline std::ostream& operator<<(std::ostream& out, const PolicyBindingKey& key) {
  return out << "(" << key.acl << ", " << key.rule << ")";
}

// A rule without fields, its ACL made when missing.
inline void add_rule(PolicyTree& tree, std::uint32_t acl, std::uint32_t rule,
                     std::uint32_t action = 1) {
  if (tree.find_acl(acl) == nullptr) {
    ASSERT_EQ(tree.create_acl(acl, 0), 0);
  }
  ASSERT_EQ(tree.find_acl(acl)->create_rule(rule, action, {}, {}), 0);
}

inline PolicyPortInfo& add_port(PolicyTree& tree, std::string_view name) {
  EXPECT_EQ(tree.create_port(name), 0);
  return *tree.find_port(name);
}

inline PolicyVlanInfo& add_vlan(PolicyTree& tree, std::uint32_t id) {
  EXPECT_EQ(tree.create_vlan(id), 0);
  return *tree.find_vlan(id);
}

inline Keys filters_of(const PolicyInfo& info) {
  Keys keys;
  info.get_filters(keys);
  return keys;
}

inline Keys action_keys_of(const PolicyInfo& info) {
  Keys keys;
  info.get_action_keys(keys);
  return keys;
}

inline Fields fields_of(const PolicyRuleInfo& rule) {
  Fields fields;
  for (const auto& field : rule.fields()) fields.emplace_back(field.number, field.value);
  return fields;
}

inline Numbers acl_ids_of(const PolicyTree& tree) {
  Numbers ids;
  tree.get_acl_ids(ids);
  return ids;
}

inline Numbers rule_ids_of(const PolicyAclInfo& acl) {
  Numbers ids;
  acl.get_rule_ids(ids);
  return ids;
}
