#include "tools/policyctl/render/tables_of_switch.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "tools/policyctl/entries/acl.h"
#include "tools/policyctl/entries/binding.h"
#include "tools/policyctl/entries/queue_map.h"
#include "tools/policyctl/entries/record.h"
#include "tools/policyctl/entries/remark.h"
#include "tools/policyctl/entries/setting.h"
#include "tools/policyctl/entries/time_range.h"
#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/render/counted.h"
#include "tools/policyctl/render/rule_table.h"
#include "tools/policyctl/render/table.h"
#include "tools/policyctl/render/table_text.h"

namespace {

using Align = TableColumn::Align;

class TablesMaker {
 public:
  TablesMaker(const Entries& entries, const TableStyle& style) : _entries(entries), _style(style) {
    std::set<std::pair<EntryKey, RuleKey>> held;
    for (const auto& [key, value] : entries.of(FILTER)) {
      for (const Element& each : elements_of(&value)) held.insert({key, {each.first, each.second}});
    }
    for (const auto& [key, value] : entries.of(REMARK)) {
      held.insert({key_above(REMARK, key), bound_rule(key)});
    }
    for (const auto& [record, rule] : held) ++_bindings[rule];
  }

  [[nodiscard]] std::string take() { return std::move(_text); }

  void class_of_service();
  void time_ranges();
  void acls();
  void rules();  // of each list
  void interfaces();
  void vlans();

 private:
  void heading(const std::string& text) {
    if (!_text.empty()) _text += '\n';
    _text += text + '\n';
  }
  void write(const Table& table) { table.write(_text, _style.width, _style.in_colour); }
  [[nodiscard]] std::size_t bindings_of(std::uint32_t acl) const;
  [[nodiscard]] NumberedRules rules_of(std::uint32_t acl) const;
  void records(const EntryKind& kind, const std::string& title, const std::string& thing);
  void add_record(Table& table, const EntryKey& key) const;

