#include "tools/policyctl/plan/undo.h"

#include <algorithm>
#include <set>
#include <utility>

#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/plan/find_entry.h"

namespace {

// Puts the touched statements of one switch back.
class Restoring {
 public:
  Restoring(const Touched& touched, const Configuration& now)
      : _before(touched.before),
        _after(touched.after),
        _foreign_acls(touched.foreign_acls),
        _now(now),
        _undo{now, {}} {}

  Undo restore() {
    restore_class_of_service();
    restore_entries(_undo.target.time_ranges, _before.time_ranges, _after.time_ranges,
                    [](const std::string& name) { return "time-range " + name; });
    restore_all(_before.interfaces, _after.interfaces, _undo.target.interfaces,
                [](const std::string& name) { return interface_statement(name); });
    restore_all(_before.vlans, _after.vlans, _undo.target.vlans,
                [](std::uint32_t id) { return vlan_statement(id); });
    restore_acls();
    drop_bindings_without_rule();
    return std::move(_undo);
  }

 private:
  template <typename Setting>
  void restore_setting(Setting& now, const Setting& before, const Setting& after,
                       const char* name) {
    if (before == after) return;
    if (now == before || now == after) {
      now = before;
    } else {
      _undo.left.emplace_back(name);
    }
  }

  void restore_class_of_service() {
    ClassOfService& cos = _undo.target.cos;
    restore_setting(cos.flag, _before.cos.flag, _after.cos.flag, "cos flag");
    restore_setting(cos.mode, _before.cos.mode, _after.cos.mode, "cos schedule mode");
    restore_setting(cos.schedule, _before.cos.schedule, _after.cos.schedule,
                    "cos schedule algorithm");
    restore_entries(cos.priority_queues, _before.cos.priority_queues, _after.cos.priority_queues,
                    [](std::uint32_t p) { return "cos priority " + std::to_string(p); });
    restore_entries(cos.mapping, _before.cos.mapping, _after.cos.mapping,
                    [](std::uint32_t p) { return "cos mapping " + std::to_string(p); });
  }

  // Entries that are in either of two maps are put back into a third.
  template <typename Map, typename Name>
  void restore_entries(Map& now, const Map& before, const Map& after, Name name) {
    const auto restore = [&](const auto& key) {
      const auto* const old = find_entry(before, key);
      const auto* const made = find_entry(after, key);
      const auto at = now.find(key);
      const bool is_there = at != now.end();
      const bool is_ours = !is_there || (old != nullptr && at->second == *old) ||
                           (made != nullptr && at->second == *made);
      if (!is_ours) {
        _undo.left.push_back(name(key));
      } else if (old != nullptr) {
        now.insert_or_assign(key, *old);
      } else if (is_there) {
        now.erase(at);
      }
    };
    for (const auto& [key, value] : before) restore(key);
    for (const auto& [key, value] : after) {
      if (!before.contains(key)) restore(key);
    }
  }

  template <typename Records, typename Name>
  void restore_all(const Records& before, const Records& after, Records& now, Name name) {
    static const Bindings NOTHING;
    for (const auto& [key, made] : after) {
      // One that is gone took its bindings with it.
      const auto at = now.find(key);
      if (at == now.end()) continue;
      const Bindings* const old = find_entry(before, key);
      restore_record(at->second, old == nullptr ? NOTHING : *old, made, name(key));
    }
  }

  void restore_record(Bindings& now, const Bindings& before, const Bindings& after,
                      const std::string& name) {
    if (before.filters != after.filters || now.filters != before.filters) {
      now.filters = restored_filters(now.filters, before.filters, after.filters);
    }
    restore_entries(now.remarks, before.remarks, after.remarks,
                    [&name](const RuleKey& key) { return name + " remark " + rule_name(key); });
    if (!before.cos_value) return;
    if (now.cos_value == before.cos_value || now.cos_value == after.cos_value) {
      now.cos_value = before.cos_value;
    } else {
      _undo.left.push_back(name + " cos-value");
    }
  }

  // As it was, and what others bound meanwhile behind it.
  static std::vector<RuleKey> restored_filters(const std::vector<RuleKey>& now,
                                               const std::vector<RuleKey>& before,
                                               const std::vector<RuleKey>& after) {
    std::set<RuleKey> ours(before.begin(), before.end());
    ours.insert(after.begin(), after.end());
    std::vector<RuleKey> restored = before;
    std::copy_if(now.begin(), now.end(), std::back_inserter(restored),
                 [&ours](const RuleKey& key) { return !ours.contains(key); });
    return restored;
  }

  [[nodiscard]] std::set<RuleKey> bound_keys() const {
    std::set<RuleKey> keys;
    const auto collect = [&keys](const auto& records) {
      for (const auto& [name, bindings] : records) {
        keys.insert(bindings.filters.begin(), bindings.filters.end());
        for (const auto& [key, remark] : bindings.remarks) keys.insert(key);
      }
    };
    collect(_undo.target.interfaces);
    collect(_undo.target.vlans);
    return keys;
  }

