// One ACL_RULE of a flat configuration.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tools/policyctl/import/flat_tables.h"

struct FlatRule {
  static constexpr std::int64_t NO_PRIORITY = -1;

  std::string path;
  std::int64_t priority = NO_PRIORITY;  // higher ones come first
  std::optional<Rule> rule;  // none when it is left out, or wrong; the log says which and why
};

// Of the entry, which is the rule `name` of its table.
[[nodiscard]] FlatRule read_flat_rule(const FlatEntry& entry, std::string_view name,
                                      ImportLog& log);
