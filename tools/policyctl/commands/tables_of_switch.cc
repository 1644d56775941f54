#include "tools/policyctl/commands/tables_of_switch.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "tools/policyctl/commands/context.h"
#include "tools/policyctl/commands/rule_table.h"
#include "tools/policyctl/commands/table.h"
#include "tools/policyctl/commands/table_text.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

using Align = TableColumn::Align;

class TablesMaker {
 public:
  TablesMaker(const Configuration& configuration, const TableStyle& style)
      : _configuration(configuration), _style(style) {
    const auto count = [this](const Bindings& bindings) {
      std::set<RuleKey> held(bindings.filters.begin(), bindings.filters.end());
      for (const auto& [key, remark] : bindings.remarks) held.insert(key);
      for (const RuleKey& key : held) ++_bindings[key];
    };
    for (const auto& [name, bindings] : configuration.interfaces) count(bindings);
    for (const auto& [id, bindings] : configuration.vlans) count(bindings);
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
  [[nodiscard]] std::size_t bindings_of(std::uint32_t acl, const Acl& list) const;
  template <typename Records>
  void records(const Records& records, const std::string& title, const std::string& thing);

  const Configuration& _configuration;
  TableStyle _style;
  std::map<RuleKey, std::size_t> _bindings;
  std::string _text;
};

void add_queues(Table& table, const std::string& what,
                const std::map<std::uint32_t, std::uint32_t>& queues,
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
  const ClassOfService& cos = _configuration.cos;
  if (cos.flag) heading(cos_flag_statement(*cos.flag));
  if (cos.mode) _text += cos_mode_statement(*cos.mode) + '\n';
  if (cos.schedule) _text += cos_schedule_statement(*cos.schedule) + '\n';
  std::set<std::uint32_t> all;
  for (const auto* queues : {&cos.priority_queues, &cos.mapping}) {
    for (const auto& [priority, queue] : *queues) all.insert(priority);
  }
  const std::vector<std::uint32_t> priorities(all.begin(), all.end());
  std::vector<TableColumn> columns{{"PRIORITY"}};
  for (const std::uint32_t priority : priorities) {
    columns.push_back({std::to_string(priority), Align::RIGHT});
  }
  Table table(std::move(columns));
  add_queues(table, "queue (cos priority)", cos.priority_queues, priorities);
  add_queues(table, "queue (cos mapping)", cos.mapping, priorities);
  write(table);
}

void TablesMaker::time_ranges() {
  if (_configuration.time_ranges.empty()) return heading("No time ranges.");
  Table table({{"TIME-RANGE"},
               {"NUMBER", Align::RIGHT},
               {"NUMBER", Align::RIGHT},
               {"SWITCH"},
               {"NUMBER", Align::RIGHT},
               {"NUMBER", Align::RIGHT}});
  for (const auto& [name, range] : _configuration.time_ranges) {
    table.add(name);
    table.add(range.number1);
    table.add(range.number2);
    table.add(range.flag ? "on" : "off");
    table.add(range.number3);
    table.add(range.number4);
  }
  heading(counted(_configuration.time_ranges.size(), "time range") + ":");
  write(table);
}

std::size_t TablesMaker::bindings_of(std::uint32_t acl, const Acl& list) const {
  std::size_t count = 0;
  for (auto at = _bindings.lower_bound({acl, 0}); at != _bindings.end() && at->first.acl == acl;
       ++at) {
    if (list.rules.contains(at->first.rule)) count += at->second;
  }
  return count;
}

void TablesMaker::acls() {
  if (_configuration.acls.empty()) return heading("No access control lists.");
  Table table({{"ACL", Align::RIGHT},
               {"TYPE", Align::RIGHT},
               {"RULES", Align::RIGHT},
               {"BINDINGS", Align::RIGHT},
               {"DESCRIPTION", Align::LEFT, true}});
  for (const auto& [number, acl] : _configuration.acls) {
    table.add(number);
    table.add(acl.type);
    table.add(acl.rules.size());
    table.add(bindings_of(number, acl));
    table.add(acl.description, TextColour::FAINT);
  }
  heading(counted(_configuration.acls.size(), "access control list") + ":");
  write(table);
}

std::string acl_heading(std::uint32_t number, const Acl& acl) {
  const std::string head =
      acl_statement(number, Acl{acl.type, "", {}}) + ", " + counted(acl.rules.size(), "rule");
  return acl.description.empty() ? head : head + ": " + shown_text(acl.description);
}

void TablesMaker::rules() {
  for (const auto& [acl_number, acl] : _configuration.acls) {
    const std::uint32_t number = acl_number;
    heading(cut_text(acl_heading(number, acl), _style.width));
    if (acl.rules.empty()) continue;
    const BindingCount bindings = [this, number](std::uint32_t rule) {
      const auto at = _bindings.find({number, rule});
      return at == _bindings.end() ? 0 : at->second;
    };
    append_rule_table(_text, acl.rules, bindings, _style);
  }
}

void add_name(Table& table, const std::string& name) {
  table.add(name);
}
void add_name(Table& table, std::uint32_t id) {
  table.add(id);
}

std::string without_verb(const std::string& statement) {
  return statement.substr(statement.find(' ') + 1);
}

// A line for each filter and remark, the name and the value beside the first.
template <typename Name>
void add_record(Table& table, const Name& name, const Bindings& bindings) {
  auto remark = bindings.remarks.begin();
  const std::size_t lines =
      std::max<std::size_t>({1, bindings.filters.size(), bindings.remarks.size()});
  for (std::size_t line = 0; line < lines; ++line) {
    if (line == 0) {
      add_name(table, name);
      table.add(bindings.cos_value ? std::to_string(*bindings.cos_value) : "");
    } else {
      table.add("");
      table.add("");
    }
    table.add(line < bindings.filters.size()
                  ? without_verb(filter_statement(bindings.filters[line]))
                  : "");
    if (remark != bindings.remarks.end()) {
      table.add(without_verb(remark_statement(remark->first, remark->second)));
      ++remark;
    }
    table.end_row();
  }
}

// Those with something bound, or the only one.
template <typename Records>
void TablesMaker::records(const Records& records, const std::string& title,
                          const std::string& thing) {
  Table table({{title}, {"COS-VALUE", Align::RIGHT}, {"FILTERS"}, {"REMARKS"}});
  std::size_t bare = 0;
  for (const auto& [name, bindings] : records) {
    if (bindings.is_bare() && records.size() > 1) {
      ++bare;
    } else {
      add_record(table, name, bindings);
    }
  }
  const std::size_t shown = records.size() - bare;
  if (shown == 0) return heading("Nothing is bound to the " + counted(bare, thing) + ".");
  heading(counted(shown, thing) +
          (bare > 0 ? ", " + std::to_string(bare) + " more with nothing bound:" : ":"));
  write(table);
}

void TablesMaker::interfaces() {
  records(_configuration.interfaces, "INTERFACE", "interface");
}

void TablesMaker::vlans() {
  records(_configuration.vlans, "VLAN", "VLAN");
}

}  // namespace

std::string tables_of_switch(Configuration configuration, const Selection& selection,
                             const TableStyle& style) {
  TablesMaker tables(configuration, style);
  selection.narrow(configuration);
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