  void restore_acls() {
    _bound = bound_keys();
    std::set<std::uint32_t> numbers;
    for (const auto& [number, acl] : _before.acls) numbers.insert(number);
    for (const auto& [number, acl] : _after.acls) numbers.insert(number);
    for (const std::uint32_t number : numbers) restore_acl(number);
  }

  void restore_acl(std::uint32_t number) {
    static const Acl NO_ACL;
    const Acl* const before = find_entry(_before.acls, number);
    const Acl* const after = find_entry(_after.acls, number);
    auto at = _undo.target.acls.find(number);
    if (at == _undo.target.acls.end()) {
      if (before == nullptr) return;
      at = _undo.target.acls.emplace(number, Acl{before->type, before->description, {}}).first;
    }
    Acl& now = at->second;
    restore_rules(number, now, before == nullptr ? NO_ACL : *before,
                  after == nullptr ? NO_ACL : *after);
    if (_foreign_acls.contains(number)) return;
    if (before != nullptr) {
      restore_head(number, now, *before, after);
    } else if (now.rules.empty()) {
      _undo.target.acls.erase(at);
    } else {
      _undo.left.push_back("acl " + std::to_string(number));
    }
  }

  // Whether a description is one of the plan's, or missing, as between the two.
  template <typename Described>
  static bool has_our_description(const Described& now, const Described* before,
                                  const Described* after) {
    return now.description.empty() ||
           (before != nullptr && now.description == before->description) ||
           (after != nullptr && now.description == after->description);
  }

  void restore_head(std::uint32_t number, Acl& now, const Acl& before, const Acl* after) {
    const bool has_our_type =
        now.type == before.type || (after != nullptr && now.type == after->type);
    if (has_our_type && has_our_description(now, &before, after)) {
      now.type = before.type;
      now.description = before.description;
    } else {
      _undo.left.push_back("acl " + std::to_string(number));
    }
  }

  // Each of its two halves is as it was or as the plan made it: requests behind
  // one that failed may have been carried out.
  static bool is_ours(const Rule& now, const Rule* before, const Rule* after) {
    const bool acts_like_ours = (before != nullptr && now.acts_like(*before)) ||
                                (after != nullptr && now.acts_like(*after));
    return acts_like_ours && has_our_description(now, before, after);
  }

  void restore_rules(std::uint32_t number, Acl& now, const Acl& before, const Acl& after) {
    const auto restore = [&](std::uint32_t rule_number) {
      const RuleKey key{number, rule_number};
      const Rule* const old = find_entry(before.rules, rule_number);
      const auto at = now.rules.find(rule_number);
      if (at == now.rules.end()) {
        if (old != nullptr) now.rules.emplace(rule_number, *old);
        return;
      }
      const Rule* const made = find_entry(after.rules, rule_number);
      const bool is_needed = old == nullptr && _bound.contains(key);
      if (!is_ours(at->second, old, made) || is_needed) {
        _undo.left.push_back(rule_name(key));
      } else if (old != nullptr) {
        at->second = *old;
      } else {
        now.rules.erase(at);
      }
    };
    for (const auto& [rule_number, rule] : before.rules) restore(rule_number);
    for (const auto& [rule_number, rule] : after.rules) {
      if (!before.rules.contains(rule_number)) restore(rule_number);
    }
  }

  // Of rules that somebody else removed. What is bound now has its rule, also when
  // that came only after the rules were read.
  void drop_bindings_without_rule() {
    drop_bindings_without_rule(_undo.target.interfaces, _now.interfaces);
    drop_bindings_without_rule(_undo.target.vlans, _now.vlans);
  }

  template <typename Records>
  void drop_bindings_without_rule(Records& records, const Records& now) {
    for (auto& [name, bindings] : records) {
      const Bindings& bound = now.at(name);
      std::erase_if(bindings.filters, [&](const RuleKey& key) {
        return find_rule(_undo.target, key) == nullptr &&
               std::find(bound.filters.begin(), bound.filters.end(), key) == bound.filters.end();
      });
      std::erase_if(bindings.remarks, [&](const auto& entry) {
        const Rule* const rule = find_rule(_undo.target, entry.first);
        return rule == nullptr ? !bound.remarks.contains(entry.first) : rule->action != PERMIT;
      });
    }
  }

  const Configuration& _before;
  const Configuration& _after;
  const std::set<std::uint32_t>& _foreign_acls;
  const Configuration& _now;
  Undo _undo;
  std::set<RuleKey> _bound;  // that stay bound
};

}  // namespace

Undo undo(const Touched& touched, const Configuration& now) {
  return Restoring(touched, now).restore();
}
