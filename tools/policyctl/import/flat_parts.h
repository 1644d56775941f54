// The parts of a flat configuration.
#pragma once

#include "tools/policyctl/import/flat_tables.h"

// Each ACL_TABLE and its ACL_RULEs, as import_text.h says.
void import_flat_acls(const FlatTables& tables, AclNumbers numbers, Entries& entries,
                      ImportLog& log);

// The map of 802.1p priorities, chained with that of traffic classes, and the
// schedule of the queues.
void import_flat_cos(const FlatTables& tables, Entries& entries, ImportLog& log);

// QUEUE and SCHEDULER as the switch-wide weights of queues 0 to 3, when they say
// just that; a note says why they do not.
void import_flat_schedule(const FlatTables& tables, Entries& entries, ImportLog& log);
