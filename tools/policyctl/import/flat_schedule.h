// The schedule of the queues of a flat configuration.
#pragma once

#include "tools/policyctl/import/flat_tables.h"

// QUEUE and SCHEDULER as the switch-wide weights of queues 0 to 3, when they say
// just that; a note says why they do not.
void import_flat_schedule(const FlatTables& tables, Entries& entries, ImportLog& log);
