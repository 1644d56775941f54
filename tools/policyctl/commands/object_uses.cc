#include "tools/policyctl/commands/object_uses.h"

#include <ostream>
#include <utility>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/statement_match.h"
#include "tools/policyctl/language/write_configuration.h"

const char* const OBJECT_FORMS =
    "The forms are: acl ACL, acl ACL rule RULE, and for delete also time-range NAME.";

namespace {

std::uint32_t number_of(const std::string& word, const std::string& argument) {
  const std::optional<std::uint32_t> number = decimal_number(word);
  if (number) return *number;
  throw Failure(ExitStatus::USAGE, "'" + word + "' is no number of " + argument + ".",
                OBJECT_FORMS);
}

bool names(const ObjectName& object, const RuleKey& key) {
  return key.acl == object.acl && (!object.rule || key.rule == *object.rule);
}

template <typename Map>
std::string nearest_number(const Map& map, std::uint32_t wanted) {
  const std::string text = std::to_string(wanted);
  NearestName nearest(text);
  for (const auto& [number, value] : map) nearest.consider(std::to_string(number));
  return nearest.name();
}

[[noreturn]] void refuse_missing(const ObjectName& object, const std::string& place,
                                 const std::string& nearest) {
  throw Failure(ExitStatus::REFUSED,
                "there is no " + object.name() + " " + place + ". Nothing was changed.",
                nearest.empty() ? std::string() : "Is " + nearest + " meant?");
}

}  // namespace

std::vector<std::string_view> list_forms() {
  return {"acl ACL", "acl ACL rule RULE"};
}

std::vector<std::string_view> object_forms() {
  return {"acl ACL", "acl ACL rule RULE", "time-range NAME"};
}

std::vector<Use> uses_of(const ObjectName& object, const Configuration& configuration) {
  std::vector<Use> uses;
  const auto collect = [&](const RecordName& record, const Bindings& bindings) {
    for (const RuleKey& key : bindings.filters) {
      if (names(object, key)) uses.push_back({record, key, std::nullopt});
    }
    for (const auto& [key, remark] : bindings.remarks) {
      if (names(object, key)) uses.push_back({record, key, remark});
    }
  };
  for (const auto& [name, bindings] : configuration.interfaces) collect({&name, 0}, bindings);
  for (const auto& [id, bindings] : configuration.vlans) collect({nullptr, id}, bindings);
  return uses;
}

void print_uses(std::ostream& out, const std::vector<Use>& uses) {
  std::string record;
  for (const Use& use : uses) {
    const std::string statement = use.record.interface != nullptr
                                      ? interface_statement(*use.record.interface)
                                      : vlan_statement(use.record.vlan);
    if (statement != record) out << statement << '\n';
    record = statement;
    out << "  " << (use.remark ? remark_statement(use.key, *use.remark) : filter_statement(use.key))
        << '\n';
  }
}

Json uses_json(const ObjectName& object, const std::vector<Use>& uses) {
  Json list = Json::array();
  for (const Use& use : uses) {
    Json json = record_json(use.record);
    json["statement"] =
        use.remark ? remark_statement(use.key, *use.remark) : filter_statement(use.key);
    list.push_back(std::move(json));
  }
  return {{"object", text_json(object.name())}, {"uses", std::move(list)}};
}

void require_object(const ObjectName& object, const Configuration& configuration,
                    const std::string& place) {
  if (!object.acl) {
    if (configuration.time_ranges.contains(object.time_range)) return;
    NearestName nearest(object.time_range);
    for (const auto& [name, range] : configuration.time_ranges) nearest.consider(name);
    refuse_missing(object, place, nearest.name());
  }
  const auto acl = configuration.acls.find(*object.acl);
  if (acl == configuration.acls.end()) {
    refuse_missing(object, place, nearest_number(configuration.acls, *object.acl));
  }
  if (object.rule && !acl->second.rules.contains(*object.rule)) {
    refuse_missing(object, place, nearest_number(acl->second.rules, *object.rule));
  }
}

void unbind_object(const ObjectName& object, Configuration& configuration) {
  const auto is_named = [&object](const RuleKey& key) { return names(object, key); };
  const auto unbind_in = [&](auto& records) {
    for (auto& [name, bindings] : records) {
      std::erase_if(bindings.filters, is_named);
      std::erase_if(bindings.remarks, [&](const auto& entry) { return is_named(entry.first); });
    }
  };
  unbind_in(configuration.interfaces);
  unbind_in(configuration.vlans);
}

void remove_object(const ObjectName& object, Configuration& configuration) {
  if (!object.acl) {
    configuration.time_ranges.erase(object.time_range);
  } else if (object.rule) {
    configuration.acls.at(*object.acl).rules.erase(*object.rule);
  } else {
    configuration.acls.erase(*object.acl);
  }
}

std::string ObjectName::name() const {
  if (!acl) return "time-range " + time_range;
  return rule ? rule_name({*acl, *rule}) : "acl " + std::to_string(*acl);
}

ObjectName parse_object(const std::vector<std::string>& words) {
  ObjectName object;
  if (words.size() == 2 && words[0] == "time-range") {
    object.time_range = words[1];
    return object;
  }
  const bool is_acl = words.size() == 2 && words[0] == "acl";
  const bool is_rule = words.size() == 4 && words[0] == "acl" && words[2] == "rule";
  if (!is_acl && !is_rule) {
    std::string given;
    for (const std::string& word : words) given += (given.empty() ? "" : " ") + word;
    throw Failure(ExitStatus::USAGE, "'" + given + "' names nothing.", OBJECT_FORMS);
  }
  object.acl = number_of(words[1], "an access control list");
  if (is_rule) object.rule = number_of(words[3], "a rule");
  return object;
}
