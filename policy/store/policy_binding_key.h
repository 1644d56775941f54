// Names one rule of one ACL, as bindings do.
#pragma once

#include <compare>
#include <cstdint>

// Ordered by ACL, then by rule.
struct PolicyBindingKey {
  std::uint32_t acl = 0;
  std::uint32_t rule = 0;

  // NOLINTNEXTLINE(modernize-use-nullptr): the check takes the comparison for a null pointer
  auto operator<=>(const PolicyBindingKey&) const = default;
};
