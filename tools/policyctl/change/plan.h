// Plan: the requests that make one configuration of another, and what that
// changes, in the words of the configuration language.
//
// A rule, an access control list or a time range is never replaced in place by
// the daemon: one that changes is deleted and created again, and what is bound
// of it is unbound before and bound again behind, in the old order. Steps come in
// the order of the phases of their kinds; what goes, goes before, the other way
// round. So no rule that is bound is ever asked to go, and none that is not there to
// be bound.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <set>
#include <string>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/entry_kind.h"

enum class ChangeSign : char { ADDED = '+', CHANGED = '~', REMOVED = '-' };

// What becomes of one statement, or of the order of the elements below a head.
struct Change {
  ChangeSign sign = ChangeSign::CHANGED;
  const EntryKind* kind = nullptr;
  EntryKey key;
  EntryValue before;  // of REMOVED and CHANGED
  EntryValue after;   // of ADDED and CHANGED
};

struct PlanCounts {
  std::size_t added = 0;
  std::size_t changed = 0;
  std::size_t removed = 0;
};

class Plan {
 public:
  // `present` must outlive the plan; `target` becomes its own. The line cards are told
  // of the keys in `told_in_any_case` also when policyd reads back what is wanted:
  // another may be under way to them.
  Plan(const SwitchConfiguration& present, SwitchConfiguration target,
       const std::set<EntryKey>& told_in_any_case = {});

  [[nodiscard]] bool empty() const { return _steps.empty(); }
  // In the order in which they are to be sent.
  [[nodiscard]] const std::deque<Step>& steps() const { return _steps; }
  // Removed, changed and added statements, in the order of the steps.
  [[nodiscard]] const std::deque<Change>& changes() const { return _changes; }
  [[nodiscard]] PlanCounts counts() const;
  [[nodiscard]] const SwitchConfiguration& present() const { return *_present; }
  [[nodiscard]] const SwitchConfiguration& target() const { return _target; }
  // What the line cards are told, if anything: the last step.
  [[nodiscard]] const Step* told_to_line_cards() const;

 private:
  const SwitchConfiguration* _present;
  SwitchConfiguration _target;
  std::deque<Step> _steps;  // of many none is moved
  std::deque<Change> _changes;
};

// The lines that show a change: what it was (of REMOVED and CHANGED) and what it
// becomes (of ADDED and CHANGED); empty where there is nothing to say.
struct ChangeText {
  std::string where;  // the statement it stands below; empty at the top level
  std::string before;
  std::string after;
};
[[nodiscard]] ChangeText describe(const Change& change, const Plan& plan);
