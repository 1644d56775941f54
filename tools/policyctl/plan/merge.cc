#include "tools/policyctl/plan/merge.h"

#include <algorithm>
#include <set>
#include <utility>

#include "tools/policyctl/language/words.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/plan/find_entry.h"

namespace {

const Bindings NO_BINDINGS;

template <typename Value>
bool same(const Value* a, const Value* b) {
  return a == nullptr || b == nullptr ? a == b : *a == *b;
}

template <typename Map>
std::set<typename Map::key_type> keys_of(const Map& a, const Map& b) {
  std::set<typename Map::key_type> keys;
  for (const auto& [key, value] : a) keys.insert(keys.end(), key);
  for (const auto& [key, value] : b) keys.insert(key);
  return keys;
}

// `base` without what `wanted` has not, and that in the same order.
std::vector<RuleKey> kept_of(const std::vector<RuleKey>& base, const std::set<RuleKey>& wanted) {
  std::vector<RuleKey> kept;
  std::copy_if(base.begin(), base.end(), std::back_inserter(kept),
               [&wanted](const RuleKey& key) { return wanted.contains(key); });
  return kept;
}

class Merging {
 public:
  Merging(const Configuration& base, const Configuration& wanted, const Configuration& now)
      : _base(base), _wanted(wanted), _merge{now, {}} {}

  Merge merge() {
    merge_class_of_service();
    merge_entries(_base.time_ranges, _wanted.time_ranges, _merge.target.time_ranges,
                  [](const std::string& name) { return "time-range " + as_word(name); });
    merge_acls();
    merge_records(_base.interfaces, _wanted.interfaces, _merge.target.interfaces,
                  [](const std::string& name) { return interface_statement(name); });
    merge_records(_base.vlans, _wanted.vlans, _merge.target.vlans,
                  [](std::uint32_t id) { return vlan_statement(id); });
    check_bindings(_merge.target.interfaces,
                   [](const std::string& name) { return interface_statement(name); });
    check_bindings(_merge.target.vlans, [](std::uint32_t id) { return vlan_statement(id); });
    return std::move(_merge);
  }

 private:
  void conflict(std::string name) { _merge.conflicts.push_back(std::move(name)); }

  // Whether what the change makes of an entry is to be done: not when it changes
  // nothing, or is done already, or somebody else did something else.
  template <typename Value, typename Name>
  bool is_to_do(const Value* base, const Value* wanted, const Value* now, Name name) {
    if (same(base, wanted) || same(now, wanted)) return false;
    if (same(now, base)) return true;
    conflict(name());
    return false;
  }

  template <typename Map, typename Name>
  void merge_entries(const Map& base, const Map& wanted, Map& now, Name name) {
    if (base == wanted) return;
    for (const auto& key : keys_of(base, wanted)) {
      const auto* const old = find_entry(base, key);
      const auto* const made = find_entry(wanted, key);
      if (!is_to_do(old, made, find_entry(now, key), [&] { return name(key); })) continue;
      if (made != nullptr) {
        now.insert_or_assign(key, *made);
      } else {
        now.erase(key);
      }
    }
  }

  template <typename Setting>
  void merge_setting(const Setting& base, const Setting& wanted, Setting& now,
                     const std::string& name) {
    if (is_to_do(&base, &wanted, &now, [&name] { return name; })) now = wanted;
  }

  void merge_class_of_service() {
    ClassOfService& now = _merge.target.cos;
    merge_setting(_base.cos.flag, _wanted.cos.flag, now.flag, "cos flag");
    merge_setting(_base.cos.mode, _wanted.cos.mode, now.mode, "cos schedule mode");
    merge_setting(_base.cos.schedule, _wanted.cos.schedule, now.schedule, "cos schedule algorithm");
    merge_entries(_base.cos.priority_queues, _wanted.cos.priority_queues, now.priority_queues,
                  [](std::uint32_t p) { return "cos priority " + std::to_string(p); });
    merge_entries(_base.cos.mapping, _wanted.cos.mapping, now.mapping,
                  [](std::uint32_t p) { return "cos mapping " + std::to_string(p); });
  }

  void merge_acls() {
    for (const std::uint32_t number : keys_of(_base.acls, _wanted.acls)) {
      const Acl* const base = find_entry(_base.acls, number);
      const Acl* const wanted = find_entry(_wanted.acls, number);
      if (!same(base, wanted)) merge_acl(number, base, wanted);
    }
  }

