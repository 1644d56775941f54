// A target as the lists that carry it in a request or a reply.
#pragma once

#include <string>

#include "framework/finder/finder_registry.h"
#include "framework/xrl/xrl_atom_list.h"

struct FinderTargetLists {
  XrlAtomList addresses;  // txt
  XrlAtomList methods;    // txt
  XrlAtomList keys;       // binary, aligned with the methods
};

// What the registry holds of `target`, copied in its order.
[[nodiscard]] FinderTargetLists finder_target_lists(const FinderTarget& target);

// Adds to `target` what the lists hold, at most one more of each than the
// registry takes, so that it refuses what is too much without a copy of it.
// Answers what is wrong, as a sentence, or an empty text.
[[nodiscard]] std::string read_finder_target_lists(const XrlAtomList& addresses,
                                                   const XrlAtomList& methods,
                                                   const XrlAtomList& keys, FinderTarget& target);
