#include "tools/policyctl/json/json_output.h"

#include <ostream>

#include "tools/match_fields.h"
#include "tools/match_values.h"
#include "tools/policyctl/commands/change_switch.h"
#include "tools/policyctl/language/words.h"

namespace {

constexpr std::size_t INDENTATION = 2;

bool is_utf8(std::string_view text) {
  while (!text.empty()) {
    const auto first = static_cast<unsigned char>(text[0]);
    const bool is_ascii = first < 0x80;
    const bool is_c1 = first == 0xc2 && text.size() > 1 && (text[1] & 0xe0) == 0x80;
    const std::size_t length = is_ascii ? 1 : is_c1 ? 2 : shown_character(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string base16(std::string_view bytes) {
  constexpr std::string_view DIGITS = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += DIGITS[byte / 16];
    text += DIGITS[byte % 16];
  }
  return text;
}

Json key_json(const RuleKey& key) {
  return {{"acl", key.acl}, {"rule", key.rule}};
}

const char* remark_kind(std::uint32_t kind) {
  switch (kind) {
    case REMARK_DSCP:
      return "dscp";
    case REMARK_PRIORITY:
      return "priority";
    default:
      return "two-bit";
  }
}

Json queues_json(const std::map<std::uint32_t, std::uint32_t>& queues) {
  Json list = Json::array();
  for (const auto& [priority, queue] : queues) {
    list.push_back({{"priority", priority}, {"queue", queue}});
  }
  return list;
}

Json class_of_service_json(const ClassOfService& cos) {
  Json json = Json::object();
  if (cos.flag) json["flag"] = *cos.flag;
  if (cos.mode) json["schedule_mode"] = *cos.mode;
  if (cos.schedule) {
    json["schedule_algorithm"] = {{"algorithm", cos.schedule->algorithm},
                                  {"weights", cos.schedule->weights}};
  }
  json["priority_queues"] = queues_json(cos.priority_queues);
  json["mapping"] = queues_json(cos.mapping);
  return json;
}

Json rule_json(std::uint32_t number, const Rule& rule) {
  Json fields = Json::array();
  rule.fields.for_each([&fields](std::uint32_t field_number, std::string_view value) {
    Json field = {{"number", field_number}};
    const MatchField* const known = find_match_field(field_number);
    if (known != nullptr && match_value_problem(*known, value).empty()) {
      field["name"] = known->name;
    }
    field["value"] = text_json(value);
    fields.push_back(std::move(field));
  });
  return {{"rule", number},
          {"action", rule.action == PERMIT ? "permit" : "deny"},
          {"fields", std::move(fields)},
          {"description", text_json(rule.description)}};
}

Json acl_json(std::uint32_t number, const Acl& acl) {
  Json rules = Json::array();
  for (const auto& [rule_number, rule] : acl.rules) rules.push_back(rule_json(rule_number, rule));
  return {{"acl", number},
          {"type", acl.type},
          {"description", text_json(acl.description)},
          {"rules", std::move(rules)}};
}

void add_bindings(Json& record, const Bindings& bindings) {
  record["filters"] = Json::array();
  for (const RuleKey& key : bindings.filters) record["filters"].push_back(key_json(key));
  record["remarks"] = Json::array();
  for (const auto& [key, remark] : bindings.remarks) {
    Json json = key_json(key);
    json["kind"] = remark_kind(remark.kind);
    json["value"] = remark.value;
    record["remarks"].push_back(std::move(json));
  }
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

Json counts_json(const PlanCounts& counts) {
  return {{"added", counts.added}, {"changed", counts.changed}, {"removed", counts.removed}};
}

}  // namespace

void print_json(std::ostream& out, const Json& json) {
  out << json.dump(INDENTATION) << '\n' << std::flush;
}

void print_json_line(std::ostream& out, const Json& json) {
  out << json.dump() << '\n' << std::flush;
}

Json text_json(std::string_view text) {
  if (is_utf8(text)) return text;
  return {{"base16", base16(text)}};
}

Json configuration_json(const Configuration& configuration) {
  Json json = {{"cos", class_of_service_json(configuration.cos)},
               {"time_ranges", Json::array()},
               {"acls", Json::array()},
               {"interfaces", Json::array()},
               {"vlans", Json::array()}};
  for (const auto& [name, range] : configuration.time_ranges) {
    json["time_ranges"].push_back({{"name", text_json(name)},
                                   {"number1", range.number1},
                                   {"number2", range.number2},
                                   {"flag", range.flag},
                                   {"number3", range.number3},
                                   {"number4", range.number4}});
  }
  for (const auto& [number, acl] : configuration.acls) {
    json["acls"].push_back(acl_json(number, acl));
  }
  for (const auto& [name, bindings] : configuration.interfaces) {
    if (bindings.is_bare()) continue;
    Json record = {{"interface", text_json(name)}, {"cos_value", bindings.cos_value.value_or(0)}};
    add_bindings(record, bindings);
    json["interfaces"].push_back(std::move(record));
  }
  for (const auto& [id, bindings] : configuration.vlans) {
    if (bindings.is_bare()) continue;
    Json record = {{"vlan", id}};
    add_bindings(record, bindings);
    json["vlans"].push_back(std::move(record));
  }
  return json;
}

Json faults_json(const std::string& file, const std::vector<Fault>& faults) {
  Json list = Json::array();
  for (const Fault& fault : faults) {
    list.push_back({{"line", fault.line},
                    {"column", fault.column},
                    {"length", fault.length},
                    {"message", text_json(fault.message)},
                    {"advice", text_json(fault.advice)}});
  }
  return {{"file", text_json(file)}, {"faults", std::move(list)}};
}

Json failure_json(const Failure& failure) {
  return {{"status", static_cast<int>(failure.status())},
          {"problem", text_json(failure.what())},
          {"advice", text_json(failure.advice())}};
}

Json change_json(const Change& change, const Plan& plan) {
  const ChangeText text = describe(change, plan);
  return {{"change", sign_word(change.sign)},
          {"below", text_json(text.where)},
          {"before", text_json(text.before)},
          {"after", text_json(text.after)}};
}

Json plan_json(const Plan& plan) {
  Json changes = Json::array();
  for (const Change& change : plan.changes()) changes.push_back(change_json(change, plan));
  return {{"changes", std::move(changes)},
          {"counts", counts_json(plan.counts())},
          {"requests", plan.steps().size()}};
}

Json report_json(const std::string& what, const ChangeReport& report) {
  return {{"command", text_json(what)},
          {"status", static_cast<int>(report.status)},
          {"counts", counts_json(report.counts)},
          {"requests", report.requests},
          {"problem", text_json(report.problem)},
          {"outcome", text_json(report.outcome)},
          {"advice", text_json(report.advice)},
          {"mapping_differs", queues_json(report.mapping_differs)}};
}

Json record_json(const RecordName& record) {
  if (record.interface != nullptr) return {{"interface", text_json(*record.interface)}};
  return {{"vlan", record.vlan}};
}