  void merge_acl(std::uint32_t number, const Acl* base, const Acl* wanted) {
    static const Acl NO_ACL;
    const std::string name = "acl " + std::to_string(number);
    const auto at = _merge.target.acls.find(number);
    const bool is_there = at != _merge.target.acls.end();
    if (!is_there && base != nullptr) {
      if (wanted != nullptr) conflict(name);
      return;
    }
    if (!is_there) {
      _merge.target.acls.emplace(number, *wanted);
      return;
    }
    Acl& now = at->second;
    merge_entries(base == nullptr ? NO_ACL.rules : base->rules,
                  wanted == nullptr ? NO_ACL.rules : wanted->rules, now.rules,
                  [number](std::uint32_t rule) {
                    return rule_name({number, rule});
                  });
    if (wanted == nullptr) return remove_acl(at, *base);
    if (base == nullptr) {
      if (now.type != wanted->type || now.description != wanted->description) conflict(name);
      return;
    }
    merge_setting(base->type, wanted->type, now.type, name + " type");
    merge_setting(base->description, wanted->description, now.description, name + " description");
  }

  void remove_acl(std::map<std::uint32_t, Acl>::iterator at, const Acl& base) {
    const std::string name = "acl " + std::to_string(at->first);
    const bool is_same = at->second.type == base.type && at->second.description == base.description;
    if (!is_same) conflict(name);
    // Those that are left were added or changed by somebody else.
    for (const auto& [rule, value] : at->second.rules) {
      if (!base.rules.contains(rule)) conflict(rule_name({at->first, rule}));
    }
    _merge.target.acls.erase(at);
  }

  template <typename Records, typename Name>
  void merge_records(const Records& base, const Records& wanted, Records& now, Name name) {
    for (const auto& [key, made] : wanted) {
      const Bindings* const before = find_entry(base, key);
      const Bindings& old = before == nullptr ? NO_BINDINGS : *before;
      if (made == old) continue;
      const auto at = now.find(key);
      if (at == now.end()) {
        conflict(name(key));
      } else {
        merge_bindings(old, made, at->second, name(key));
      }
    }
  }

  void merge_bindings(const Bindings& base, const Bindings& wanted, Bindings& now,
                      const std::string& name) {
    merge_filters(base.filters, wanted.filters, now.filters, name);
    merge_entries(base.remarks, wanted.remarks, now.remarks,
                  [&name](const RuleKey& key) { return name + " remark " + rule_name(key); });
    merge_setting(base.cos_value, wanted.cos_value, now.cos_value, name + " cos-value");
  }

  // Filters that were taken away go, new ones come behind; with another order of
  // those that stay only one change at a time can be.
  void merge_filters(const std::vector<RuleKey>& base, const std::vector<RuleKey>& wanted,
                     std::vector<RuleKey>& now, const std::string& name) {
    if (base == wanted || now == wanted) return;
    if (now == base) {
      now = wanted;
      return;
    }
    const std::set<RuleKey> before(base.begin(), base.end());
    const std::set<RuleKey> after(wanted.begin(), wanted.end());
    const std::vector<RuleKey> kept = kept_of(base, after);
    if (kept.size() > wanted.size() || !std::equal(kept.begin(), kept.end(), wanted.begin())) {
      return conflict(name + " filters");
    }
    std::erase_if(now, [&](const RuleKey& k) { return before.contains(k) && !after.contains(k); });
    for (const RuleKey& key : wanted) {
      if (before.contains(key)) continue;
      if (std::find(now.begin(), now.end(), key) == now.end()) now.push_back(key);
    }
  }

  // What one side bound and the other took the rule of.
  template <typename Records, typename Name>
  void check_bindings(const Records& records, Name name) {
    for (const auto& [key, bindings] : records) {
      for (const RuleKey& rule : bindings.filters) {
        if (find_rule(_merge.target, rule) == nullptr) {
          conflict(name(key) + " filter " + rule_name(rule));
        }
      }
      for (const auto& [rule_key, remark] : bindings.remarks) {
        const Rule* const rule = find_rule(_merge.target, rule_key);
        if (rule == nullptr || rule->action != PERMIT) {
          conflict(name(key) + " remark " + rule_name(rule_key));
        }
      }
    }
  }

  const Configuration& _base;
  const Configuration& _wanted;
  Merge _merge;
};

}  // namespace

Merge merge(const Configuration& base, const Configuration& wanted, const Configuration& now) {
  return Merging(base, wanted, now).merge();
}
