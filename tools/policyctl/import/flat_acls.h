// The access control lists of a flat configuration.
#pragma once

#include "tools/policyctl/import/acl_numbers.h"
#include "tools/policyctl/import/flat_tables.h"

// Each ACL_TABLE and its ACL_RULEs, as import_text.h says.
void import_flat_acls(const FlatTables& tables, AclNumbers numbers, Entries& entries,
                      ImportLog& log);
