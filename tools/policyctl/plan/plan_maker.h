// PlanMaker: compares two configurations and lays out the steps between them:
//
//   1. bindings go that are to go, or whose rule does, or that stand in the
//      way of the order of filters;
//   2. rules, lists and time ranges go;
//   3. time ranges, lists and rules come;
//   4. bindings come;
//   5. class of service changes, what reaches the line cards last.
//
// So no rule that is bound is ever asked to go, and none that is not there to be
// bound.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tools/policyctl/plan/plan.h"

class PlanMaker {
 public:
  PlanMaker(const Configuration& present, const Configuration& target)
      : _present(present), _target(target) {}

  void make();
  [[nodiscard]] std::vector<Step>& steps() { return _steps; }
  [[nodiscard]] std::vector<Change>& changes() { return _changes; }

 private:
  void compare_acls();
  void compare_rules(std::uint32_t number, const Acl& before, const Acl& after);
  [[nodiscard]] bool loses_its_rule(const RuleKey& key) const;

  void unbind();
  void unbind_record(const RecordName& record, const Bindings& before, const Bindings& after);
  void remove_rules();
  void remove_time_ranges();
  void create_time_ranges();
  void create_acls();
  void create_rules(std::uint32_t number, const Acl* before, const Acl& after);
  void describe_acl(std::uint32_t number, const std::string& before, const std::string& after);
  void bind();
  void bind_record(const RecordName& record, const Bindings& before, const Bindings& after);
  void set_class_of_service();

  // How many filters of `after` the record has already, in this order, with
  // none of those that go among them.
  [[nodiscard]] std::size_t kept_filters(const Bindings& before, const Bindings& after) const;

  void step(StepKind kind, const RuleKey& key = {}, const RecordName& record = {},
            const std::string* name = nullptr) {
    _steps.push_back({kind, key, record, name});
  }
  void change(ChangeSign sign, ChangedEntry entry, const RuleKey& key = {},
              const RecordName& record = {}, const std::string* name = nullptr) {
    _changes.push_back({sign, entry, key, record, name});
  }

  const Configuration& _present;
  const Configuration& _target;
  std::set<std::uint32_t> _acls_that_go;  // for good, or to come again
  std::set<RuleKey> _rules_that_go;       // of lists that stay, likewise
  std::vector<Step> _steps;
  std::vector<Change> _changes;
};
