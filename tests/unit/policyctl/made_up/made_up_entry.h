// An entry kind that policyctl does not have: all that there is to adding one is this
// file, its source, and a row in the table.
#pragma once

#include "tools/policyctl/language/entry_kind.h"

extern const EntryKind& MADE_UP;
