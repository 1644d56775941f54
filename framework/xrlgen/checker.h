// What the grammar cannot say: names are good and unique, and a target's
// interfaces are there.
#pragma once

#include <vector>

#include "framework/xrlgen/model.h"

namespace xrlgen {

// Throws SourceError for the first mistake: a bad name, no methods, a method,
// argument or result declared twice, or two methods whose C++ names are one.
void check_interface(const Interface& interface);

// Throws SourceError when two of them have the same name and version.
void check_unique(const std::vector<Interface>& interfaces);

// The interfaces of `target`, in its order, out of `known` (checked, unique).
// Throws SourceError for the first mistake: a bad name, nothing implemented,
// an unknown interface or the same one twice, or two handlers of one name.
// The pointers live as long as `known`.
[[nodiscard]] std::vector<const Interface*> resolve_target(const Target& target,
                                                           const std::vector<Interface>& known);

}  // namespace xrlgen
