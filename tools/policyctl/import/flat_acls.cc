#include "tools/policyctl/import/flat_parts.h"

#include <algorithm>
#include <map>
#include <set>

#include "tools/policyctl/entries/acl.h"
#include "tools/policyctl/entries/binding.h"
#include "tools/policyctl/entries/record.h"
#include "tools/policyctl/import/flat_rule.h"
#include "tools/policyctl/import/match_spelling.h"
#include "tools/policyctl/language/elements.h"

namespace {

// A small file can name rules and ports whose product is not small.
constexpr std::size_t MOST_BINDINGS = 1'000'000;

using Names = std::set<std::string, std::less<>>;

struct List {
  std::uint32_t number = 0;
  Names ports;
  bool is_bound = true;  // to its ports
  std::vector<FlatRule> rules;
};

class FlatAcls {
 public:
  FlatAcls(const FlatTables& tables, AclNumbers numbers, Entries& entries, ImportLog& log)
      : _tables(tables), _numbers(numbers), _entries(entries), _log(log) {}

  void import() {
    for (const FlatEntry& port : _tables.entries("PORT")) _known_ports.insert(port.key);
    for (const FlatEntry& port : _tables.entries("PORTCHANNEL")) _known_ports.insert(port.key);
    for (const FlatEntry& entry : _tables.entries("ACL_TABLE")) read_table(entry);
    for (const FlatEntry& entry : _tables.entries("ACL_RULE")) read_rule(entry);
    if (!_tables.entries("ACL_RULE").empty()) {
      _log.note("ACL_RULE", "PRIORITY",
                "rules are numbered from 1, those of the highest priority first.");
    }
    for (List& list : _lists) number_rules(list);
  }

 private:
  // Null when no number is left.
  List* open_list(const std::string& name, const std::string& path) {
    const auto known = _places.find(name);
    if (known != _places.end()) return &_lists[known->second];
    const std::optional<std::uint32_t> number = _numbers.next();
    if (!number) {
      _log.fault(path, "no number of an access control list is left.");
      return nullptr;
    }
    _places.emplace(name, _lists.size());
    _entries.put(ACL, key_of(*number), acl_value(0, name));
    _lists.push_back({*number, {}, true, {}});
    return &_lists.back();
  }

  void read_table(const FlatEntry& entry) {
    List* const list = open_list(entry.key, entry.path);
    if (list == nullptr) return;
    for (const auto& [member, value] : entry.value->members) {
      read_table_member(entry, *list, member, value, json_path(entry.path, member));
    }
  }

  void read_table_member(const FlatEntry& entry, List& list, const std::string& member,
                         const JsonValue& value, const std::string& path) {
    const std::optional<std::string_view> text = _log.scalar(path, value);
    if (!text) return;
    if (member == "policy_desc") {
      if (*text != entry.key && !text->empty()) {
        _entries.put(ACL, key_of(list.number),
                     acl_value(0, entry.key + ": " + std::string(value.text)));
      }
    } else if (member == "ports@") {
      read_ports(list, *text, path);
    } else if (member == "stage") {
      if (*text == "ingress") return;
      list.is_bound = false;
      _log.note(path, describe(value),
                "packet filters look at what comes in; the rules are bound nowhere.");
    } else if (member == "services@") {
      list.is_bound = false;
      _log.note(path, describe(value),
                "policyd guards no services of the switch; the rules are bound nowhere.");
    } else if (member == "type") {
      _log.note(path, describe(value), "a list of policyd has rules of any kind.");
    } else {
      _log.note(path, describe(value), "policyd has nothing like it.");
    }
  }

  // Only ports that the configuration has: others could not be bound to.
  void read_ports(List& list, std::string_view text, const std::string& path) {
    std::string unknown;
    for (const std::string_view name : split_list(text)) {
      if (name.empty()) continue;
      if (_known_ports.empty() || _known_ports.count(name) > 0) {
        list.ports.emplace(name);
      } else {
        if (!unknown.empty()) unknown += ", ";
        unknown += name;
      }
    }
    if (unknown.empty()) return;
    _log.note(path, printable(unknown),
              "neither PORT nor PORTCHANNEL has them; nothing is bound there.");
  }

  void read_rule(const FlatEntry& entry) {
    const std::size_t at = entry.key.find('|');
    if (at == std::string::npos) {
      return _log.fault(entry.path, "a rule is named ACL_RULE|TABLE|RULE.");
    }
    const std::string table = entry.key.substr(0, at);
    if (_places.count(table) == 0) {
      _log.note(entry.path, "no ACL_TABLE", "the list is made without one and bound nowhere.");
    }
    List* const list = open_list(table, entry.path);
    if (list == nullptr) return;
    list->rules.push_back(read_flat_rule(entry, std::string_view(entry.key).substr(at + 1), _log));
  }

  void number_rules(List& list) {
    const auto is_before = [](const FlatRule& a, const FlatRule& b) {
      return a.priority > b.priority;
    };
    std::stable_sort(list.rules.begin(), list.rules.end(), is_before);
    std::uint32_t number = 0;
    for (FlatRule& each : list.rules) {
      if (!each.rule) continue;
      if (each.rule->fields.empty()) {
        _log.note(each.path, "no condition", "the rule matches every packet.");
      }
      _entries.put(RULE, key_of(RuleKey{list.number, ++number}), value_of(*each.rule));
    }
    if (list.is_bound) bind_rules(list, number);
  }

  // Rules 1 to `last` of the list to its ports.
  void bind_rules(const List& list, std::uint32_t last) {
    if (last == 0) return;
    if (last * list.ports.size() > MOST_BINDINGS - _bindings) {
      return _log.fault(
          "/ACL_TABLE",
          "the file binds rules to ports more than " + std::to_string(MOST_BINDINGS) + " times.",
          "Import it in parts.");
    }
    _bindings += last * list.ports.size();
    for (const std::string& port : list.ports) {
      const EntryKey record = key_of(std::string_view(port));
      _entries.of(INTERFACE).try_emplace(record);
      Elements filters = elements_of(_entries.find(FILTER, record));
      for (std::uint32_t rule = 1; rule <= last; ++rule) filters.emplace_back(list.number, rule);
      put_elements(_entries, FILTER, record, filters);
    }
  }

  const FlatTables& _tables;
  AclNumbers _numbers;
  Entries& _entries;
  ImportLog& _log;
  Names _known_ports;
  std::size_t _bindings = 0;
  std::vector<List> _lists;
  std::map<std::string, std::size_t> _places;  // of lists, by name
};

}  // namespace

void import_flat_acls(const FlatTables& tables, AclNumbers numbers, Entries& entries,
                      ImportLog& log) {
  FlatAcls(tables, numbers, entries, log).import();
}
