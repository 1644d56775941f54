#include "tools/policyctl/change/difference.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/language/entry_kind.h"
#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

using Value = const EntryValue*;  // null: there is no entry

bool same(Value a, Value b) {
  return a == nullptr || b == nullptr ? a == b : *a == *b;
}

class CarryingOver {
 public:
  CarryingOver(const Entries& before, const Entries& after, const SwitchConfiguration& now,
               OnClash on_clash, const std::set<EntryKey>& foreign)
      : _before(before),
        _after(after),
        _now(now),
        _leaves(on_clash == OnClash::LEAVE),
        _keeps_theirs(on_clash == OnClash::KEEP_THEIRS),
        _foreign(foreign),
        _result{now, {}} {}

  Difference carry_over() {
    // Whether a rule can go is known once what is bound stands.
    for (const EntryKind* kind : top_kinds()) {
      if (!_leaves || !is_list(*kind)) carry(*kind);
    }
    if (_leaves) {
      _used = used_ones();
      for (const EntryKind* kind : top_kinds()) {
        if (is_list(*kind)) carry(*kind);
      }
    }
    for (const EntryKind* kind : using_kinds()) {
      if (_leaves) {
        drop_without_use(*kind);
      } else {
        check_uses(*kind);
        if (_keeps_theirs) drop_without_use(*kind);
      }
    }
    return std::move(_result);
  }

 private:
  static bool is_list(const EntryKind& kind) {
    return *kind.facts().opens != nullptr && *kind.facts().presence == Presence::MADE;
  }

  void clash(std::string name) { _result.clashes.push_back(std::move(name)); }

  // Calls `visit(key, before, after)` for each of either side, from `first` on while
  // `belongs(key)`.
  template <typename Belongs, typename Visit>
  void for_each_key(const EntryKind& kind, const EntryKey& first, Belongs belongs, Visit visit) {
    const EntryMap& before = _before.of(kind);
    const EntryMap& after = _after.of(kind);
    auto a = before.lower_bound(first);
    auto b = after.lower_bound(first);
    const auto is_over = [&](const EntryMap& map, EntryMap::const_iterator at) {
      return at == map.end() || !belongs(at->first);
    };
    for (;;) {
      const bool no_a = is_over(before, a);
      const bool no_b = is_over(after, b);
      if (no_a && no_b) return;
      if (no_b || (!no_a && a->first < b->first)) {
        visit(a->first, &a->second, nullptr);
        ++a;
      } else {
        const bool is_in_both = !no_a && a->first == b->first;
        visit(b->first, is_in_both ? &a->second : nullptr, &b->second);
        if (is_in_both) ++a;
        ++b;
      }
    }
  }

  template <typename Visit>
  void for_each_key_below(const EntryKind& kind, const EntryKey& above, Visit visit) {
    const auto is_below = [&](const EntryKey& key) { return key_above(kind, key) == above; };
    for_each_key(kind, above, is_below, visit);
  }

  void carry(const EntryKind& kind) {
    if (*kind.facts().presence == Presence::OUTSIDE) return carry_records(kind);
    for_each_key(
        kind, {}, [](const EntryKey&) { return true; },
        [&](const EntryKey& key, Value before, Value after) {
          if (is_list(kind)) {
            carry_list(kind, key, before, after);
          } else {
            carry_entry(kind, key, before, after);
          }
        });
  }

  // Whether what the change makes of an entry is to be done. It is not when it
  // changes nothing, or is done already, or somebody else did something else.
  bool is_to_do(Value before, Value after, Value now) const {
    return _leaves || (!same(before, after) && !same(now, after));
  }
  // Of what is to do, whether it is ours to change. Requests behind one that failed
  // may have been carried out, so each half of an entry is looked at by itself.
  bool is_ours(Value before, Value after, Value now) const {
    if (!_leaves) return same(now, before);
    if (now == nullptr) return true;
    const bool acts_like_ours = (before != nullptr && now->acts_like(*before)) ||
                                (after != nullptr && now->acts_like(*after));
    return acts_like_ours &&
           (now->text().empty() || (before != nullptr && now->text() == before->text()) ||
            (after != nullptr && now->text() == after->text()));
  }

  void carry_entry(const EntryKind& kind, const EntryKey& key, Value before, Value after) {
    if (!_leaves && same(before, after)) return;
    const Value now = _result.target.find(kind, key);
    if (!is_to_do(before, after, now)) return;
    const bool is_needed = after == nullptr && now != nullptr && _used.contains(key);
    if (!is_ours(before, after, now) || (is_needed && is_used(kind))) {
      clash(name_of(kind, key));
    } else if (after != nullptr) {
      const EntryValue value = *after;
      _result.target.of(kind).insert_or_assign(key, value);
    } else {
      _result.target.erase(kind, key);
    }
  }

