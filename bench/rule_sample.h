// Rules as an access list of a switch has them: six short fields each.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

inline constexpr std::size_t FIELDS_OF_RULE = 6;
// Source and destination prefix, protocol, source and destination port, DSCP.
inline constexpr std::array<std::uint32_t, FIELDS_OF_RULE> RULE_FIELDS{7, 8, 11, 12, 13, 20};

using RuleValues = std::array<std::string, FIELDS_OF_RULE>;

// The values of that rule; two in 65,536 are alike.
[[nodiscard]] inline RuleValues rule_values(std::size_t rule) {
  const std::string subnet = std::to_string(rule / 256 % 256) + "." + std::to_string(rule % 256);
  return {"10." + subnet + ".0/24",    "172.16." + subnet + "/32",
          rule % 3 == 0 ? "17" : "6",  "1024-65535",
          std::to_string(rule % 1000), std::to_string(rule % 64)};
}

// The values of the first `count` rules.
[[nodiscard]] inline std::vector<RuleValues> sample_rules(std::size_t count) {
  std::vector<RuleValues> rules;
  rules.reserve(count);
  for (std::size_t rule = 0; rule < count; ++rule) rules.push_back(rule_values(rule));
  return rules;
}
