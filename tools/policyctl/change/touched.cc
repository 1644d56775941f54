#include "tools/policyctl/change/touched.h"

#include <algorithm>

#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

// Collects what one plan touches of its present or its target.
class Touching {
 public:
  explicit Touching(const SwitchConfiguration& whole) : _whole(whole) {}

  void add(const EntryKind& kind, const EntryKey& key) {
    const EntryKind* const head = head_of(kind, key);
    const EntryKey above = key_above(kind, key);
    if (head != nullptr) add_entry(*head, above);
    const bool is_order = *kind.facts().change == HowChanged::ORDERED;
    add_entry(kind, is_order ? above : key);
  }

  // A list that goes, be it to come again, goes with all that stands below it.
  void add_all_below(const EntryKind& head, const EntryKey& key) {
    add_entry(head, key);
    for (const EntryKind* child : kinds_below(head)) {
      for_each_below(key, _whole.of(*child), [&](const EntryKey& own, const EntryValue& value) {
        _part.put(*child, own, value);
      });
    }
  }

  WantedConfiguration take() { return std::move(_part); }

 private:
  void add_entry(const EntryKind& kind, const EntryKey& key) {
    const EntryValue* const value = _whole.find(kind, key);
    if (value != nullptr) {
      _part.put(kind, key, *value);
    } else if (*kind.facts().presence == Presence::OUTSIDE) {
      _part.put(kind, key, {});
    }
  }

  const SwitchConfiguration& _whole;
  WantedConfiguration _part;
};

void forget(Touched& touched, const Step& step) {
  if (step.verb != Verb::ADD) return;
  const EntryKind& kind = *step.kind;
  if (*kind.facts().change == HowChanged::ORDERED) {
    const EntryKey whole = key_above(kind, step.key);
    const Elements before = elements_of(touched.before.find(kind, whole));
    const Element element = element_of(step.key);
    if (std::find(before.begin(), before.end(), element) != before.end()) return;
    Elements after = elements_of(touched.after.find(kind, whole));
    std::erase(after, element);
    return put_elements(touched.after, kind, whole, after);
  }
  if (touched.before.has(kind, step.key)) return;
  if (*kind.facts().opens != nullptr) {
    touched.foreign.insert(step.key);
  } else {
    touched.after.erase(kind, step.key);
  }
}

}  // namespace

Touched touched_by(const Plan& plan) {
  return {touched_part(plan, plan.present()), touched_part(plan, plan.target()), {}};
}

WantedConfiguration touched_part(const Plan& plan, const SwitchConfiguration& whole) {
  Touching touching(whole);
  for (const Change& change : plan.changes()) touching.add(*change.kind, change.key);
  // What changes with a rule is unbound meanwhile.
  for (const Step& step : plan.steps()) {
    if (step.verb != Verb::REMOVE) continue;
    if (*step.kind->facts().opens != nullptr) {
      touching.add_all_below(*step.kind, step.key);
    } else if (used_kind(*step.kind) != nullptr) {
      touching.add(*step.kind, step.key);
    }
  }
  return touching.take();
}

// What the plan was to replace may have been refused because the old one, ours,
// was still there.
void forget_refused(Touched& touched, const std::vector<Step>& refused) {
  for (const Step& step : refused) forget(touched, step);
}
