// Lists of rules of the kinds that packet filters are of, made from a seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "linuxcard/classifier/policy.h"

enum class RuleSetKind {
  ACL,       // long prefixes on both sides, few ports
  FIREWALL,  // many wildcards, ranges of ports
  CHAIN,     // in between: the rules of a host, one side often whole networks
};
[[nodiscard]] std::string_view name_of(RuleSetKind kind);

// Distinct rules of IPv4, the same for equal arguments.
[[nodiscard]] RuleList make_rule_set(RuleSetKind kind, std::size_t count, std::uint64_t seed);
