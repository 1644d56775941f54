// What a switch is to have in the end: what a file says, together with what the
// switch has that the file does not name.
#pragma once

#include "tools/policyctl/language/configuration.h"

enum class Unnamed {
  KEPT,     // what the file does not name stays as it is
  REMOVED,  // goes; settings return to what policyd starts with
};

// `wanted` with all that it leaves out. `present` must be whole: every setting,
// every interface and VLAN there is, bound to or not. Filters of an interface or
// VLAN stay where they are when the order that `wanted` asks for already holds;
// otherwise they come behind those that it does not name.
[[nodiscard]] Configuration complete(Configuration wanted, const Configuration& present,
                                     Unnamed unnamed);
