#include "tools/policyctl/change/plan.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

constexpr std::array PHASES{Phase::NAMES, Phase::LISTS, Phase::BINDINGS, Phase::SETTINGS,
                            Phase::LINE_CARDS};

// Compares two configurations and lays out the steps between them.
class PlanMaker {
 public:
  PlanMaker(const SwitchConfiguration& present, const SwitchConfiguration& target,
            const std::set<EntryKey>& told, std::deque<Step>& steps, std::deque<Change>& changes)
      : _present(present), _target(target), _told(told), _steps(steps), _changes(changes) {
    for (const EntryKind* kind : entry_kinds()) _kinds.emplace_back(kind);
    for (KindPlan& each : _kinds) {
      const bool is_head = *each.kind->facts().opens != nullptr;
      for (KindPlan& other : _kinds) {
        if (is_head && stands_below(*other.kind, *each.kind)) {
          each.children.push_back(&other);
          if (each.how() == HowChanged::REPLACED) other.head = &each;
        }
        if (used_kind(*each.kind) == other.kind) each.used = &other;
      }
    }
  }

  void make() {
    for (KindPlan& kind : _kinds) {
      if (is_top(kind)) find_those_that_go(kind);
    }
    // NOLINTNEXTLINE(modernize-loop-convert): a range cannot be walked backwards
    for (auto phase = PHASES.rbegin(); phase != PHASES.rend(); ++phase) {
      for_each_top(*phase, [this](KindPlan& kind) { remove_all(kind); });
    }
    for (const Phase phase : PHASES) {
      for_each_top(phase, [this](KindPlan& kind) { make_all(kind); });
    }
  }

 private:
  struct KindPlan {
    explicit KindPlan(const EntryKind* k) : kind(k) {}
    const EntryKind* kind;
    std::vector<KindPlan*> children;
    const KindPlan* head = nullptr;  // that is made and goes with what stands below it
    KindPlan* used = nullptr;
    std::vector<EntryKey> going;  // for good, or to come again; ascending
    [[nodiscard]] bool goes(const EntryKey& key) const {
      return !going.empty() && std::binary_search(going.begin(), going.end(), key);
    }
    [[nodiscard]] HowChanged how() const { return kind->facts().change; }
  };

  static bool is_top(const KindPlan& kind) { return *kind.kind->facts().below == &TOP_LEVEL; }

  template <typename Visit>
  void for_each_top(Phase phase, Visit visit) {
    for (KindPlan& kind : _kinds) {
      if (is_top(kind) && *kind.kind->facts().phase == phase) visit(kind);
    }
  }

  // What goes with its head is not asked to go by itself.
  void find_those_that_go(KindPlan& kind) {
    if (kind.how() != HowChanged::REPLACED) return;
    const EntryMap& after = _target.of(*kind.kind);
    const KindPlan* const head = kind.head;
    auto next = after.begin();
    for (const auto& [key, value] : _present.of(*kind.kind)) {
      while (next != after.end() && next->first < key) ++next;
      const bool stays = next != after.end() && next->first == key && next->second.acts_like(value);
      if (stays || (head != nullptr && head->goes(key_above(*kind.kind, key)))) continue;
      kind.going.push_back(key);
    }
    for (KindPlan* child : kind.children) find_those_that_go(*child);
  }

  // Whether what it names goes, be it to come again.
  [[nodiscard]] bool loses_what_it_uses(const KindPlan& kind, const EntryKey& key) const {
    if (kind.used == nullptr) return false;
    const EntryKey used = used_key(key);
    if (kind.used->goes(used)) return true;
    const KindPlan* const head = kind.used->head;
    return head != nullptr && head->goes(key_above(*kind.used->kind, used));
  }

  void step(const KindPlan& kind, Verb verb, const EntryKey& key, const EntryValue& value = {}) {
    _steps.push_back({kind.kind, verb, key, value});
  }
  void change(ChangeSign sign, const KindPlan& kind, const EntryKey& key,
              const EntryValue& before = {}, const EntryValue& after = {}) {
    _changes.push_back({sign, kind.kind, key, before, after});
  }

  // Calls `visit(key)` for each entry of either configuration.
  template <typename Visit>
  void for_each_of_both(const KindPlan& kind, Visit visit) {
    const EntryMap& before = _present.of(*kind.kind);
    const EntryMap& after = _target.of(*kind.kind);
    auto a = before.begin();
    auto b = after.begin();
    while (a != before.end() || b != after.end()) {
      if (b == after.end() || (a != before.end() && a->first < b->first)) {
        visit((a++)->first);
      } else {
        if (a != before.end() && a->first == b->first) ++a;
        visit((b++)->first);
      }
    }
  }

