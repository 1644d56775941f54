// Time ranges: named, of five values to which the daemon gives no meaning.
#pragma once

#include "tools/policyctl/language/entry_kind.h"

extern const EntryKind& TIME_RANGE;
