#include "tests/unit/policyctl/random_configuration.h"

#include <cstdint>

#include "common/match_fields.h"

namespace {

template <typename T>
T any() {
  return *rc::gen::arbitrary<T>();
}

std::uint32_t up_to(std::uint32_t highest) {
  return *rc::gen::inRange<std::uint32_t>(0, highest + 1);
}

std::uint32_t any_number() {
  return any<bool>() ? up_to(20) : any<std::uint32_t>();
}

std::string any_name() {
  const std::string name = *gen_text();
  return name.empty() ? "lag1" : name;
}

Rule any_rule() {
  Rule rule;
  rule.action = up_to(1);
  for (std::uint32_t number = 0; number <= LAST_MATCH_FIELD; ++number) {
    if (up_to(5) > 0) continue;
    const MatchField* const field = find_match_field(number);
    rule.fields.append(number,
                       field != nullptr && any<bool>() ? std::string(field->example) : *gen_text());
  }
  rule.description = *gen_text();
  return rule;
}

Acl any_acl() {
  Acl acl;
  acl.type = up_to(1);
  acl.description = *gen_text();
  for (std::uint32_t count = up_to(4); count > 0; --count) acl.rules[any_number()] = any_rule();
  return acl;
}

RuleKey any_key() {
  return {any_number(), any_number()};
}

Bindings any_bindings() {
  Bindings bindings;
  for (std::uint32_t count = up_to(3); count > 0; --count) {
    const RuleKey key = any_key();
    const auto at = std::find(bindings.filters.begin(), bindings.filters.end(), key);
    if (at == bindings.filters.end()) bindings.filters.push_back(key);
  }
  for (std::uint32_t count = up_to(3); count > 0; --count) {
    constexpr std::uint32_t HIGHEST[] = {63, 7, 3};
    const std::uint32_t kind = up_to(REMARK_TWO_BIT);
    bindings.remarks[any_key()] = {kind, up_to(HIGHEST[kind])};
  }
  return bindings;
}

ClassOfService any_class_of_service() {
  ClassOfService cos;
  if (any<bool>()) cos.flag = any<bool>();
  if (any<bool>()) cos.mode = up_to(4);
  if (any<bool>()) cos.schedule = {up_to(3), any<std::array<std::uint32_t, 4>>()};
  for (std::uint32_t count = up_to(8); count > 0; --count) cos.priority_queues[up_to(7)] = up_to(7);
  for (std::uint32_t count = up_to(8); count > 0; --count) cos.mapping[up_to(7)] = up_to(7);
  return cos;
}

// A remark of a rule that denies is refused.
void permit_what_is_remarked(Configuration& configuration, const Bindings& bindings) {
  for (const auto& [key, remark] : bindings.remarks) {
    const auto acl = configuration.acls.find(key.acl);
    if (acl == configuration.acls.end()) continue;
    const auto rule = acl->second.rules.find(key.rule);
    if (rule != acl->second.rules.end()) rule->second.action = PERMIT;
  }
}

}  // namespace

rc::Gen<std::string> gen_text() {
  return rc::gen::container<std::string>(rc::gen::weightedOneOf<char>(
      {{2, rc::gen::element('"', '\\', '#', ' ', '\n', '\t', '\r', '\0', 'n', 'x', '0', '\xc3')},
       {3, rc::gen::map(rc::gen::inRange(0, 256), [](int c) { return static_cast<char>(c); })}}));
}

Configuration any_configuration() {
  Configuration configuration;
  configuration.cos = any_class_of_service();
  for (std::uint32_t count = up_to(3); count > 0; --count) {
    configuration.time_ranges[*gen_text()] = {any_number(), any_number(), any<bool>(), any_number(),
                                              any_number()};
  }
  for (std::uint32_t count = up_to(3); count > 0; --count) {
    configuration.acls[any_number()] = any_acl();
  }
  for (std::uint32_t count = up_to(3); count > 0; --count) {
    Bindings bindings = any_bindings();
    if (any<bool>()) bindings.cos_value = any_number();
    configuration.interfaces[any_name()] = bindings;
  }
  for (std::uint32_t count = up_to(3); count > 0; --count) {
    configuration.vlans[1 + up_to(4093)] = any_bindings();
  }
  for (const auto& [name, bindings] : configuration.interfaces) {
    permit_what_is_remarked(configuration, bindings);
  }
  for (const auto& [id, bindings] : configuration.vlans) {
    permit_what_is_remarked(configuration, bindings);
  }
  return configuration;
}
