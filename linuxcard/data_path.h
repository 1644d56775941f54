// The seam between what policyd wants and what makes packets obey it.
//
// A data path is told the policy of the whole switch and makes it so; what it cannot
// honour it refuses by port or VLAN, which then keeps what it had. EbpfDataPath is the
// one for any Linux interface. A data path for hardware stands beside it.
//
// Calls block, for milliseconds to seconds where large lists change: an event loop calls
// from a process of its own. One data path is used by one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "linuxcard/classifier/policy.h"

// Why the filters of one port or one VLAN are not those asked for.
struct PolicyRefusal {
  // The port; empty when it is the VLAN.
  std::string port;
  std::uint16_t vlan = 0;
  // The rule that cannot be honoured; none when the list as a whole cannot, for instance
  // for want of memory, or the interface has gone.
  std::optional<RuleKey> rule;
  // A sentence: "match field 'out-ports' is not known where packets come in."
  std::string reason;
  bool operator==(const PolicyRefusal&) const = default;
};

struct PolicyReport {
  // Ports in their order in the policy, then VLANs in ascending order; at most one of
  // each. Whatever is not named is in force as asked.
  std::vector<PolicyRefusal> refusals;
  // How many lists were compiled and loaded; the others were in force already.
  std::size_t lists_built = 0;
  // What the tables and counters of all lists in force take in the kernel.
  std::uint64_t memory_bytes = 0;
};

struct RuleCounters {
  RuleKey key;
  std::uint64_t packets = 0;
  std::uint64_t bytes = 0;  // whole frames
  bool operator==(const RuleCounters&) const = default;
};

class DataPath {
 public:
  virtual ~DataPath() = default;

  // Makes `policy` the policy of the whole switch: ports that are not in it are let go,
  // their packets pass. The tables of a new list are built beside those in force, and
  // each port changes from the old to the new filters in one step, its VLAN filters
  // included: no packet sees a part of both. Ports change one after the other.
  //
  // A list that cannot be honoured is refused, and its port or VLAN keeps the filters it
  // has (none at first; of other ports and VLANs nothing changes for that). Applying an
  // equal policy again does nothing but try what was refused.
  [[nodiscard]] virtual PolicyReport apply(const SwitchPolicy& policy) = 0;

  // Lets the rules of these time ranges match, and those of no other, without building
  // anything. Each list changes in one step.
  virtual void set_active_time_ranges(const std::set<std::string>& active) = 0;

  // What each bound rule decided since it was bound first, in all places together, in
  // ascending order. Counters go on when other rules change, and after a restart.
  [[nodiscard]] virtual std::vector<RuleCounters> counters() = 0;

  // Lets go of every port and leaves nothing behind in the kernel. A data path that is
  // merely destroyed leaves everything in force for the next one, which takes it over.
  virtual void remove_everything() = 0;
};
