// Configuration: what a switch's traffic policy is, or shall be, as plain
// records. Files are read into it, switches are read into it, plans compare two.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/policyctl/language/rule_fields.h"

// One rule of one ACL, as bindings name it.
struct RuleKey {
  std::uint32_t acl = 0;
  std::uint32_t rule = 0;
  // NOLINTNEXTLINE(modernize-use-nullptr): the check takes the comparison for a null pointer
  auto operator<=>(const RuleKey&) const = default;
};

struct TimeRange {
  std::uint32_t number1 = 0;
  std::uint32_t number2 = 0;
  bool flag = false;
  std::uint32_t number3 = 0;
  std::uint32_t number4 = 0;
  bool operator==(const TimeRange&) const = default;
};

enum RuleAction : std::uint32_t { DENY = 0, PERMIT = 1 };

struct Rule {
  std::uint32_t action = DENY;
  RuleFields fields;
  std::string description;

  // Whether both match alike and do the same; the description can be changed
  // in place, anything else needs another rule.
  [[nodiscard]] bool acts_like(const Rule& other) const {
    return action == other.action && fields == other.fields;
  }
  bool operator==(const Rule&) const = default;
};

struct Acl {
  std::uint32_t type = 0;
  std::string description;
  std::map<std::uint32_t, Rule> rules;
  bool operator==(const Acl&) const = default;
};

enum RemarkKind : std::uint32_t { REMARK_DSCP = 0, REMARK_PRIORITY = 1, REMARK_TWO_BIT = 2 };

struct Remark {
  std::uint32_t kind = REMARK_DSCP;
  std::uint32_t value = 0;
  bool operator==(const Remark&) const = default;
};

// What is bound to one interface or VLAN.
struct Bindings {
  std::vector<RuleKey> filters;  // in the order in which they were added, none twice
  std::map<RuleKey, Remark> remarks;
  std::optional<std::uint32_t> cos_value;  // of interfaces; none: not said

  // Nothing that the daemon does not hold for every record from the start.
  [[nodiscard]] bool is_bare() const {
    return filters.empty() && remarks.empty() && cos_value.value_or(0) == 0;
  }
  bool operator==(const Bindings&) const = default;
};

struct Schedule {
  std::uint32_t algorithm = 0;
  std::array<std::uint32_t, 4> weights{};
  bool operator==(const Schedule&) const = default;
};

// Priority to queue.
using Queues = std::map<std::uint32_t, std::uint32_t>;

// A setting that is not there was not said.
struct ClassOfService {
  std::optional<bool> flag;
  std::optional<std::uint32_t> mode;
  std::optional<Schedule> schedule;
  Queues priority_queues;
  Queues mapping;  // as the line cards are programmed
  bool operator==(const ClassOfService&) const = default;
};

struct Configuration {
  ClassOfService cos;
  std::map<std::string, TimeRange, std::less<>> time_ranges;
  std::map<std::uint32_t, Acl> acls;
  std::map<std::string, Bindings, std::less<>> interfaces;
  std::map<std::uint32_t, Bindings> vlans;
  bool operator==(const Configuration&) const = default;
};

// "acl 10 rule 1".
[[nodiscard]] std::string rule_name(const RuleKey& key);

// Null when there is none.
[[nodiscard]] const Rule* find_rule(const Configuration& configuration, const RuleKey& key);

// The class of service with which policyd starts.
[[nodiscard]] ClassOfService default_class_of_service();
