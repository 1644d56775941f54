// Interfaces and VLANs, which are somebody else's: what stands below is bound to them.
#pragma once

#include "tools/policyctl/language/entry_kind.h"

extern const EntryKind& INTERFACE;  // a port or aggregate
extern const EntryKind& VLAN;
