// Who is told that the mirrored interface tree is new or has changed.
#pragma once

// Both run from the event loop, after the mirror's tree was replaced; each
// says only that something is new, not what.
class SifMgrHintObserver {
 public:
  virtual ~SifMgrHintObserver() = default;

  // The first whole tree of an interface manager that came up is in.
  virtual void tree_complete() = 0;
  // A later tree that differs from the one before is in.
  virtual void updates_made() = 0;
};
