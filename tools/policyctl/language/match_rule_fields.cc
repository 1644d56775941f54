#include "tools/policyctl/language/match_rule_fields.h"

#include <algorithm>
#include <string>

#include "common/match_values.h"
#include "framework/base/shown_character.h"
#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/statement_faults.h"
#include "tools/policyctl/language/statement_match.h"

namespace {

std::string writing_of(const MatchField& field) {
  return std::string(field.name) + " is written: " + match_value_syntax(field) + ", for example " +
         std::string(field.example);
}

std::string where_fields_are_listed() {
  return "The fields are listed by " + own_command("help fields") + ".";
}

Fault no_field(const Word& word) {
  NearestName nearest(word.text);
  nearest.consider("description");
  for (const MatchField& each : match_fields()) nearest.consider(each.name);
  return fault_at(word, shown_in_quotes(word.text) + " is no field of a rule.",
                  nearest.name().empty() ? where_fields_are_listed() : is_meant(nearest.name()));
}

}  // namespace

std::optional<Fault> read_field_name(const Word& word, NamedField& field) {
  const MatchField* const named = find_match_field(word.text);
  if (word.quoted && (named != nullptr || word.text == "description")) return quoted_keyword(word);
  if (named != nullptr) {
    field = {named->number, named};
    return std::nullopt;
  }
  const std::optional<std::uint32_t> number = decimal_number(word.text);
  if (!number || word.quoted) return no_field(word);
  field = {*number, nullptr};
  if (*number <= LAST_MATCH_FIELD) return std::nullopt;
  return fault_at(word,
                  shown_in_quotes(word.text) + " is no field number 0.." +
                      std::to_string(LAST_MATCH_FIELD) + ".",
                  where_fields_are_listed());
}

std::optional<Fault> RuleFieldsMatch::take(std::span<const Word> words, std::size_t& at,
                                           std::string_view end) {
  while (at < words.size() && (words[at].text != end || words[at].quoted)) {
    std::optional<Fault> fault = take_one(words, at);
    if (fault) return fault;
  }
  return std::nullopt;
}

std::optional<Fault> RuleFieldsMatch::take_one(std::span<const Word> words, std::size_t& at) {
  const Word& name = words[at++];
  NamedField field;
  std::optional<Fault> fault = read_field_name(name, field);
  if (fault) return fault;
  const auto is_same = [&field](const PlacedField& p) { return p.number == field.number; };
  if (std::any_of(_fields.begin(), _fields.end(), is_same)) {
    return fault_at(name, "the field " + shown_in_quotes(name.text) + " is given twice.",
                    "A rule has each field once.");
  }
  if (at == words.size()) {
    return fault_at_end(words, "the value of " + shown_in_quotes(name.text) + " is missing.",
                        field.strict == nullptr ? "Any text will do." : writing_of(*field.strict));
  }
  const Word& value = words[at++];
  if (field.strict != nullptr && !is_match_value(*field.strict, value.text)) {
    return fault_at(value, match_value_problem(*field.strict, value.text),
                    writing_of(*field.strict));
  }
  _fields.push_back({field.number, value.text});
  return std::nullopt;
}

void RuleFieldsMatch::pack(RuleFields& fields) {
  fields.clear();
  const auto is_before = [](const PlacedField& a, const PlacedField& b) {
    return a.number < b.number;
  };
  std::sort(_fields.begin(), _fields.end(), is_before);
  for (const PlacedField& field : _fields) fields.append(field.number, field.value);
}
