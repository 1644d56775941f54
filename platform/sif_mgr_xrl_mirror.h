// SifMgrXrlMirror: a copy of the interface tree of the switch interface
// manager that follows the original.
//
// Life: startup() gives it a target and a router of its own, which register
// with the finder in the background and again after the finder was lost. Once
// registered it asks to hear of births and deaths of the interface manager.
// At a birth it makes itself an observer there and reads the whole tree, at
// every change it reads it again; what fails is tried again until it succeeds
// or the interface manager dies. At a death it keeps the last tree. It always
// reads whole trees, so a notification that got lost is made good by the next
// one that is not.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "framework/base/ipv4.h"
#include "framework/base/service.h"
#include "platform/sif_mgr_hint_observer.h"
#include "platform/sif_mgr_if_tree.h"

class EventLoop;

class SifMgrXrlMirror : public ServiceBase {
 public:
  // `sif_target_name`: the class of the interface manager, "sif". Sends
  // nothing. The event loop must outlive the mirror.
  SifMgrXrlMirror(EventLoop& eventloop, const std::string& sif_target_name, IPv4 finder_address,
                  std::uint16_t finder_port);
  // Where startup() will look for the finder. For who was constructed before its
  // router knew the address; changes nothing after startup().
  void set_finder_address(IPv4 finder_address) { _finder_host = finder_address.str(); }
  // As after shutdown(); tells the hint observer nothing.
  ~SifMgrXrlMirror() override;

  // 0 when it was READY: it is RUNNING from then on and follows the interface
  // manager as soon as there is one. In any other state -1, and nothing
  // changes; a mirror runs once. FAILED, -1 and a line in the log when it cannot have a
  // router, for the secret of XRL_COOKIE_FILE cannot be read any more.
  int startup() override;
  // Follows no longer and keeps the last tree. Always 0; may be repeated.
  int shutdown() override;

  // At most one observer, told from the event loop only; it must outlive the
  // mirror or be detached before. False, and nothing changes, when there is
  // one already (attach), or when `observer` is not the one (detach).
  bool attach_hint_observer(SifMgrHintObserver* observer);
  bool detach_hint_observer(SifMgrHintObserver* observer);

  // The last tree read; empty until the first one. Replaced as a whole, from
  // the event loop, just before the observer is told.
  [[nodiscard]] const SifMgrIfTree& iftree() const { return _iftree; }

 private:
  class Connection;

  void tree_read(SifMgrIfTree tree, bool first_of_its_life);

  EventLoop& _eventloop;
  std::string _sif_target_name;
  std::string _finder_host;
  std::uint16_t _finder_port;
  SifMgrHintObserver* _hint_observer = nullptr;
  SifMgrIfTree _iftree;
  std::unique_ptr<Connection> _connection;
};
