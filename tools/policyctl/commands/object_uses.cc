#include "tools/policyctl/commands/object_uses.h"

#include <ostream>
#include <utility>

#include "tools/policyctl/commands/required_form.h"
#include "tools/policyctl/language/statement_match.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

bool names(const ObjectName& object, const RuleKey& key) {
  return key.acl == object.acl && (!object.rule || key.rule == *object.rule);
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
                    const ObjectPlace& place) {
  if (!object.acl) {
    return require_entry(configuration.time_ranges, object.time_range,
                         {object.name(), "time-ranges"}, place);
  }
  const std::string acl = "acl " + std::to_string(*object.acl);
  require_entry(configuration.acls, *object.acl, {acl, "acls"}, place);
  if (!object.rule) return;
  require_entry(configuration.acls.at(*object.acl).rules, *object.rule, {object.name(), acl},
                place);
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

ObjectName parse_object(const std::vector<std::string_view>& forms,
                        const std::vector<std::string>& words) {
  (void)require_form(forms, words);
  ObjectName object;
  if (words[0] == "time-range") {
    object.time_range = words[1];
    return object;
  }
  object.acl = decimal_number(words[1]);
  if (words.size() > 2) object.rule = decimal_number(words[3]);
  return object;
}
