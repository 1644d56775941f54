#include "tools/policyctl/render/json_output.h"
#include "framework/base/shown_character.h"

#include <cstdint>
#include <ostream>

#include "common/match_fields.h"
#include "common/match_values.h"
#include "framework/base/hex.h"
#include "tools/policyctl/change/change_switch.h"
#include "tools/policyctl/language/entry_arguments.h"
#include "tools/policyctl/language/rule_fields.h"
#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/language/words.h"

namespace {

// What JSON writes as it is must be harmless; it escapes control characters.
bool can_be_text(std::string_view text) {
  while (!text.empty()) {
    const auto first = static_cast<unsigned char>(text[0]);
    const std::size_t length = first < 0x20 ? 1 : shown_character(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string base16(std::string_view text) {
  return hex_text({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

Json fields_json(std::string_view packed) {
  Json fields = Json::array();
  for_each_field(packed, [&fields](std::uint32_t number, std::string_view value) {
    Json field = {{"number", number}};
    const MatchField* const known = find_match_field(number);
    if (known != nullptr && is_match_value(*known, value)) field["name"] = known->name;
    field["value"] = text_json(value);
    fields.push_back(std::move(field));
  });
  return fields;
}

const char* sign_word(ChangeSign sign) {
  switch (sign) {
    case ChangeSign::ADDED:
      return "added";
    case ChangeSign::REMOVED:
      return "removed";
    case ChangeSign::CHANGED:
      break;
  }
  return "changed";
}

}  // namespace

void print_json(std::ostream& out, const Json& json) {
  out << json.dump(JSON_INDENTATION) << '\n' << std::flush;
}

void print_json_line(std::ostream& out, const Json& json) {
  out << json.dump() << '\n' << std::flush;
}

Json text_json(std::string_view text) {
  if (can_be_text(text)) return text;
  return {{"base16", base16(text)}};
}

Json faults_json(const std::string& file, const std::vector<Fault>& faults, Where where) {
  Json list = Json::array();
  for (const Fault& fault : faults) {
    list.push_back({{"line", fault.line},
                    {"column", fault.column},
                    {"length", fault.length},
                    {"message", text_json(fault.message)},
                    {"advice", text_json(worded(fault.advice, where))}});
  }
  return {{"file", text_json(file)}, {"faults", std::move(list)}};
}

Json failure_json(const Failure& failure, Where where) {
  return {{"status", static_cast<int>(failure.status())},
          {"problem", text_json(failure.message())},
          {"advice", text_json(worded(failure.advice(), where))}};
}

Json counts_json(const PlanCounts& counts) {
  return {{"added", counts.added}, {"changed", counts.changed}, {"removed", counts.removed}};
}

Json change_json(const Change& change, const Plan& plan) {
  const ChangeText text = describe(change, plan);
  return {{"change", sign_word(change.sign)},
          {"below", text_json(text.where)},
          {"before", text_json(text.before)},
          {"after", text_json(text.after)}};
}

namespace {

Json entries_json(const Entries& entries) {
  Json list = Json::array();
  for (const EntryKind* kind : entry_kinds()) {
    for (const auto& [key, value] : entries.of(*kind))
      list.push_back(entry_json(*kind, key, value));
  }
  return list;
}

}  // namespace

Json report_json(const std::string& what, const ChangeReport& report, const std::string& advice) {
  return {{"command", text_json(what)},
          {"status", static_cast<int>(report.status)},
          {"counts", counts_json(report.counts)},
          {"requests", report.requests},
          {"problem", text_json(report.problem)},
          {"outcome", text_json(report.outcome)},
          {"advice", text_json(advice)},
          {"mapping_differs", entries_json(report.mapping_differs)}};
}

Json entry_json(const EntryKind& kind, const EntryKey& key, const EntryValue& value) {
  const EntryFacts& facts = kind.facts();
  const JsonForm& form = facts.json;
  const bool has_forms = facts.forms.value.size() > 1;
  Json json = Json::object();
  EntryArguments arguments(kind, key, value);
  std::size_t member = 0;
  const auto add = [&](Json one) {
    const std::string name(form.arguments[member]);
    const bool goes_on = member > 0 && form.arguments[member - 1] == form.arguments[member];
    const bool begins_list =
        member + 1 < form.arguments.size() && form.arguments[member + 1] == form.arguments[member];
    ++member;
    if (goes_on) {
      json[name].push_back(std::move(one));
    } else if (begins_list) {
      json[name] = Json::array({std::move(one)});
    } else {
      json[name] = std::move(one);
    }
  };
  const Statement& statement = statements_of(kind)[has_forms ? value.number(0) : 0];
  std::string_view form_word;
  for (const PatternElement& element : statement.elements) {
    if (element.kind == PatternElement::Kind::LITERAL) form_word = element.word;
    if (element.kind == PatternElement::Kind::FIELDS) add(fields_json(value.fields()));
    if (element.kind != PatternElement::Kind::ARGUMENT) continue;
    // The word that tells forms apart stands before what is said.
    if (has_forms && !arguments.is_key() && member == *facts.key_arguments) add(form_word);
    const Argument& argument = *element.argument;
    if (argument.syntax == ArgumentSyntax::TEXT) {
      add(text_json(arguments.text()));
    } else if (argument.choices == "off|on") {
      add(arguments.number() != 0);  // as JSON says it
    } else if (argument.syntax == ArgumentSyntax::CHOICE) {
      add(choice(argument, arguments.number()));
    } else {
      add(arguments.number());
    }
  }
  const bool is_single = !form.is_list && json.size() == 1;
  return is_single ? json.front() : json;
}
