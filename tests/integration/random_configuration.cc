#include "tests/integration/random_configuration.h"

#include <algorithm>
#include <array>
#include <utility>

RandomConfiguration::RandomConfiguration(std::uint32_t seed, std::vector<std::string> interfaces,
                                         std::vector<std::uint32_t> vlans)
    : _random(seed), _interfaces(std::move(interfaces)), _vlans(std::move(vlans)) {}

// Not a distribution of the library: those differ from one to the next.
std::uint32_t RandomConfiguration::below(std::uint32_t bound) {
  return static_cast<std::uint32_t>(_random() % bound);
}

std::string RandomConfiguration::text() {
  std::string text;
  for (std::uint32_t i = below(6); i > 0; --i) text += static_cast<char>(below(256));
  return text;
}

TimeRange RandomConfiguration::time_range() {
  return {below(25), below(25), one_in(2), below(3), below(3)};
}

Rule RandomConfiguration::rule() {
  Rule rule;
  rule.action = one_in(3) ? DENY : PERMIT;
  if (one_in(3)) rule.description = text();
  for (std::uint32_t field = below(12); field <= 36; field += 1 + below(12)) {
    rule.fields.append(field, one_in(4) ? text() : std::to_string(below(8)));
  }
  return rule;
}

Acl RandomConfiguration::acl() {
  Acl acl;
  acl.type = below(2);
  if (one_in(2)) acl.description = text();
  for (std::uint32_t count = 1 + below(4); count > 0; --count) acl.rules[below(9)] = rule();
  return acl;
}

void RandomConfiguration::settings(ClassOfService& cos) {
  cos.flag = one_in(2);
  cos.mode = below(5);
  cos.schedule = Schedule{below(4), {below(20), below(20), below(20), below(20)}};
  for (std::uint32_t priority = 0; priority < 8; ++priority) {
    cos.priority_queues[priority] = below(8);
    cos.mapping[priority] = below(8);
  }
}

void RandomConfiguration::bindings(const Configuration& configuration, Bindings& bound,
                                   bool of_interface) {
  bound = {};
  if (of_interface) bound.cos_value = one_in(2) ? 0 : below(5);
  for (const auto& [number, acl] : configuration.acls) {
    for (const auto& [rule_number, rule] : acl.rules) {
      const RuleKey key{number, rule_number};
      if (one_in(2)) bound.filters.push_back(key);
      if (rule.action == PERMIT && one_in(4)) {
        constexpr std::array<std::uint32_t, 3> BOUNDS{64, 8, 4};
        const std::uint32_t kind = below(3);
        bound.remarks[key] = {kind, below(BOUNDS[kind])};
      }
    }
  }
  for (std::size_t i = bound.filters.size(); i > 1; --i) {
    std::swap(bound.filters[i - 1], bound.filters[below(static_cast<std::uint32_t>(i))]);
  }
}

void RandomConfiguration::bind_all(Configuration& configuration) {
  for (const std::string& name : _interfaces) {
    bindings(configuration, configuration.interfaces[name], true);
  }
  for (const std::uint32_t id : _vlans) bindings(configuration, configuration.vlans[id], false);
}

Configuration RandomConfiguration::make() {
  Configuration configuration;
  settings(configuration.cos);
  for (std::uint32_t count = below(4); count > 0; --count) {
    configuration.time_ranges["t" + std::to_string(below(5))] = time_range();
  }
  for (std::uint32_t count = 1 + below(3); count > 0; --count) {
    configuration.acls[10 * below(5)] = acl();
  }
  bind_all(configuration);
  return configuration;
}

Configuration RandomConfiguration::change(Configuration configuration) {
  if (one_in(2)) settings(configuration.cos);
  std::erase_if(configuration.time_ranges, [this](const auto&) { return one_in(3); });
  configuration.time_ranges["t" + std::to_string(below(5))] = time_range();
  std::erase_if(configuration.acls, [this](const auto&) { return one_in(4); });
  for (auto& [number, acl] : configuration.acls) {
    if (one_in(4)) acl.type = 1 - acl.type;
    if (one_in(3)) acl.description = text();
    for (auto& [rule_number, its_rule] : acl.rules) {
      if (one_in(3)) its_rule = rule();
      if (one_in(4)) its_rule.description = text();
    }
    if (one_in(2)) acl.rules[below(9)] = rule();
  }
  configuration.acls[10 * below(5)] = acl();
  bind_all(configuration);
  return configuration;
}
