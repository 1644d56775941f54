// who-uses, delete, dscp-queue.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/policyctl/commands/context.h"
#include "tools/policyctl/language/configuration.h"

// A thing of the switch as a command line names it: "acl 10", "acl 10 rule 1",
// "time-range night".
struct ObjectName {
  std::optional<std::uint32_t> acl;
  std::optional<std::uint32_t> rule;  // of the list
  std::string time_range;             // when there is no list

  [[nodiscard]] std::string name() const;
};
// Throws Failure USAGE, saying what is wrong.
[[nodiscard]] ObjectName parse_object(const std::vector<std::string>& words);

// Every interface, VLAN and remark that holds the list or the rule. Exits
// REFUSED when there is no such list or rule.
ExitStatus who_uses_command(const Context& context, const ObjectName& object);

// Deletes it; `cascade` unbinds it first. One that is in use is refused, and who
// uses it is printed.
ExitStatus delete_command(const Context& context, const ObjectName& object, bool cascade);

// The queue of a DSCP, which policyd does not tell: a command and no statement.
// policyd keeps it in the mapping of priorities under the number of the DSCP, so
// that of a DSCP below 8 changes what `show cos` reads for that priority.
ExitStatus dscp_queue_command(const Context& context, std::uint32_t dscp, std::uint32_t queue);
