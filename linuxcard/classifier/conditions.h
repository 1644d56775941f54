// What rules ask of packets, taken apart by dimension.
//
// A rule's match fields become conditions on the dimensions of table_layout.h: an
// address within a prefix, or a number of 8 or 16 bits within one of some ranges. A rule
// matches when all of its conditions hold.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "linuxcard/classifier/policy.h"
#include "linuxcard/classifier/table_layout.h"

// The first `length` bits of an address; those of IPv4 are the upper ones of `upper`.
struct Prefix {
  std::uint64_t upper = 0;
  std::uint64_t lower = 0;
  std::uint32_t length = 0;
  // In this order, what contains others comes before them.
  // NOLINTNEXTLINE(modernize-use-nullptr): the check takes the comparison for a null pointer
  auto operator<=>(const Prefix&) const = default;
};

struct PrefixCondition {
  Prefix prefix;
  std::uint32_t rule = 0;  // index in the list
};

// Of one rule and dimension there may be several, none of which overlap.
struct RangeCondition {
  std::uint16_t low = 0;
  std::uint16_t high = 0;
  std::uint32_t rule = 0;
};

constexpr bool is_of_prefixes(unsigned dimension) {
  return dimension <= DIM_DST6;
}
// Whether values have 8 bits, not 16.
[[nodiscard]] bool is_of_bytes(unsigned dimension);

// The slot of each port and the names by which `in-ports` may call it.
struct PortNames {
  std::uint16_t slot = 0;
  std::string name;
  std::string aggregate;  // empty for none
};

struct Conditions {
  std::array<std::vector<PrefixCondition>, 4> prefixes;
  std::array<std::vector<RangeCondition>, DIMENSIONS> ranges;
  // Rules by the time range in which alone they hold.
  std::map<std::string, std::vector<std::uint32_t>> time_ranges;
};

// Adds what `rule`, which stands at `index`, asks for; what is wrong when that cannot be
// honoured, in which case `conditions` is of no use any more.
[[nodiscard]] std::optional<std::string> add_conditions(const PolicyRule& rule, std::uint32_t index,
                                                        const std::vector<PortNames>& ports,
                                                        Conditions& conditions);
