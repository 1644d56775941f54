// Keeps the port records in step with the interface tree of the switch.
#pragma once

#include <cstdint>

#include "platform/sif_mgr_if_tree.h"

class PolicyTree;

// The card of an interface. An aggregate has none of its own and takes the
// one of its first member in ascending order of name.
[[nodiscard]] std::uint32_t card_id_of(const SifMgrIfAtom& atom);

// Creates a port record for each interface that `live` has and `snapshot` has
// not, with all that is known of it; brings those of both up to date; deletes
// the records of those that are gone; and makes `snapshot` equal to `live`.
//
// An interface for whose record memory does not suffice is left out of
// `snapshot`, and so is a new one the next time. When memory does not even
// suffice to begin, it throws std::bad_alloc and nothing has changed.
void reconcile_ports(PolicyTree& tree, const SifMgrIfTree& live, SifMgrIfTree& snapshot);
