// What to write into the packets that match a rule.
#pragma once

#include <cstdint>

struct PolicyAction {
  std::uint32_t kind = 0;
  std::uint32_t value = 0;

  bool operator==(const PolicyAction&) const = default;
};
