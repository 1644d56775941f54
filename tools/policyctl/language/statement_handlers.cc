#include "tools/policyctl/language/statement_handlers.h"

#include <utility>

void StatementEntry::open_acl(std::uint32_t number, Acl& acl) {
  _context = StatementContext::ACL;
  _acl_number = number;
  _acl = &acl;
}

void StatementEntry::open_interface(const StatementValues::Value& name) {
  _interface = name.text;
  _vlan = 0;
  open_bindings(_configuration.interfaces[_interface], name);
}

void StatementEntry::open_vlan(const StatementValues::Value& id) {
  _interface.clear();
  _vlan = id.number;
  open_bindings(_configuration.vlans[_vlan], id);
}

void StatementEntry::open_unread(StatementContext context) {
  _unread_acl = {};
  _unread_bindings = {};
  _context = context;
  _acl = &_unread_acl;
  _bindings = &_unread_bindings;
  _filters.clear();
  _interface = "not read";
}

void StatementEntry::open_bindings(Bindings& bindings, const StatementValues::Value& at) {
  _context = StatementContext::BINDINGS;
  _bindings = &bindings;
  _filters = std::set<RuleKey>(bindings.filters.begin(), bindings.filters.end());
  _records_placed.push_back({_interface, _vlan, _line, at.word->column, at.word->length});
}

bool StatementEntry::add_filter(const RuleKey& key) {
  if (!_filters.insert(key).second) return false;
  _bindings->filters.push_back(key);
  return true;
}

void StatementEntry::note_binding(const RuleKey& key, bool is_remark,
                                  const StatementValues::Value& rule) {
  _bindings_placed.push_back(
      {_interface, _vlan, key, is_remark, _line, rule.word->column, rule.word->length});
}

void StatementEntry::note_denial(const StatementValues::Value& rule) {
  _denials_placed.push_back(
      {{_acl_number, rule.number}, _line, rule.word->column, rule.word->length});
}

void StatementEntry::refuse(const StatementValues::Value& at, std::string message,
                            std::string advice) {
  _faults.push_back(
      {_line, at.word->column, at.word->length, std::move(message), std::move(advice)});
}

namespace {

constexpr const char* SAY_IT_ONCE = "Say it once.";

// Settings are said once, lest the last one win unseen.
template <typename T>
void set_once(StatementEntry& entry, std::optional<T>& setting, T value,
              const StatementValues::Value& at) {
  if (setting) return entry.refuse(at, "this was said above already.", SAY_IT_ONCE);
  setting = std::move(value);
}

void map_once(StatementEntry& entry, std::map<std::uint32_t, std::uint32_t>& queues,
              const StatementValues& values) {
  const auto& [priority, queue] = std::pair(values.arguments[0], values.arguments[1]);
  if (!queues.emplace(priority.number, queue.number).second) {
    entry.refuse(priority, "the queue of this priority was said above already.", SAY_IT_ONCE);
  }
}

void enter_remark(StatementEntry& entry, const StatementValues& values, RemarkKind kind) {
  const auto& [acl, rule, value] =
      std::tuple(values.arguments[0], values.arguments[1], values.arguments[2]);
  const RuleKey key{acl.number, rule.number};
  if (!entry.bindings().remarks.emplace(key, Remark{kind, value.number}).second) {
    return entry.refuse(rule, "this rule has a remark here already.",
                        "A rule has one remark for each interface or VLAN.");
  }
  entry.note_binding(key, true, rule);
}

}  // namespace

void enter_cos_flag(StatementEntry& entry, const StatementValues& values) {
  set_once(entry, entry.configuration().cos.flag, values.arguments[0].number != 0,
           values.arguments[0]);
}

void enter_cos_schedule_mode(StatementEntry& entry, const StatementValues& values) {
  set_once(entry, entry.configuration().cos.mode, values.arguments[0].number, values.arguments[0]);
}

