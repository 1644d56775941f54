#include "tests/support/typed_configuration.h"

#include "tools/policyctl/language/elements.h"

namespace {

Queues queues_of(const EntryMap& map) {
  Queues queues;
  for (const auto& [key, value] : map) queues.emplace(key.numbers[0], value.number(0));
  return queues;
}

void put_bindings(Entries& entries, const EntryKind& kind, const EntryKey& key,
                  const Bindings& bindings) {
  entries.of(kind).try_emplace(key);
  Elements filters;
  for (const RuleKey& rule : bindings.filters) filters.emplace_back(rule.acl, rule.rule);
  put_elements(entries, FILTER, key, filters);
  for (const auto& [rule, remark] : bindings.remarks) {
    entries.put(REMARK, key_at(key, rule), value_of(remark));
  }
  if (bindings.cos_value) entries.put(COS_VALUE, key, EntryValue{*bindings.cos_value});
}

Bindings bindings_at(const Entries& entries, const EntryKey& key) {
  Bindings bindings;
  for (const auto& [acl, rule] : elements_of(entries.find(FILTER, key))) {
    bindings.filters.push_back({acl, rule});
  }
  for_each_below(key, entries.of(REMARK), [&](const EntryKey& own, const EntryValue& value) {
    bindings.remarks[bound_rule(own)] = remark_of(value);
  });
  const EntryValue* const value = entries.find(COS_VALUE, key);
  if (value != nullptr) bindings.cos_value = value->number(0);
  return bindings;
}

}  // namespace

EntryValue value_of(const Remark& remark) {
  return {remark.kind, remark.value};
}

EntryValue value_of(const TimeRange& range) {
  return {range.number1, range.number2, std::uint32_t{range.flag}, range.number3, range.number4};
}

Queues queues_of(const Step& step) {
  Queues queues;
  for (std::size_t i = 0; i + 1 < step.value.count(); i += 2) {
    queues.emplace(step.value.number(i), step.value.number(i + 1));
  }
  return queues;
}

Remark remark_of(const EntryValue& value) {
  return {value.number(0), value.number(1)};
}

TimeRange time_range_of(const EntryValue& value) {
  return {value.number(0), value.number(1), value.number(2) != 0, value.number(3), value.number(4)};
}

Configuration::Configuration(const Entries& entries) {
  if (const EntryValue* const v = entries.find(COS_FLAG, {})) cos.flag = v->number(0) != 0;
  if (const EntryValue* const v = entries.find(COS_SCHEDULE_MODE, {})) cos.mode = v->number(0);
  if (const EntryValue* const v = entries.find(COS_SCHEDULE_ALGORITHM, {})) {
    cos.schedule = Schedule{v->number(0), {v->number(1), v->number(2), v->number(3), v->number(4)}};
  }
  cos.priority_queues = queues_of(entries.of(COS_PRIORITY));
  cos.mapping = queues_of(entries.of(COS_MAPPING));
  for (const auto& [key, value] : entries.of(TIME_RANGE)) {
    time_ranges[std::string(key.name.view())] = time_range_of(value);
  }
  for (const auto& [key, value] : entries.of(ACL)) {
    Acl& acl = acls[key.numbers[0]];
    acl.type = value.number(0);
    acl.description = value.text();
  }
  for (const auto& [key, value] : entries.of(RULE)) {
    acls[key.numbers[0]].rules[key.numbers[1]] = rule_of(value);
  }
  for (const auto& [key, value] : entries.of(INTERFACE)) {
    interfaces[std::string(key.name.view())] = bindings_at(entries, key);
  }
  for (const auto& [key, value] : entries.of(VLAN))
    vlans[key.numbers[0]] = bindings_at(entries, key);
}

Entries Configuration::entries() const {
  Entries entries;
  if (cos.flag) entries.put(COS_FLAG, {}, EntryValue{std::uint32_t{*cos.flag}});
  if (cos.mode) entries.put(COS_SCHEDULE_MODE, {}, EntryValue{*cos.mode});
  if (cos.schedule) {
    const auto& w = cos.schedule->weights;
    entries.put(COS_SCHEDULE_ALGORITHM, {},
                EntryValue{cos.schedule->algorithm, w[0], w[1], w[2], w[3]});
  }
  for (const auto& [priority, queue] : cos.priority_queues) {
    entries.put(COS_PRIORITY, key_of(priority), EntryValue{queue});
  }
  for (const auto& [priority, queue] : cos.mapping) {
    entries.put(COS_MAPPING, key_of(priority), EntryValue{queue});
  }
  for (const auto& [name, range] : time_ranges) {
    entries.put(TIME_RANGE, key_of(std::string_view(name)), value_of(range));
  }
  for (const auto& [number, acl] : acls) {
    entries.put(ACL, key_of(number), acl_value(acl.type, acl.description));
    for (const auto& [rule_number, rule] : acl.rules) {
      entries.put(RULE, key_of(RuleKey{number, rule_number}), value_of(rule));
    }
  }
  for (const auto& [name, bindings] : interfaces) {
    put_bindings(entries, INTERFACE, key_of(std::string_view(name)), bindings);
  }
  for (const auto& [id, bindings] : vlans) put_bindings(entries, VLAN, key_of(id), bindings);
  return entries;
}

const Rule* find_rule(const Configuration& configuration, const RuleKey& key) {
  const auto acl = configuration.acls.find(key.acl);
  if (acl == configuration.acls.end()) return nullptr;
  const auto rule = acl->second.rules.find(key.rule);
  return rule == acl->second.rules.end() ? nullptr : &rule->second;
}

ClassOfService default_class_of_service() {
  return Configuration(bare_switch()).cos;
}
