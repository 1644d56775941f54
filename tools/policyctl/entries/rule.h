// The rules of access control lists.
#pragma once

#include <cstdint>
#include <string>

#include "tools/policyctl/language/entry_kind.h"
#include "tools/policyctl/language/rule_fields.h"

extern const EntryKind& RULE;

// One rule of one list, as bindings name it.
struct RuleKey {
  std::uint32_t acl = 0;
  std::uint32_t rule = 0;
  // NOLINTNEXTLINE(modernize-use-nullptr): the check takes the comparison for a null pointer
  auto operator<=>(const RuleKey&) const = default;
};

enum RuleAction : std::uint32_t { DENY = 0, PERMIT = 1 };

struct Rule {
  std::uint32_t action = DENY;
  RuleFields fields;
  std::string description;
  bool operator==(const Rule&) const = default;
};

[[nodiscard]] inline EntryKey key_of(const RuleKey& key) {
  return {{}, {key.acl, key.rule, 0}};
}
[[nodiscard]] inline RuleKey rule_key(const EntryKey& key) {
  return {key.numbers[0], key.numbers[1]};
}
[[nodiscard]] EntryValue value_of(const Rule& rule);
[[nodiscard]] Rule rule_of(const EntryValue& value);

// "acl 10 rule 1".
[[nodiscard]] std::string rule_name(const RuleKey& key);
