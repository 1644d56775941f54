// Queue maps: the egress queue of each 802.1p priority, as the daemon keeps it and as
// the line cards are programmed.
#pragma once

#include "tools/policyctl/language/entry_kind.h"

extern const EntryKind& COS_PRIORITY;
extern const EntryKind& COS_MAPPING;
