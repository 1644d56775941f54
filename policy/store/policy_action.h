// What to write into the packets that match a rule.
#pragma once

#include <cstdint>

struct PolicyAction {
  std::uint32_t kind = 0;   // as set_action() of a PolicyActionTable takes it
  std::uint32_t value = 0;  // at most MAX_REMARKS[kind]

  bool operator==(const PolicyAction&) const = default;
};