  const Entries& _entries;
  TableStyle _style;
  std::map<RuleKey, std::size_t> _bindings;
  std::string _text;
};

void add_queues(Table& table, const std::string& what, const Queues& queues,
                const std::vector<std::uint32_t>& priorities) {
  table.add(what);
  for (const std::uint32_t priority : priorities) {
    const auto at = queues.find(priority);
    if (at == queues.end()) {
      table.add("");
    } else {
      table.add(at->second);
    }
  }
}

void TablesMaker::class_of_service() {
  for (const EntryKind* kind : {&COS_FLAG, &COS_SCHEDULE_MODE, &COS_SCHEDULE_ALGORITHM}) {
    const EntryValue* const value = _entries.find(*kind, {});
    if (value == nullptr) continue;
    if (kind == &COS_FLAG) {
      heading(statement_text(*kind, {}, *value));
    } else {
      _text += statement_text(*kind, {}, *value) + '\n';
    }
  }
  const Queues kept = queues_of(_entries.of(COS_PRIORITY));
  const Queues programmed = queues_of(_entries.of(COS_MAPPING));
  std::set<std::uint32_t> all;
  for (const Queues* queues : {&kept, &programmed}) {
    for (const auto& [priority, queue] : *queues) all.insert(priority);
  }
  const std::vector<std::uint32_t> priorities(all.begin(), all.end());
  std::vector<TableColumn> columns{{"PRIORITY"}};
  for (const std::uint32_t priority : priorities) {
    columns.push_back({std::to_string(priority), Align::RIGHT});
  }
  Table table(std::move(columns));
  add_queues(table, "queue (cos priority)", kept, priorities);
  add_queues(table, "queue (cos mapping)", programmed, priorities);
  write(table);
}

void TablesMaker::time_ranges() {
  const EntryMap& all = _entries.of(TIME_RANGE);
  if (all.empty()) return heading("No time ranges.");
  Table table({{"TIME-RANGE"},
               {"NUMBER", Align::RIGHT},
               {"NUMBER", Align::RIGHT},
               {"SWITCH"},
               {"NUMBER", Align::RIGHT},
               {"NUMBER", Align::RIGHT}});
  for (const auto& [key, value] : all) {
    const TimeRange range = time_range_of(value);
    table.add(key.name.view());
    table.add(range.number1);
    table.add(range.number2);
    table.add(range.flag ? "on" : "off");
    table.add(range.number3);
    table.add(range.number4);
  }
  heading(counted(all.size(), "time range") + ":");
  write(table);
}

std::size_t TablesMaker::bindings_of(std::uint32_t acl) const {
  std::size_t count = 0;
  for (auto at = _bindings.lower_bound({acl, 0}); at != _bindings.end() && at->first.acl == acl;
       ++at) {
    if (_entries.has(RULE, key_of(at->first))) count += at->second;
  }
  return count;
}

NumberedRules TablesMaker::rules_of(std::uint32_t acl) const {
  NumberedRules rules;
  for_each_below(key_of(acl), _entries.of(RULE), [&](const EntryKey& key, const EntryValue& value) {
    rules.emplace_back(key.numbers[1], value);
  });
  return rules;
}

void TablesMaker::acls() {
  const EntryMap& all = _entries.of(ACL);
  if (all.empty()) return heading("No access control lists.");
  Table table({{"ACL", Align::RIGHT},
               {"TYPE", Align::RIGHT},
               {"RULES", Align::RIGHT},
               {"BINDINGS", Align::RIGHT},
               {"DESCRIPTION", Align::LEFT, true}});
  for (const auto& [key, value] : all) {
    std::size_t rules = 0;
    for_each_below(key, _entries.of(RULE), [&](const EntryKey&, const EntryValue&) { ++rules; });
    table.add(key.numbers[0]);
    table.add(value.number(0));
    table.add(rules);
    table.add(bindings_of(key.numbers[0]));
    table.add(value.text(), TextColour::FAINT);
  }
  heading(counted(all.size(), "access control list") + ":");
  write(table);
}

void TablesMaker::rules() {
  for (const auto& [key, value] : _entries.of(ACL)) {
    const std::uint32_t number = key.numbers[0];
    const NumberedRules rules = rules_of(number);
    std::string head =
        statement_text(ACL, key, value.with_text("")) + ", " + counted(rules.size(), "rule");
    if (!value.text().empty()) head += ": " + shown_text(value.text());
    heading(cut_text(head, _style.width));
    if (rules.empty()) continue;
    const BindingCount bindings = [this, number](std::uint32_t rule) {
      const auto at = _bindings.find({number, rule});
      return at == _bindings.end() ? 0 : at->second;
    };
    append_rule_table(_text, rules, bindings, _style);
  }
}

std::string without_verb(const std::string& statement) {
  return statement.substr(statement.find(' ') + 1);
}

// A line for each filter and remark, the name and the value beside the first.
void TablesMaker::add_record(Table& table, const EntryKey& key) const {
  std::vector<std::string> filters;
  for (const RuleKey& rule : filters_at(_entries, key)) {
    filters.push_back(without_verb(statement_text(FILTER, key_at(key, rule))));
  }
  std::vector<std::string> remarks;
  for_each_below(key, _entries.of(REMARK), [&](const EntryKey& own, const EntryValue& value) {
    remarks.push_back(without_verb(statement_text(REMARK, own, value)));
  });
  const EntryValue* const cos_value = _entries.find(COS_VALUE, key);
  const std::size_t lines = std::max<std::size_t>({1, filters.size(), remarks.size()});
  for (std::size_t line = 0; line < lines; ++line) {
    const bool is_first = line == 0;
    const std::string name =
        key.name.empty() ? std::to_string(key.numbers[0]) : std::string(key.name.view());
    table.add(is_first ? name : "");
    table.add(is_first && cos_value != nullptr ? std::to_string(cos_value->number(0)) : "");
    table.add(line < filters.size() ? filters[line] : "");
    table.add(line < remarks.size() ? remarks[line] : "");
  }
}

// Those with something bound, or the only one.
void TablesMaker::records(const EntryKind& kind, const std::string& title,
                          const std::string& thing) {
  Table table({{title}, {"COS-VALUE", Align::RIGHT}, {"FILTERS"}, {"REMARKS"}});
  const EntryMap& all = _entries.of(kind);
  std::size_t bare = 0;
  for (const auto& [key, value] : all) {
    if (all.size() > 1 && is_bare(kind, key, _entries)) {
      ++bare;
    } else {
      add_record(table, key);
    }
  }
  const std::size_t shown = all.size() - bare;
  if (shown == 0) return heading("Nothing is bound to the " + counted(bare, thing) + ".");
  heading(counted(shown, thing) +
          (bare > 0 ? ", " + std::to_string(bare) + " more with nothing bound:" : ":"));
  write(table);
}

void TablesMaker::interfaces() {
  records(INTERFACE, "INTERFACE", "interface");
}

void TablesMaker::vlans() {
  records(VLAN, "VLAN", "VLAN");
}

}  // namespace

std::string tables_of_switch(Entries entries, const Selection& selection, const TableStyle& style) {
  TablesMaker tables(entries, style);
  selection.narrow(entries);
  const std::string_view kind = selection.kind();
  const auto is_any_of = [kind](std::string_view one, std::string_view many) {
    return kind.empty() || kind == one || kind == many;
  };
  if (is_any_of("cos", "cos")) tables.class_of_service();
  if (is_any_of("time-range", "time-ranges")) tables.time_ranges();
  if (kind.empty() || kind == "acls") tables.acls();
  if (kind.empty() || kind == "acl") tables.rules();
  if (is_any_of("interface", "interfaces")) tables.interfaces();
  if (is_any_of("vlan", "vlans")) tables.vlans();
  return tables.take();
}
