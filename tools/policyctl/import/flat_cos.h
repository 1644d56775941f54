// The class of service of a flat configuration.
#pragma once

#include "tools/policyctl/import/flat_tables.h"

// The map of 802.1p priorities, chained with that of traffic classes, and the
// schedule of the queues.
void import_flat_cos(const FlatTables& tables, Entries& entries, ImportLog& log);
