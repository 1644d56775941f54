// Bindings of rules to interfaces and VLANs as packet filters, in an order.
#pragma once

#include "tools/policyctl/entries/rule.h"

extern const EntryKind& FILTER;

// The rule that a filter or remark is of.
[[nodiscard]] inline RuleKey bound_rule(const EntryKey& key) {
  return {key.numbers[1], key.numbers[2]};
}
// One filter, or the remark of that rule, at an interface or VLAN.
[[nodiscard]] inline EntryKey key_at(const EntryKey& record, const RuleKey& rule) {
  return {record.name, {record.numbers[0], rule.acl, rule.rule}};
}
