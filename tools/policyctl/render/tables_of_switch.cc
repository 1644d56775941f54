#include "tools/policyctl/render/tables_of_switch.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <utility>

#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/language/entry_arguments.h"
#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/render/rule_table.h"
#include "tools/policyctl/render/table.h"
#include "tools/policyctl/render/table_text.h"

namespace {

using Align = TableColumn::Align;

const std::vector<PatternElement>& pattern_of(const EntryKind& kind) {
  return statements_of(kind).front().elements;
}

std::string keyword(const EntryKind& kind) {
  return std::string(pattern_of(kind)[0].word);
}

std::string title(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

bool has_fields(const EntryKind& kind) {
  const auto& pattern = pattern_of(kind);
  return std::any_of(pattern.begin(), pattern.end(), [](const PatternElement& element) {
    return element.kind == PatternElement::Kind::FIELDS;
  });
}

// What may be left out of a statement is its description.
bool has_description(const EntryKind& kind) {
  const auto& pattern = pattern_of(kind);
  return std::any_of(pattern.begin(), pattern.end(),
                     [](const PatternElement& element) { return element.optional; });
}

std::string without_verb(const std::string& statement) {
  return statement.substr(statement.find(' ') + 1);
}

class TablesMaker {
 public:
  TablesMaker(const Entries& entries, const Selection& selection, const TableStyle& style)
      : _entries(entries), _selection(selection), _style(style) {
    count_uses();
  }

  // Of what is left of the entries by now.
  std::string make() {
    settings();
    for (const EntryKind* kind : entry_kinds()) {
      if (*kind->facts().below != &TOP_LEVEL || !_selection.has(*kind)) continue;
      if (*kind->facts().presence == Presence::MADE) made(*kind);
      if (*kind->facts().presence == Presence::OUTSIDE) bound(*kind);
    }
    return std::move(_text);
  }

 private:
  // A record that binds an entry in several ways is one binding.
  void count_uses() {
    std::set<std::pair<EntryKey, EntryKey>> held;
    for (const EntryKind* kind : using_kinds()) {
      for_each_said(*kind, _entries, [&](const EntryKey& key, const EntryValue&) {
        held.insert({key_above(*kind, key), used_key(key)});
      });
    }
    for (const auto& [record, used] : held) ++_uses[used];
  }

  void heading(const std::string& text) {
    if (!_text.empty()) _text += '\n';
    _text += text + '\n';
  }
  void write(const Table& table) { table.write(_text, _style.width, _style.in_colour); }

  // Those of the switch itself: a line each, and a matrix of those that have one for
  // each of some numbers.
  void settings() {
    std::vector<const EntryKind*> maps;
    std::string lines;
    for (const EntryKind* kind : entry_kinds()) {
      const bool is_one = *kind->facts().below == &TOP_LEVEL && _selection.has(*kind) &&
                          *kind->facts().presence == Presence::ALWAYS;
      if (!is_one) continue;
      if (*kind->facts().key_arguments > 0) {
        maps.push_back(kind);
      } else if (const EntryValue* const value = _entries.find(*kind, {}); value != nullptr) {
        lines += statement_text(*kind, {}, *value) + '\n';
      }
    }
    _text += lines;
    if (!maps.empty()) matrix(maps);
  }

  // A column for each number that any of them has: "queue (cos priority)  4  7".
  void matrix(const std::vector<const EntryKind*>& maps) {
    std::set<EntryKey> keys;
    for (const EntryKind* kind : maps) {
      for (const auto& [key, value] : _entries.of(*kind)) keys.insert(key);
    }
    std::vector<TableColumn> columns{{std::string(pattern_of(*maps[0])[2].word)}};
    for (const EntryKey& key : keys)
      columns.push_back({std::to_string(key.numbers[0]), Align::RIGHT});
    Table table(std::move(columns));
    for (const EntryKind* kind : maps) {
      const auto& pattern = pattern_of(*kind);
      table.add(std::string(pattern[3].word) + " (" + keyword(*kind) + " " +
                std::string(pattern[1].word) + ")");
      for (const EntryKey& key : keys) {
        const EntryValue* const value = _entries.find(*kind, key);
        table.add(value == nullptr ? std::string() : std::to_string(value->number(0)));
      }
    }
    write(table);
  }

  // What the operator makes: all of it in a table, and what stands below one by one.
  void made(const EntryKind& kind) {
    const EntryKind* listed = nullptr;  // a kind whose entries have a table of their own
    for (const EntryKind* child : entry_kinds()) {
      if (stands_below(*child, kind) && has_fields(*child)) listed = child;
    }
    const std::string_view selected = _selection.kind();
    const bool is_single = selected == keyword(kind);
    if (!is_single || listed == nullptr) all_of(kind);
    if (listed != nullptr && (is_single || selected.empty())) each_of(kind, *listed);
  }

  void all_of(const EntryKind& kind) {
    const EntryMap& all = _entries.of(kind);
    const std::string noun(*kind.facts().noun);
    if (all.empty()) return heading("No " + noun + "s.");
    std::vector<const EntryKind*> children;
    for (const EntryKind* child : kinds_below(kind)) children.push_back(child);
    Table table(columns_of(kind, children));
    for (const auto& [key, value] : all) {
      add_arguments(table, kind, key, value);
      for (const EntryKind* child : children) {
        std::size_t count = 0;
        for_each_below(key, _entries.of(*child), [&](const auto&, const auto&) { ++count; });
        table.add(count);
      }
      if (!children.empty()) table.add(uses_below(key, children));
      if (has_description(kind)) table.add(value.text(), TextColour::FAINT);
    }
    heading(counted(all.size(), noun) + ":");
    write(table);
  }

  static std::vector<TableColumn> columns_of(const EntryKind& kind,
                                             const std::vector<const EntryKind*>& children) {
    std::vector<TableColumn> columns;
    for (const PatternElement& element : pattern_of(kind)) {
      if (element.optional) break;
      if (element.kind != PatternElement::Kind::ARGUMENT) continue;
      const bool is_number = element.argument->syntax == ArgumentSyntax::NUMBER;
      columns.push_back({columns.empty() ? title(keyword(kind)) : std::string(element.word),
                         is_number ? Align::RIGHT : Align::LEFT});
    }
    for (const EntryKind* child : children)
      columns.push_back({title(keyword(*child)) + "S", Align::RIGHT});
    if (!children.empty()) columns.push_back({"BINDINGS", Align::RIGHT});
    if (has_description(kind)) columns.push_back({"DESCRIPTION", Align::LEFT, true});
    return columns;
  }

  // A cell for each argument but the description.
  static void add_arguments(Table& table, const EntryKind& kind, const EntryKey& key,
                            const EntryValue& value) {
    EntryArguments arguments(kind, key, value);
    for (const PatternElement& element : pattern_of(kind)) {
      if (element.optional) break;
      if (element.kind != PatternElement::Kind::ARGUMENT) continue;
      const Argument& argument = *element.argument;
      if (argument.syntax == ArgumentSyntax::TEXT) {
        table.add(arguments.text());
      } else if (argument.syntax == ArgumentSyntax::CHOICE) {
        table.add(choice(argument, arguments.number()));
      } else {
        table.add(arguments.number());
      }
    }
  }

  [[nodiscard]] std::size_t uses_below(const EntryKey& above,
                                       const std::vector<const EntryKind*>& children) const {
    std::size_t count = 0;
    for (const EntryKind* child : children) {
      for_each_below(above, _entries.of(*child), [&](const EntryKey& key, const EntryValue&) {
        const auto at = _uses.find(key);
        if (at != _uses.end()) count += at->second;
      });
    }
    return count;
  }

  void each_of(const EntryKind& kind, const EntryKind& child) {
    for (const auto& [key, value] : _entries.of(kind)) {
      NumberedRules rules;
      for_each_below(key, _entries.of(child), [&](const EntryKey& own, const EntryValue& rule) {
        rules.emplace_back(own.numbers[1], rule);
      });
      std::string head = statement_text(kind, key, value.with_text("")) + ", " +
                         counted(rules.size(), keyword(child));
      if (!value.text().empty()) head += ": " + shown_text(value.text());
      heading(cut_text(head, _style.width));
      if (rules.empty()) continue;
      const BindingCount bindings = [this, &above = key](std::uint32_t rule) {
        const auto at = _uses.find({above.name, {above.numbers[0], rule, 0}});
        return at == _uses.end() ? 0 : at->second;
      };
      append_rule_table(_text, rules, bindings, _style);
    }
  }

  // What somebody else makes: those with something bound, or the only one.
  void bound(const EntryKind& kind) {
    std::vector<TableColumn> columns{{title(keyword(kind))}};
    std::vector<const EntryKind*> children;
    for (const EntryKind* child : kinds_below(kind)) {
      children.push_back(child);
      const bool is_setting = *child->facts().presence == Presence::ALWAYS;
      columns.push_back({title(keyword(*child)) + (is_setting ? "" : "S"),
                         is_setting ? Align::RIGHT : Align::LEFT});
    }
    Table table(std::move(columns));
    const EntryMap& all = _entries.of(kind);
    std::size_t bare = 0;
    for (const auto& [key, value] : all) {
      if (all.size() > 1 && is_bare(kind, key, _entries)) {
        ++bare;
      } else {
        add_record(table, children, key);
      }
    }
    const std::string noun(*kind.facts().noun);
    const std::size_t shown = all.size() - bare;
    if (shown == 0) return heading("Nothing is bound to the " + counted(bare, noun) + ".");
    heading(counted(shown, noun) +
            (bare > 0 ? ", " + std::to_string(bare) + " more with nothing bound:" : ":"));
    write(table);
  }

  // A line for each thing that is bound, the name and settings beside the first.
  void add_record(Table& table, const std::vector<const EntryKind*>& children,
                  const EntryKey& key) {
    std::vector<std::vector<std::string>> cells;
    std::size_t lines = 1;
    for (const EntryKind* child : children) {
      std::vector<std::string>& own = cells.emplace_back();
      for_each_said_below(*child, key, _entries,
                          [&](const EntryKey& each, const EntryValue& value) {
                            own.push_back(without_verb(statement_text(*child, each, value)));
                          });
      lines = std::max(lines, own.size());
    }
    for (std::size_t line = 0; line < lines; ++line) {
      const std::string name =
          key.name.empty() ? std::to_string(key.numbers[0]) : std::string(key.name.view());
      table.add(line == 0 ? name : "");
      for (const std::vector<std::string>& own : cells)
        table.add(line < own.size() ? own[line] : "");
    }
  }

  const Entries& _entries;
  const Selection& _selection;
  TableStyle _style;
  std::map<EntryKey, std::size_t> _uses;  // by what is used: how many records use it
  std::string _text;
};

}  // namespace

std::string tables_of_switch(Entries entries, const Selection& selection, const TableStyle& style) {
  TablesMaker tables(entries, selection, style);
  selection.narrow(entries);
  return tables.make();
}
