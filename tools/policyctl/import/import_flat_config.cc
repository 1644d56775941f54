#include <algorithm>
#include <array>

#include "tools/policyctl/import/flat_parts.h"
#include "tools/policyctl/import/import_formats.h"
#include "tools/policyctl/language/joined.h"

namespace {

constexpr std::array<std::string_view, 7> IMPORTED{
    "ACL_TABLE",       "ACL_RULE", "DOT1P_TO_TC_MAP", "DSCP_TO_TC_MAP",
    "TC_TO_QUEUE_MAP", "QUEUE",    "SCHEDULER",
};

void note_other_tables(const FlatTables& tables, ImportLog& log) {
  for (const FlatTable& table : tables.all()) {
    const bool is_imported =
        std::find(IMPORTED.begin(), IMPORTED.end(), table.name) != IMPORTED.end();
    if (is_imported || table.entries.empty()) continue;
    log.note(printable(table.name), counted(table.entries.size(), "entry", "entries"),
             "policyd keeps no such table.");
  }
}

}  // namespace

void import_flat_config(std::string_view text, const ImportOptions& options, Import& import) {
  const std::optional<JsonValue> tree = parse_json(text, import.faults);
  if (!tree) return;
  ImportLog log(import);
  const FlatTables tables(*tree, log);
  import_flat_acls(tables, AclNumbers(options.first_acl), import.configuration, log);
  import_flat_cos(tables, import.configuration, log);
  note_other_tables(tables, log);
}
