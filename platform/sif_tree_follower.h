// SifTreeFollower: keeps reading the tree of one interface manager after
// another, as the mirror hears of their births, deaths and changes.
//
// It pulls: told of a change, it reads the whole tree; a change that is told
// while a reading is under way makes it read once more, so one reading at a
// time is in flight. After any failure it waits (0.1 s to 5 s), makes itself
// an observer again and reads again, so nothing it missed meanwhile is lost.
// That the interface manager refuses it, or that its tree is malformed, is logged
// once, and again only when a tree was read in between.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/sif_mgr_if_tree.h"

class EventLoop;
class XrlSender;

class SifTreeFollower {
 public:
  // A whole tree is in; `first`: the first one of the interface manager that
  // lives now. Runs from the event loop; may destroy the follower.
  using TreeRead = std::function<void(SifMgrIfTree tree, bool first)>;

  // Sends nothing until an interface manager is born. `observer` is the
  // target name that is to be told of changes. Loop and sender must outlive
  // the follower.
  SifTreeFollower(EventLoop& loop, XrlSender& sender, std::string observer, TreeRead tree_read);
  ~SifTreeFollower();
  SifTreeFollower(const SifTreeFollower&) = delete;
  SifTreeFollower& operator=(const SifTreeFollower&) = delete;

  // From now on `instance` is followed, an earlier one no more. The birth of
  // the one that is followed already (the finder was away) has it read again.
  void sif_born(std::string_view instance);
  // Does nothing unless `instance` is followed.
  void sif_died(std::string_view instance);
  // Does nothing when the tree with that serial was the last one read, or
  // when none is followed.
  void tree_changed(std::uint64_t serial);

 private:
  class Life;

  EventLoop& _loop;
  XrlSender& _sender;
  std::string _observer;
  TreeRead _tree_read;
  std::unique_ptr<Life> _life;
};