void enter_cos_schedule_algorithm(StatementEntry& entry, const StatementValues& values) {
  Schedule schedule;
  schedule.algorithm = values.arguments[0].number;
  for (std::size_t queue = 0; queue < schedule.weights.size(); ++queue) {
    schedule.weights[queue] = values.arguments[1 + queue].number;
  }
  set_once(entry, entry.configuration().cos.schedule, schedule, values.arguments[0]);
}

void enter_cos_priority(StatementEntry& entry, const StatementValues& values) {
  map_once(entry, entry.configuration().cos.priority_queues, values);
}

void enter_cos_mapping(StatementEntry& entry, const StatementValues& values) {
  map_once(entry, entry.configuration().cos.mapping, values);
}

void enter_time_range(StatementEntry& entry, const StatementValues& values) {
  const auto& given = values.arguments;
  const TimeRange range{given[1].number, given[2].number, given[3].number != 0, given[4].number,
                        given[5].number};
  if (!entry.configuration().time_ranges.emplace(given[0].text, range).second) {
    entry.refuse(given[0], "a time range of this name stands above already.", SAY_IT_ONCE);
  }
}

void enter_acl(StatementEntry& entry, const StatementValues& values) {
  const auto& [number, type, description] =
      std::tuple(values.arguments[0], values.arguments[1], values.arguments[2]);
  const auto [at, is_new] = entry.configuration().acls.try_emplace(number.number);
  entry.open_acl(number.number, at->second);
  if (!is_new) {
    return entry.refuse(number, "this access control list stands above already.",
                        "Move its rules there.");
  }
  at->second.type = type.number;
  at->second.description = description.text;
}

void enter_interface(StatementEntry& entry, const StatementValues& values) {
  const StatementValues::Value& name = values.arguments[0];
  if (name.text.empty()) {
    entry.close();
    return entry.refuse(name, "an interface has a name.");
  }
  entry.open_interface(name);
}

void enter_vlan(StatementEntry& entry, const StatementValues& values) {
  entry.open_vlan(values.arguments[0]);
}

void enter_rule(StatementEntry& entry, const StatementValues& values) {
  const auto& [number, action, description] =
      std::tuple(values.arguments[0], values.arguments[1], values.arguments[2]);
  std::map<std::uint32_t, Rule>& rules = entry.acl().rules;
  const std::size_t rules_before = rules.size();
  // Most files have their rules in ascending order.
  Rule& rule = rules.try_emplace(rules.end(), number.number)->second;
  if (rules.size() == rules_before) {
    return entry.refuse(number, "this rule stands above already.", SAY_IT_ONCE);
  }
  rule.action = action.number;
  rule.fields = values.fields;
  rule.description = description.text;
  if (rule.action == DENY) entry.note_denial(number);
}

void enter_cos_value(StatementEntry& entry, const StatementValues& values) {
  if (!entry.is_interface()) {
    return entry.refuse(values.arguments[0], "a VLAN has no class-of-service value.",
                        "It stands below an 'interface' line.");
  }
  set_once(entry, entry.bindings().cos_value, values.arguments[0].number, values.arguments[0]);
}

void enter_filter(StatementEntry& entry, const StatementValues& values) {
  const StatementValues::Value& rule = values.arguments[1];
  const RuleKey key{values.arguments[0].number, rule.number};
  if (!entry.add_filter(key)) {
    return entry.refuse(rule, "this rule is bound here already.", SAY_IT_ONCE);
  }
  entry.note_binding(key, false, rule);
}

void enter_remark_dscp(StatementEntry& entry, const StatementValues& values) {
  enter_remark(entry, values, REMARK_DSCP);
}

void enter_remark_priority(StatementEntry& entry, const StatementValues& values) {
  enter_remark(entry, values, REMARK_PRIORITY);
}

void enter_remark_two_bit(StatementEntry& entry, const StatementValues& values) {
  enter_remark(entry, values, REMARK_TWO_BIT);
}
