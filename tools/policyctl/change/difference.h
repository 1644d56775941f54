// The difference between two configurations, carried over to a third: what a change
// made of one state, upon a switch that others have changed meanwhile. Making a
// change, undoing it and committing edits are all of them this.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "tools/policyctl/language/configuration.h"

enum class OnClash {
  // An entry that somebody else changed too, and differently, or that the change
  // needs and somebody else removed, is a clash; the target is of no use then.
  REFUSE,
  // The same entries are clashes, and stay as somebody else made them, with what they
  // need; all else is carried over.
  KEEP_THEIRS,
  // An entry that is neither as before nor as after, nor missing, nor between the
  // two, stays as it is, and what it needs with it.
  LEAVE,
};

struct Difference {
  SwitchConfiguration target;        // `now` with the difference made
  std::vector<std::string> clashes;  // "acl 10 rule 3"
};

// `now` must be whole; of the other two only what differs, and what was replaced on the
// way, is looked at. `foreign` are heads that are somebody else's whatever they look
// like.
[[nodiscard]] Difference carry_over(const Entries& before, const Entries& after,
                                    const SwitchConfiguration& now, OnClash on_clash,
                                    const std::set<EntryKey>& foreign = {});
