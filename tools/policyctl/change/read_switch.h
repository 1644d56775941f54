// Reads what a switch's traffic policy is.
#pragma once

#include <string>
#include <vector>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/switch/switch_session.h"

// Kinds of the top level; what stands below them is read with them.
using SwitchParts = std::vector<const EntryKind*>;
[[nodiscard]] SwitchParts all_parts();

struct ReadSwitch {
  // Whole in the parts that were read. What appears or goes while it is read may or
  // may not be there.
  SwitchConfiguration configuration;
  // Parts that nobody knows, for their manager is not there, and a sentence on it:
  // "the interface manager 'sif' is not there."; empty: there are none.
  SwitchParts unknown;
  std::string why_unknown;
};
// Throws Failure.
[[nodiscard]] ReadSwitch read_parts(SwitchSession& session, const SwitchParts& parts);

// The same where all parts are needed: one that is unknown is a Failure.
[[nodiscard]] SwitchConfiguration read_switch(SwitchSession& session, const SwitchParts& parts);
// Of all parts, where what is unknown is needed only for what `named` has of it.
[[nodiscard]] SwitchConfiguration read_switch_for(SwitchSession& session, const Entries& named);
// The entries of one kind, of one that stands below others those below `above`, with as
// little of what they say as can be asked for. Throws Failure.
[[nodiscard]] Entries read_names(SwitchSession& session, const EntryKind& kind,
                                 const EntryKey& above);
[[nodiscard]] Failure unknown_part_failure(const ReadSwitch& read);
