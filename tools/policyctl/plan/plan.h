// Plan: the requests that make one configuration of another, and what that
// changes, in the words of the configuration language.
//
// A rule, an access control list or a time range is never replaced in place by
// the daemon: one that changes is deleted and created again, and what is bound
// of it is unbound before and bound again behind, in the old order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tools/policyctl/language/configuration.h"

// The record that a binding belongs to.
struct RecordName {
  const std::string* interface = nullptr;  // null: the VLAN
  std::uint32_t vlan = 0;
};

enum class StepKind : std::uint8_t {
  DELETE_FILTER,
  UNREMARK,
  DELETE_RULE,
  DELETE_ACL,
  DELETE_TIME_RANGE,
  CREATE_TIME_RANGE,
  CREATE_ACL,
  SET_ACL_DESCRIPTION,
  UNSET_ACL_DESCRIPTION,
  CREATE_RULE,
  SET_RULE_DESCRIPTION,
  UNSET_RULE_DESCRIPTION,
  ADD_FILTER,
  REMARK,
  SET_COS_VALUE,
  SET_COS_FLAG,
  SET_SCHEDULE_MODE,
  SET_SCHEDULE_ALGORITHM,
  SET_PRIORITY_QUEUES,
  SET_COS_MAPPING,
};

// One request; what it carries is looked up in the plan's target.
struct Step {
  StepKind kind = StepKind::SET_COS_MAPPING;
  RuleKey key;                        // of rules, lists (the number in `acl`) and bindings
  RecordName record;                  // of bindings and class-of-service values
  const std::string* name = nullptr;  // of time ranges
};

enum class ChangeSign : char { ADDED = '+', CHANGED = '~', REMOVED = '-' };

enum class ChangedEntry : std::uint8_t {
  COS_FLAG,
  COS_SCHEDULE_MODE,
  COS_SCHEDULE_ALGORITHM,
  COS_PRIORITY,
  COS_MAPPING,
  TIME_RANGE,
  ACL,
  RULE,
  COS_VALUE,
  FILTER,
  FILTER_ORDER,
  REMARK,
};

// What becomes of one statement.
struct Change {
  ChangeSign sign = ChangeSign::CHANGED;
  ChangedEntry entry = ChangedEntry::COS_FLAG;
  RuleKey key;  // also: the number of a list in `acl`, a priority in `rule`
  RecordName record;
  const std::string* name = nullptr;  // of time ranges
};

struct PlanCounts {
  std::size_t added = 0;
  std::size_t changed = 0;
  std::size_t removed = 0;
};

class Plan {
 public:
  // Both must be whole, as complete() makes them. `present` must outlive the
  // plan; `target` becomes its own. The line cards are told of the priorities in
  // `told_in_any_case` also when policyd reads back the queue that is wanted:
  // another may be under way to them.
  Plan(const Configuration& present, Configuration target,
       const std::set<std::uint32_t>& told_in_any_case = {});
  Plan(Plan&&) = default;

  [[nodiscard]] bool empty() const { return _steps.empty(); }
  // In the order in which they are to be sent.
  [[nodiscard]] const std::vector<Step>& steps() const { return _steps; }
  // Removed, changed and added statements, in the order of the steps.
  [[nodiscard]] const std::vector<Change>& changes() const { return _changes; }
  [[nodiscard]] PlanCounts counts() const;
  [[nodiscard]] const Configuration& present() const { return *_present; }
  [[nodiscard]] const Configuration& target() const { return _target; }
  // What SET_PRIORITY_QUEUES and SET_COS_MAPPING set. The others of the target
  // are left out: somebody else may be changing them.
  [[nodiscard]] const Queues& priority_queues() const { return _priority_queues; }
  [[nodiscard]] const Queues& mapping() const { return _mapping; }

 private:
  const Configuration* _present;
  Configuration _target;
  Queues _priority_queues;
  Queues _mapping;
  std::vector<Step> _steps;
  std::vector<Change> _changes;
};

// The lines that show a change: what it was (of REMOVED and CHANGED) and what it
// becomes (of ADDED and CHANGED); empty where there is nothing to say.
struct ChangeText {
  std::string where;  // the statement it stands below; empty at the top level
  std::string before;
  std::string after;
};
[[nodiscard]] ChangeText describe(const Change& change, const Plan& plan);
// A request in a few words: "create acl 10 rule 1".
[[nodiscard]] std::string describe(const Step& step);