  void remove_all(KindPlan& kind) {
    const bool is_outside = kind.how() == HowChanged::NEVER;
    if (is_outside) {
      for_each_of_both(kind, [&](const EntryKey& key) {
        for (KindPlan* child : kind.children) remove_below(*child, key);
      });
      for (KindPlan* child : kind.children) std::sort(child->going.begin(), child->going.end());
      return;
    }
    for (KindPlan* child : kind.children) {
      for (const EntryKey& key : child->going) remove(*child, key);
    }
    for (const EntryKey& key : kind.going) remove(kind, key);
  }

  void remove(const KindPlan& kind, const EntryKey& key) {
    step(kind, Verb::REMOVE, key);
    if (_target.has(*kind.kind, key)) return;
    for (const KindPlan* child : kind.children) {
      for_each_below(key, _present.of(*child->kind),
                     [&](const EntryKey& own, const EntryValue& was) {
                       change(ChangeSign::REMOVED, *child, own, was);
                     });
    }
    change(ChangeSign::REMOVED, kind, key, *_present.find(*kind.kind, key));
  }

  // Of what is bound to a record.
  void remove_below(KindPlan& kind, const EntryKey& record) {
    if (kind.how() == HowChanged::ORDERED) return take_out_of_order(kind, record);
    if (kind.how() != HowChanged::REPLACED) return;
    for_each_below(record, _present.of(*kind.kind),
                   [&](const EntryKey& key, const EntryValue& was) {
                     const EntryValue* const after = _target.find(*kind.kind, key);
                     if (after != nullptr && *after == was && !loses_what_it_uses(kind, key))
                       return;
                     kind.going.push_back(key);
                     step(kind, Verb::REMOVE, key);
                     if (after == nullptr) change(ChangeSign::REMOVED, kind, key, was);
                   });
  }

  // How many elements of `after` are there already, in this order, with none of
  // those that go among them.
  [[nodiscard]] std::size_t kept_elements(const KindPlan& kind, const EntryKey& record,
                                          const Elements& before, const Elements& after) const {
    std::size_t kept = 0;
    for (const Element& each : before) {
      if (kept == after.size()) break;
      if (each == after[kept] && !loses_what_it_uses(kind, element_key(record, each))) ++kept;
    }
    return kept;
  }

  void take_out_of_order(const KindPlan& kind, const EntryKey& record) {
    const Elements before = elements_of(_present.find(*kind.kind, record));
    if (before.empty()) return;
    const Elements after = elements_of(_target.find(*kind.kind, record));
    const std::size_t kept = kept_elements(kind, record, before, after);
    const bool same = before == after;
    if (same && kept == before.size()) return;
    const std::set<Element> wanted(after.begin(), after.end());
    std::size_t next_kept = 0;
    for (const Element& each : before) {
      if (next_kept < kept && each == after[next_kept]) {
        ++next_kept;
        continue;
      }
      step(kind, Verb::REMOVE, element_key(record, each));
      if (!wanted.contains(each)) change(ChangeSign::REMOVED, kind, element_key(record, each));
    }
  }

  void make_all(KindPlan& kind) {
    if (kind.how() == HowChanged::SET_ALL) return set_all(kind);
    for_each_of_both(kind, [&](const EntryKey& key) {
      if (kind.how() != HowChanged::NEVER) make(kind, key, _target.find(*kind.kind, key));
      if (kind.how() == HowChanged::REPLACED && !_target.has(*kind.kind, key)) return;
      for (KindPlan* child : kind.children) make_below(*child, key);
    });
  }

  void make_below(KindPlan& kind, const EntryKey& above) {
    if (kind.how() == HowChanged::ORDERED) return put_in_order(kind, above);
    for_each_below(above, _target.of(*kind.kind),
                   [&](const EntryKey& key, const EntryValue& after) { make(kind, key, &after); });
  }

  void make(const KindPlan& kind, const EntryKey& key, const EntryValue* after) {
    if (after == nullptr) return;
    const EntryValue* const before = _present.find(*kind.kind, key);
    if (kind.how() == HowChanged::SET) {
      if (before != nullptr && *before == *after) return;
      step(kind, Verb::SET, key, *after);
      return change(ChangeSign::CHANGED, kind, key,
                    before == nullptr ? default_of(*kind.kind, key) : *before, *after);
    }
    const KindPlan* const head = kind.head;
    const bool comes = before == nullptr || kind.goes(key) ||
                       (head != nullptr && head->goes(key_above(*kind.kind, key)));
    if (!comes && *before == *after) return;
    if (comes) step(kind, Verb::ADD, key, *after);
    if (before == nullptr) {
      change(ChangeSign::ADDED, kind, key, {}, *after);
    } else if (*before != *after) {
      change(ChangeSign::CHANGED, kind, key, *before, *after);
    }
    const std::string_view described = comes ? std::string_view() : before->text();
    if (described != after->text()) step(kind, Verb::DESCRIBE, key, *after);
  }

