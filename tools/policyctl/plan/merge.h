// Bringing a change onto a configuration that others have changed meanwhile.
#pragma once

#include <string>
#include <vector>

#include "tools/policyctl/language/configuration.h"

struct Merge {
  // `now` with all that makes `wanted` of `base`; of no use with conflicts.
  Configuration target;
  // Entries that somebody else changed too, and differently, or that the change
  // needs and somebody else removed: "acl 10 rule 3".
  std::vector<std::string> conflicts;
};
// All three must be whole, as they are read from one switch and edited from there.
[[nodiscard]] Merge merge(const Configuration& base, const Configuration& wanted,
                          const Configuration& now);
