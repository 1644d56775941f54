// Queue maps: the egress queue of each 802.1p priority, as the daemon keeps it and as
// the line cards are programmed.
#pragma once

#include <cstdint>
#include <map>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/entry_kind.h"

extern const EntryKind& COS_PRIORITY;
extern const EntryKind& COS_MAPPING;

// Priority to queue.
using Queues = std::map<std::uint32_t, std::uint32_t>;

// Of either kind.
[[nodiscard]] Queues queues_of(const EntryMap& map);
// What a step for one of them sets.
[[nodiscard]] Queues queues_of(const Step& step);
