// What statements stand below.
#pragma once

#include "tools/policyctl/language/entry_kind.h"

inline constexpr Scope IN_A_LIST{"acl", "It stands below an 'acl' line."};
inline constexpr Scope AT_A_RECORD{"interface", "It stands below an 'interface' or 'vlan' line."};