  void carry_below(const EntryKind& kind, const EntryKey& above) {
    for_each_key_below(kind, above, [&](const EntryKey& key, Value before, Value after) {
      if (*kind.facts().change == HowChanged::ORDERED) {
        carry_order(kind, key, elements_of(before), elements_of(after));
      } else {
        carry_entry(kind, key, before, after);
      }
    });
  }

  // Interfaces and VLANs come and go by themselves; one that is gone took its
  // bindings with it.
  void carry_records(const EntryKind& head) {
    std::set<EntryKey> keys;
    for (const Entries* side : {&_before, &_after}) {
      for (const auto& [key, value] : side->of(head)) keys.insert(key);
    }
    for (const EntryKey& key : keys) {
      if (_result.target.has(head, key)) {
        for (const HowChanged how : {HowChanged::ORDERED, HowChanged::REPLACED, HowChanged::SET}) {
          for (const EntryKind* kind : kinds_below(head)) {
            if (*kind->facts().change == how) carry_below(*kind, key);
          }
        }
      } else if (!_leaves && _after.has(head, key) && differs_below(head, key)) {
        clash(name_of(head, key));
      }
    }
  }

  [[nodiscard]] bool differs_below(const EntryKind& head, const EntryKey& above) {
    bool differs = false;
    for (const EntryKind* kind : kinds_below(head)) {
      for_each_key_below(*kind, above, [&](const EntryKey&, Value before, Value after) {
        differs = differs || !same(before, after);
      });
    }
    return differs;
  }

  void carry_order(const EntryKind& kind, const EntryKey& key, const Elements& before,
                   const Elements& after) {
    const Elements now = elements_of(_result.target.find(kind, key));
    const std::set<Element> was(before.begin(), before.end());
    const std::set<Element> is(after.begin(), after.end());
    Elements made;
    if (_leaves) {
      // As it was, and what others bound meanwhile behind it.
      made = after;
      std::copy_if(now.begin(), now.end(), std::back_inserter(made),
                   [&](const Element& e) { return !was.contains(e) && !is.contains(e); });
      return put_elements(_result.target, kind, key, made);
    }
    if (before == after || now == after) return;
    if (now == before) return put_elements(_result.target, kind, key, after);
    // Elements that were taken away go, new ones come behind; with another order of
    // those that stay only one change at a time can be.
    Elements kept;
    std::copy_if(before.begin(), before.end(), std::back_inserter(kept),
                 [&is](const Element& e) { return is.contains(e); });
    if (kept.size() > after.size() || !std::equal(kept.begin(), kept.end(), after.begin())) {
      const std::string word(statements_of(kind)[0].elements[0].word);
      return clash(name_of(*head_of(kind, key), key_above(kind, key)) + " " + word + "s");
    }
    std::copy_if(now.begin(), now.end(), std::back_inserter(made),
                 [&](const Element& e) { return is.contains(e) || !was.contains(e); });
    for (const Element& each : after) {
      if (was.contains(each)) continue;
      if (std::find(made.begin(), made.end(), each) == made.end()) made.push_back(each);
    }
    put_elements(_result.target, kind, key, made);
  }

  // Of what a list holds, the side where its head stands: rules are touched with it.
  void carry_list(const EntryKind& kind, const EntryKey& key, Value before, Value after) {
    const Value now = _result.target.find(kind, key);
    if (now == nullptr && !put_missing_list(kind, key, before, after)) return;
    for (const EntryKind* child : kinds_below(kind)) carry_below(*child, key);
    if (now != nullptr || _leaves) carry_head(kind, key, before, after);
  }

  // A list that is not there. False when nothing of it is to be there either.
  bool put_missing_list(const EntryKind& kind, const EntryKey& key, Value before, Value after) {
    const bool was_removed = !_leaves && before != nullptr;
    if (was_removed && after != nullptr && (!same(before, after) || differs_below(kind, key))) {
      clash(name_of(kind, key));
    }
    if (was_removed || after == nullptr) return false;
    _result.target.of(kind).insert_or_assign(key, *after);
    return true;
  }

