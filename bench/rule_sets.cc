#include "bench/rule_sets.h"

#include <array>
#include <random>
#include <set>
#include <string>

#include "framework/base/ipv4.h"

namespace {

using Random = std::mt19937_64;

// In percent.
struct Shape {
  std::uint32_t any_src;
  std::uint32_t any_dst;
  std::uint32_t short_prefix;
  std::uint32_t any_dst_port;
  std::uint32_t port_range;
  std::uint32_t src_port;
};

Shape shape_of(RuleSetKind kind) {
  switch (kind) {
    case RuleSetKind::ACL:
      return {2, 5, 10, 20, 10, 2};
    case RuleSetKind::FIREWALL:
      return {45, 20, 20, 25, 35, 25};
    case RuleSetKind::CHAIN:
      return {12, 12, 35, 35, 15, 10};
  }
  return {};
}

class Maker {
 public:
  Maker(RuleSetKind kind, std::uint64_t seed) : _shape(shape_of(kind)), _random(seed) {
    for (std::uint32_t& network : _networks) network = static_cast<std::uint32_t>(_random());
  }

  std::map<std::uint32_t, std::string> fields() {
    std::map<std::uint32_t, std::string> fields;
    if (!chance(_shape.any_src)) fields[7] = prefix();
    if (!chance(_shape.any_dst)) fields[8] = prefix();
    const std::uint32_t kind = below(100);
    fields[11] = kind < 70 ? "6" : kind < 95 ? "17" : "1";
    if (kind >= 95) return fields;
    if (!chance(_shape.any_dst_port)) fields[13] = port();
    if (chance(_shape.src_port)) fields[12] = port();
    return fields;
  }

 private:
  std::uint32_t below(std::size_t limit) { return static_cast<std::uint32_t>(_random() % limit); }
  bool chance(std::uint32_t percent) { return below(100) < percent; }

  // Within one of some networks, as addresses of real lists are.
  std::string prefix() {
    const std::uint32_t network = _networks[below(_networks.size())];
    const std::uint32_t length = chance(_shape.short_prefix) ? 8 + below(16) : 24 + below(9);
    const std::uint32_t host = static_cast<std::uint32_t>(_random()) & 0xffffU;
    const std::uint32_t address = ((network & 0xffff0000U) | host) & (~0U << (32 - length));
    return IPv4(address).str() + "/" + std::to_string(length);
  }
  std::string port() {
    static constexpr std::array USUAL{"22", "25", "53", "80", "110", "123", "143", "443", "3389"};
    if (!chance(_shape.port_range)) {
      return chance(70) ? USUAL[below(USUAL.size())] : std::to_string(1024 + below(4000));
    }
    if (chance(40)) return "1024-65535";
    const std::uint32_t low = below(60000);
    return std::to_string(low) + "-" + std::to_string(low + 1 + below(2000));
  }

  const Shape _shape;
  Random _random;
  std::array<std::uint32_t, 64> _networks{};
};

}  // namespace

std::string_view name_of(RuleSetKind kind) {
  switch (kind) {
    case RuleSetKind::ACL:
      return "acl";
    case RuleSetKind::FIREWALL:
      return "firewall";
    case RuleSetKind::CHAIN:
      return "chain";
  }
  return {};
}

RuleList make_rule_set(RuleSetKind kind, std::size_t count, std::uint64_t seed) {
  Maker maker(kind, seed);
  RuleList rules;
  std::set<std::map<std::uint32_t, std::string>> known;
  while (rules.size() < count) {
    const auto [fields, is_new] = known.insert(maker.fields());
    if (!is_new) continue;
    PolicyRule rule;
    rule.key = {1, static_cast<std::uint32_t>(rules.size())};
    rule.action = RuleAction::PERMIT;
    rule.fields = *fields;
    rules.push_back(std::move(rule));
  }
  return rules;
}
