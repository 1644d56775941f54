#include "tools/policyctl/render/rule_table.h"

#include <array>
#include <cctype>
#include <optional>

#include "common/match_fields.h"
#include "common/match_values.h"
#include "tools/policyctl/language/rule_fields.h"
#include "tools/policyctl/language/words.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/render/table.h"
#include "tools/policyctl/render/table_text.h"

namespace {

using Align = TableColumn::Align;

constexpr std::size_t FIELD_NUMBERS = 256;
constexpr std::size_t NARROWEST_MATCH = 20;

std::string field_title(std::uint32_t number) {
  const MatchField* const field = find_match_field(number);
  if (field == nullptr) return "FIELD " + std::to_string(number);
  std::string title(field->name);
  for (char& c : title) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return title;
}

// In quotes when it is no value of the field, as rules write it.
std::string field_value(std::uint32_t number, std::string_view value) {
  const MatchField* const field = find_match_field(number);
  const bool is_known = field != nullptr && is_match_value(*field, value);
  return is_known ? std::string(value) : as_quoted_word(value);
}

TextColour colour_of(const Rule& rule) {
  return rule.action == PERMIT ? TextColour::GREEN : TextColour::RED;
}

const char* action_of(const Rule& rule) {
  return rule.action == PERMIT ? "permit" : "deny";
}

void add_bindings(Table& table, std::size_t count) {
  table.add(count == 0 ? std::string() : std::to_string(count));
}

Table field_table(const NumberedRules& rules, const BindingCount& bindings) {
  std::array<bool, FIELD_NUMBERS> is_used{};
  for (const auto& [number, rule] : rules) {
    for_each_field(rule.fields(),
                   [&](std::uint32_t field, std::string_view) { is_used[field] = true; });
  }
  std::vector<TableColumn> columns{{"RULE", Align::RIGHT}, {"ACTION"}};
  std::vector<std::uint32_t> fields;
  for (std::uint32_t field = 0; field < FIELD_NUMBERS; ++field) {
    if (!is_used[field]) continue;
    fields.push_back(field);
    columns.push_back({field_title(field)});
  }
  columns.push_back({"BINDINGS", Align::RIGHT});
  columns.push_back({"DESCRIPTION", Align::LEFT, true});
  Table table(std::move(columns));
  for (const auto& [number, value] : rules) {
    const Rule rule = rule_of(value);
    table.add(number);
    table.add(action_of(rule), colour_of(rule));
    auto next = fields.begin();
    rule.fields.for_each([&](std::uint32_t field, std::string_view text) {
      for (; *next != field; ++next) table.add("");
      table.add(field_value(field, text));
      ++next;
    });
    for (; next != fields.end(); ++next) table.add("");
    add_bindings(table, bindings(number));
    table.add(rule.description, TextColour::FAINT);
  }
  return table;
}

// The fields of a rule and its description, on lines no wider than `width` where
// that can be.
std::vector<std::string> match_lines(const Rule& rule, std::size_t width) {
  std::vector<std::string> lines(1);
  const auto append = [&lines, width](const std::string& text) {
    if (!lines.back().empty() && text_width(lines.back()) + 1 + text_width(text) > width) {
      lines.emplace_back();
    }
    lines.back() += (lines.back().empty() ? "" : " ") + text;
  };
  rule.fields.for_each([&append](std::uint32_t field, std::string_view value) {
    std::string text;
    append_field(text, field, value);
    append(text);
  });
  if (!rule.description.empty()) append(cut_text(as_quoted_word(rule.description), width));
  return lines;
}

std::vector<TableColumn> columns_before_match() {
  return {{"RULE", Align::RIGHT}, {"ACTION"}, {"BINDINGS", Align::RIGHT}};
}

void add_head(Table& table, std::uint32_t number, const Rule& rule, std::size_t bindings) {
  table.add(number);
  table.add(action_of(rule), colour_of(rule));
  add_bindings(table, bindings);
}

std::size_t width_before_match(const NumberedRules& rules, const BindingCount& bindings) {
  Table heads(columns_before_match());
  for (const auto& [number, value] : rules) {
    add_head(heads, number, rule_of(value), bindings(number));
  }
  return heads.narrowest() + Table::GAP;
}

Table wrapped_table(const NumberedRules& rules, const BindingCount& bindings, std::size_t width) {
  std::vector<TableColumn> columns = columns_before_match();
  columns.push_back({"MATCH"});
  const std::size_t empty_before = columns.size() - 1;
  Table table(std::move(columns));
  const std::size_t before = width_before_match(rules, bindings);
  const std::size_t left = std::max(width - std::min(width, before), NARROWEST_MATCH);
  for (const auto& [number, value] : rules) {
    const Rule rule = rule_of(value);
    add_head(table, number, rule, bindings(number));
    const std::vector<std::string> lines = match_lines(rule, left);
    table.add(lines[0]);
    for (std::size_t i = 1; i < lines.size(); ++i) {
      for (std::size_t empty = 0; empty < empty_before; ++empty) table.add("");
      table.add(lines[i]);
    }
  }
  return table;
}

}  // namespace

void append_rule_table(std::string& out, const NumberedRules& rules, const BindingCount& bindings,
                       const TableStyle& style) {
  const Table fields = field_table(rules, bindings);
  if (fields.narrowest() <= style.width) {
    fields.write(out, style.width, style.in_colour);
  } else {
    wrapped_table(rules, bindings, style.width).write(out, style.width, style.in_colour);
  }
}