  void carry_head(const EntryKind& kind, const EntryKey& key, Value before, Value after) {
    if (_leaves) return put_head_back(kind, key, before, after);
    if (same(before, after)) return;
    EntryValue& now = _result.target.of(kind).at(key);
    if (after == nullptr) return remove_list(kind, key, *before);
    if (before == nullptr) {
      if (now != *after) clash(name_of(kind, key));
      return;
    }
    if (!before->acts_like(*after) && !now.acts_like(*after)) {
      if (now.acts_like(*before)) {
        now = after->with_text(now.text());
      } else {
        clash(name_of(kind, key) + " type");
      }
    }
    if (before->text() == after->text() || now.text() == after->text()) return;
    if (now.text() == before->text()) {
      now = now.with_text(after->text());
    } else {
      clash(name_of(kind, key) + " description");
    }
  }

  void put_head_back(const EntryKind& kind, const EntryKey& key, Value before, Value after) {
    if (_foreign.contains(key)) return;
    const EntryValue now = _result.target.of(kind).at(key);
    const bool goes = after == nullptr;
    if (goes ? has_more(kind, key) : !is_ours(before, after, &now)) {
      clash(name_of(kind, key));
    } else if (goes) {
      _result.target.erase(kind, key);
    } else {
      _result.target.of(kind).at(key) = *after;
    }
  }

  [[nodiscard]] bool has_more(const EntryKind& kind, const EntryKey& key) {
    const auto kinds = kinds_below(kind);
    return std::any_of(kinds.begin(), kinds.end(), [&](const EntryKind* child) {
      const EntryMap& map = _result.target.of(*child);
      const auto at = map.lower_bound(key);
      return at != map.end() && key_above(*child, at->first) == key;
    });
  }

  // Those that are left were added or changed by somebody else.
  void remove_list(const EntryKind& kind, const EntryKey& key, const EntryValue& before) {
    const std::size_t clashes = _result.clashes.size();
    if (_result.target.of(kind).at(key) != before) clash(name_of(kind, key));
    for (const EntryKind* child : kinds_below(kind)) {
      for_each_below(key, _result.target.of(*child), [&](const EntryKey& own, const EntryValue&) {
        if (!_before.has(*child, own)) clash(name_of(*child, own));
      });
    }
    if (_keeps_theirs && _result.clashes.size() > clashes) return;
    erase_with_all_below(_result.target, kind, key);
  }

  static bool is_used(const EntryKind& kind) {
    return std::any_of(using_kinds().begin(), using_kinds().end(),
                       [&](const EntryKind* user) { return used_kind(*user) == &kind; });
  }

  [[nodiscard]] std::set<EntryKey> used_ones() const {
    std::set<EntryKey> keys;
    for (const EntryKind* kind : using_kinds()) {
      for_each_said(*kind, _result.target, [&keys](const EntryKey& key, const EntryValue&) {
        keys.insert(used_key(key));
      });
    }
    return keys;
  }

  // What one side bound and the other took the rule of.
  void check_uses(const EntryKind& kind) {
    const Use& use = kind.facts().uses;
    for_each_said(kind, _result.target, [&](const EntryKey& key, const EntryValue&) {
      const Value used = _result.target.find(*used_kind(kind), used_key(key));
      const bool suits = used != nullptr && (use.suits == nullptr || use.suits(*used));
      if (suits) return;
      clash(name_of(kind, key));
      if (_keeps_theirs) put_back(*used_kind(kind), used_key(key));
    });
  }

  // As somebody else left it, for whom it is needed.
  void put_back(const EntryKind& kind, const EntryKey& key) {
    const Value theirs = _now.find(kind, key);
    if (theirs == nullptr) return;
    const EntryKind* const head = head_of(kind, key);
    if (head != nullptr) put_back(*head, key_above(kind, key));
    _result.target.of(kind).insert_or_assign(key, *theirs);
  }

  // Of rules that somebody else removed. What is bound now has its rule, also when
  // that came only after the rules were read.
  void drop_without_use(const EntryKind& kind) {
    const Use& use = kind.facts().uses;
    std::set<EntryKey> there;
    for_each_said(kind, _now,
                  [&there](const EntryKey& key, const EntryValue&) { there.insert(key); });
    erase_said(_result.target, kind, [&](const EntryKey& key) {
      const Value used = _result.target.find(*used_kind(kind), used_key(key));
      return used == nullptr ? !there.contains(key) : use.suits != nullptr && !use.suits(*used);
    });
  }

  const Entries& _before;
  const Entries& _after;
  const SwitchConfiguration& _now;
  bool _leaves;
  bool _keeps_theirs;
  const std::set<EntryKey>& _foreign;
  Difference _result;
  std::set<EntryKey> _used;  // that stay bound
};

}  // namespace

Difference carry_over(const Entries& before, const Entries& after, const SwitchConfiguration& now,
                      OnClash on_clash, const std::set<EntryKey>& foreign) {
  return CarryingOver(before, after, now, on_clash, foreign).carry_over();
}
