// who-uses, delete, dscp-queue.
#pragma once

#include <cstdint>

#include "tools/policyctl/commands/context.h"
#include "tools/policyctl/entries/object_uses.h"

// Every interface, VLAN and remark that holds the list or the rule, which `object`
// must be. Exits REFUSED when there is no such list or rule.
ExitStatus who_uses_command(const Context& context, const ObjectName& object);

// Deletes it; `cascade` unbinds it first. One that is in use is refused, and who
// uses it is printed.
struct DeleteOptions {
  bool cascade = false;
  bool lists_all = false;  // of who uses it, not the first alone
};
ExitStatus delete_command(const Context& context, const ObjectName& object,
                          const DeleteOptions& options);

// The queue of a DSCP, which policyd does not tell: a command and no statement.
// policyd keeps it in the mapping of priorities under the number of the DSCP, so
// that of a DSCP below 8 changes what `show cos` reads for that priority.
ExitStatus dscp_queue_command(const Context& context, std::uint32_t dscp, std::uint32_t queue);
