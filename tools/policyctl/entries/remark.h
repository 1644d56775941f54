// Remarks: what packets that a permit rule matches are given, at an interface or VLAN.
#pragma once

#include "tools/policyctl/language/entry_kind.h"

extern const EntryKind& REMARK;