  void put_in_order(const KindPlan& kind, const EntryKey& record) {
    const Elements after = elements_of(_target.find(*kind.kind, record));
    if (after.empty()) return;
    const Elements before = elements_of(_present.find(*kind.kind, record));
    const std::size_t kept = kept_elements(kind, record, before, after);
    if (kept == after.size()) return;
    const std::set<Element> old(before.begin(), before.end());
    bool moved = false;
    for (std::size_t i = kept; i < after.size(); ++i) {
      const EntryKey key = element_key(record, after[i]);
      step(kind, Verb::ADD, key);
      if (!old.contains(after[i])) {
        change(ChangeSign::ADDED, kind, key);
      } else if (!loses_what_it_uses(kind, key)) {
        moved = true;
      }
    }
    if (moved && before != after) {
      change(ChangeSign::CHANGED, kind, record, value_of(before), value_of(after));
    }
  }

  void set_all(const KindPlan& kind) {
    const EntryMap& before = _present.of(*kind.kind);
    const bool reaches_line_cards = *kind.kind->facts().phase == Phase::LINE_CARDS;
    std::vector<std::uint32_t> pairs;
    for (const auto& [key, value] : _target.of(*kind.kind)) {
      const auto at = before.find(key);
      const bool changes = at == before.end() || at->second != value;
      if (changes) {
        change(ChangeSign::CHANGED, kind, key, at == before.end() ? EntryValue() : at->second,
               value);
      }
      if (changes || (reaches_line_cards && _told.contains(key))) {
        pairs.insert(pairs.end(), {key.numbers[0], value.number(0)});
      }
    }
    if (!pairs.empty()) step(kind, Verb::SET, {}, EntryValue(pairs));
  }

  const SwitchConfiguration& _present;
  const SwitchConfiguration& _target;
  const std::set<EntryKey>& _told;
  std::deque<Step>& _steps;
  std::deque<Change>& _changes;
  std::vector<KindPlan> _kinds;
};

std::string order_text(const EntryKind& kind, const EntryValue& value) {
  std::string text(statements_of(kind)[0].elements[0].word);
  text += "s in the order";
  const char* between = " ";
  for (const auto& [first, second] : elements_of(&value)) {
    text += std::exchange(between, ", ") + std::to_string(first) + "/" + std::to_string(second);
  }
  return text;
}

std::string text_of(const Change& change, const EntryValue& value) {
  const bool is_order =
      *change.kind->facts().change == HowChanged::ORDERED && change.sign == ChangeSign::CHANGED;
  return is_order ? order_text(*change.kind, value)
                  : statement_text(*change.kind, change.key, value);
}

std::string where(const Change& change, const Plan& plan) {
  const EntryKind* const head = head_of(*change.kind, change.key);
  if (head == nullptr) return {};
  const EntryKey key = key_above(*change.kind, change.key);
  const bool is_gone = change.sign == ChangeSign::REMOVED;
  const Entries& one = is_gone ? plan.present() : plan.target();
  const EntryValue* const value = one.find(*head, key);
  return statement_text(*head, key, value == nullptr ? EntryValue() : *value);
}

}  // namespace

Plan::Plan(const SwitchConfiguration& present, SwitchConfiguration target,
           const std::set<EntryKey>& told_in_any_case)
    : _present(&present), _target(std::move(target)) {
  PlanMaker(present, _target, told_in_any_case, _steps, _changes).make();
}

PlanCounts Plan::counts() const {
  PlanCounts counts;
  for (const Change& change : _changes) {
    switch (change.sign) {
      case ChangeSign::ADDED:
        ++counts.added;
        break;
      case ChangeSign::CHANGED:
        ++counts.changed;
        break;
      case ChangeSign::REMOVED:
        ++counts.removed;
        break;
    }
  }
  return counts;
}

const Step* Plan::told_to_line_cards() const {
  const bool is_told = !_steps.empty() && *_steps.back().kind->facts().phase == Phase::LINE_CARDS;
  return is_told ? &_steps.back() : nullptr;
}

ChangeText describe(const Change& change, const Plan& plan) {
  ChangeText text;
  text.where = where(change, plan);
  if (change.sign != ChangeSign::ADDED) text.before = text_of(change, change.before);
  if (change.sign != ChangeSign::REMOVED) text.after = text_of(change, change.after);
  return text;
}
