// Bindings of rules to interfaces and VLANs as packet filters, in an order.
#pragma once

#include <vector>

#include "tools/policyctl/entries/rule.h"
#include "tools/policyctl/language/configuration.h"

extern const EntryKind& FILTER;

// Those of one interface or VLAN, in their order.
[[nodiscard]] std::vector<RuleKey> filters_at(const Entries& entries, const EntryKey& record);
// Replaces them.
void put_filters(Entries& entries, const EntryKey& record, const std::vector<RuleKey>& filters);
// The rule that a filter or remark is of.
[[nodiscard]] inline RuleKey bound_rule(const EntryKey& key) {
  return {key.numbers[1], key.numbers[2]};
}
// One filter, or the remark of that rule, at an interface or VLAN.
[[nodiscard]] inline EntryKey key_at(const EntryKey& record, const RuleKey& rule) {
  return {record.name, {record.numbers[0], rule.acl, rule.rule}};
}
