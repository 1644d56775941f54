// Keeps the port records in step with the interface tree of the switch.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "framework/base/retry_timer.h"
#include "platform/sif_mgr_if_tree.h"

class PolicyTree;

// The card of an interface. An aggregate has none of its own and takes the
// one of its first member in ascending order of name.
[[nodiscard]] std::uint32_t card_id_of(const SifMgrIfAtom& atom);

// Creates a port record for each interface that `live` has and `snapshot` has
// not, with all that is known of it; brings those of both up to date; deletes
// the records of those that are gone; and makes `snapshot` equal to `live`.
//
// False when memory did not suffice for all of it: an interface that could get
// no record is left out of `snapshot`, one whose record could not be brought up
// to date stands there as before, and so the next call makes good what is left.
// When memory does not even suffice to begin, it throws std::bad_alloc and
// nothing has changed.
//
// The process stops at an interface of both that has no record; the log names
// `where` as the place.
[[nodiscard]] bool reconcile_ports(PolicyTree& tree, const SifMgrIfTree& live,
                                   SifMgrIfTree& snapshot, const std::string& where);

// Reconciles whenever it is told to, and what memory did not suffice for again
// and again until it does, or stop().
class PortReconciliation {
 public:
  // All must outlive it. `reconciled` runs after each time that records may have
  // changed.
  PortReconciliation(EventLoop& loop, PolicyTree& tree, const SifMgrIfTree& live,
                     SifMgrIfTree& snapshot, std::function<void()> reconciled);

  // `live` may differ from `snapshot`. Warns when memory does not suffice, once
  // until all was followed again.
  void updates_made();
  // Tries nothing again that failed so far.
  void stop() { _retry.cancel(); }

 private:
  void warn_once();

  PolicyTree& _tree;
  const SifMgrIfTree& _live;
  SifMgrIfTree& _snapshot;
  std::function<void()> _reconciled;
  bool _warned = false;
  RetryTimer _retry;
};
