#include "tools/policyctl/json/json_configuration.h"

#include "common/match_fields.h"
#include "common/match_values.h"
#include "tools/policyctl/json/json_stream.h"

namespace {

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

Json time_range_json(const std::string& name, const TimeRange& range) {
  return {{"name", text_json(name)}, {"number1", range.number1}, {"number2", range.number2},
          {"flag", range.flag},      {"number3", range.number3}, {"number4", range.number4}};
}

void print_acl(JsonStream& stream, std::uint32_t number, const Acl& acl) {
  stream.begin_object();
  stream.add(number, "acl");
  stream.add(acl.type, "type");
  stream.add(text_json(acl.description), "description");
  stream.begin_list("rules");
  for (const auto& [rule_number, rule] : acl.rules) stream.add(rule_json(rule_number, rule));
  stream.end();
  stream.end();
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

}  // namespace

void print_configuration_json(std::ostream& out, const Configuration& configuration) {
  JsonStream stream(out);
  stream.begin_object();
  stream.add(class_of_service_json(configuration.cos), "cos");
  stream.begin_list("time_ranges");
  for (const auto& [name, range] : configuration.time_ranges) {
    stream.add(time_range_json(name, range));
  }
  stream.end();
  stream.begin_list("acls");
  for (const auto& [number, acl] : configuration.acls) print_acl(stream, number, acl);
  stream.end();
  stream.begin_list("interfaces");
  for (const auto& [name, bindings] : configuration.interfaces) {
    if (bindings.is_bare()) continue;
    Json record = {{"interface", text_json(name)}, {"cos_value", bindings.cos_value.value_or(0)}};
    add_bindings(record, bindings);
    stream.add(record);
  }
  stream.end();
  stream.begin_list("vlans");
  for (const auto& [id, bindings] : configuration.vlans) {
    if (bindings.is_bare()) continue;
    Json record = {{"vlan", id}};
    add_bindings(record, bindings);
    stream.add(record);
  }
  stream.end();
  stream.end();
}

void print_plan_json(std::ostream& out, const Plan& plan) {
  JsonStream stream(out);
  stream.begin_object();
  stream.begin_list("changes");
  for (const Change& change : plan.changes()) stream.add(change_json(change, plan));
  stream.end();
  stream.add(counts_json(plan.counts()), "counts");
  stream.add(plan.steps().size(), "requests");
  stream.end();
}
