// A configuration of policyctl as plain records, which tests make, change and
// compare by hand, and the entries that it is.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/policyctl/change/complete.h"
#include "tools/policyctl/entries/acl.h"
#include "tools/policyctl/entries/binding.h"
#include "tools/policyctl/entries/queue_map.h"
#include "tools/policyctl/entries/record.h"
#include "tools/policyctl/entries/remark.h"
#include "tools/policyctl/entries/rule.h"
#include "tools/policyctl/entries/setting.h"
#include "tools/policyctl/entries/time_range.h"
#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/write_configuration.h"

// Priority to queue.
using Queues = std::map<std::uint32_t, std::uint32_t>;

struct TimeRange {
  std::uint32_t number1 = 0;
  std::uint32_t number2 = 0;
  bool flag = false;
  std::uint32_t number3 = 0;
  std::uint32_t number4 = 0;
  bool operator==(const TimeRange&) const = default;
};

enum RemarkKind : std::uint32_t { REMARK_DSCP = 0, REMARK_PRIORITY = 1, REMARK_TWO_BIT = 2 };

struct Remark {
  std::uint32_t kind = REMARK_DSCP;
  std::uint32_t value = 0;
  bool operator==(const Remark&) const = default;
};

struct Acl {
  std::uint32_t type = 0;
  std::string description;
  std::map<std::uint32_t, Rule> rules;
  bool operator==(const Acl&) const = default;
};

// What is bound to one interface or VLAN.
struct Bindings {
  std::vector<RuleKey> filters;
  std::map<RuleKey, Remark> remarks;
  std::optional<std::uint32_t> cos_value;  // of interfaces
  bool operator==(const Bindings&) const = default;
};

struct Schedule {
  std::uint32_t algorithm = 0;
  std::array<std::uint32_t, 4> weights{};
  bool operator==(const Schedule&) const = default;
};

struct ClassOfService {
  std::optional<bool> flag;
  std::optional<std::uint32_t> mode;
  std::optional<Schedule> schedule;
  Queues priority_queues;
  Queues mapping;
  bool operator==(const ClassOfService&) const = default;
};

struct Configuration {
  Configuration() = default;
  explicit Configuration(const Entries& entries);

  // For what takes either kind of configuration.
  [[nodiscard]] Entries entries() const;
  [[nodiscard]] SwitchConfiguration whole() const { return SwitchConfiguration(entries()); }
  [[nodiscard]] WantedConfiguration wanted() const { return WantedConfiguration(entries()); }

  ClassOfService cos;
  std::map<std::string, TimeRange, std::less<>> time_ranges;
  std::map<std::uint32_t, Acl> acls;
  std::map<std::string, Bindings, std::less<>> interfaces;
  std::map<std::uint32_t, Bindings> vlans;
  bool operator==(const Configuration&) const = default;
};

[[nodiscard]] EntryValue value_of(const Remark& remark);
[[nodiscard]] EntryValue value_of(const TimeRange& range);
// What a step of a change sets, and makes.
[[nodiscard]] Queues queues_of(const Step& step);
[[nodiscard]] Remark remark_of(const EntryValue& value);
[[nodiscard]] TimeRange time_range_of(const EntryValue& value);

// Null when there is none.
[[nodiscard]] const Rule* find_rule(const Configuration& configuration, const RuleKey& key);
// The class of service with which policyd starts.
[[nodiscard]] ClassOfService default_class_of_service();

[[nodiscard]] inline std::string write_configuration(const Configuration& configuration) {
  return write_configuration(configuration.entries());
}
[[nodiscard]] inline Configuration complete(const Configuration& wanted,
                                            const Configuration& present, Unnamed unnamed) {
  return Configuration(complete(wanted.wanted(), present.whole(), unnamed));
}
