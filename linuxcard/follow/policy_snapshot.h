// What policyd says of its policy at one moment, as far as packets are to obey it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/time_range.h"
#include "linuxcard/classifier/policy.h"

struct PolicyBindings {
  std::vector<RuleKey> filters;       // in bound order
  std::map<RuleKey, Remark> remarks;  // of rules that need not be bound
  bool operator==(const PolicyBindings&) const = default;
};

struct PolicySnapshot {
  std::uint64_t serial = 0;  // of statistics/0.1/get_changes
  std::map<std::string, PolicyBindings, std::less<>> ports;
  std::map<std::uint16_t, PolicyBindings> vlans;
  // Every rule that is bound somewhere, without a remark; shared with other snapshots of
  // the same policyd.
  std::map<RuleKey, std::shared_ptr<const PolicyRule>> rules;
  std::map<std::string, TimeRangeValues, std::less<>> time_ranges;

  // No rule is bound anywhere.
  [[nodiscard]] bool is_empty() const { return rules.empty(); }
};
