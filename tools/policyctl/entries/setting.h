// Settings: what the switch, or each of its interfaces, has one value of.
#pragma once

#include "tools/policyctl/language/entry_kind.h"

extern const EntryKind& COS_FLAG;                // off, on
extern const EntryKind& COS_SCHEDULE_MODE;       // the mode
extern const EntryKind& COS_SCHEDULE_ALGORITHM;  // the algorithm, four weights
extern const EntryKind& COS_VALUE;               // of an interface
