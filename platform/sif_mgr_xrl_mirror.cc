#include "platform/sif_mgr_xrl_mirror.h"

#include <array>
#include <span>
#include <string_view>
#include <utility>

#include "framework/base/event_loop.h"
#include "framework/base/exceptions.h"
#include "framework/base/hex.h"
#include "framework/base/xlog.h"
#include "framework/xrl/router/xrl_std_router.h"
#include "platform/class_watch.h"
#include "platform/interfaces/sif_mirror_tgt.h"
#include "platform/sif_tree_follower.h"

namespace {

// A process may hold several mirrors, a class name belongs to one target.
std::string unique_class_name(Kernel& kernel) {
  std::array<std::uint8_t, 8> bytes{};
  kernel.random_bytes(bytes);
  return "sif_mirror-" + hex_text(bytes);
}

// Hears the finder and the interface manager.
class MirrorTarget : public XrlSifMirrorTargetBase {
 public:
  MirrorTarget(XrlCmdMap* cmds, std::string sif_target_name, SifTreeFollower& follower)
      : XrlSifMirrorTargetBase(cmds),
        _sif_target_name(std::move(sif_target_name)),
        _follower(follower) {}

  XrlCmdError finder_event_observer_0_1_xrl_target_birth(
      std::string_view target_class, std::string_view target_instance) override {
    if (target_class == _sif_target_name) _follower.sif_born(target_instance);
    return XrlCmdError::OKAY();
  }
  XrlCmdError finder_event_observer_0_1_xrl_target_death(
      std::string_view target_class, std::string_view target_instance) override {
    if (target_class == _sif_target_name) _follower.sif_died(target_instance);
    return XrlCmdError::OKAY();
  }
  XrlCmdError sif_observer_0_1_tree_changed(std::uint64_t serial) override {
    _follower.tree_changed(serial);
    return XrlCmdError::OKAY();
  }

 private:
  std::string _sif_target_name;
  SifTreeFollower& _follower;
};

}  // namespace

class SifMgrXrlMirror::Connection {
 public:
  explicit Connection(SifMgrXrlMirror& mirror)
      : _router(mirror._eventloop, unique_class_name(mirror._eventloop.kernel()).c_str(),
                mirror._finder_host.c_str(), mirror._finder_port, false),
        _follower(
            mirror._eventloop, _router, _router.instance_name(),
            [&mirror](SifMgrIfTree tree, bool first) { mirror.tree_read(std::move(tree), first); }),
        _target(&_router, mirror._sif_target_name, _follower),
        _watch(mirror._eventloop, _router, _router.instance_name(), mirror._sif_target_name) {}

 private:
  XrlStdRouter _router;
  SifTreeFollower _follower;
  MirrorTarget _target;
  ClassWatch _watch;
};

SifMgrXrlMirror::SifMgrXrlMirror(EventLoop& eventloop, const std::string& sif_target_name,
                                 IPv4 finder_address, std::uint16_t finder_port)
    : ServiceBase("SifMgrXrlMirror"),
      _eventloop(eventloop),
      _sif_target_name(sif_target_name),
      _finder_host(finder_address.str()),
      _finder_port(finder_port) {}

SifMgrXrlMirror::~SifMgrXrlMirror() = default;

int SifMgrXrlMirror::startup() {
  if (status() != SERVICE_READY) return -1;
  try {
    _connection = std::make_unique<Connection>(*this);
  } catch (const XorpException& e) {
    XLOG_ERROR("Cannot start the mirror: %s", e.str().c_str());
    set_status(SERVICE_FAILED);
    return -1;
  }
  set_status(SERVICE_RUNNING);
  return 0;
}

int SifMgrXrlMirror::shutdown() {
  _connection.reset();
  set_status(SERVICE_SHUTDOWN);
  return 0;
}

bool SifMgrXrlMirror::attach_hint_observer(SifMgrHintObserver* observer) {
  if (_hint_observer != nullptr) return false;
  _hint_observer = observer;
  return true;
}

bool SifMgrXrlMirror::detach_hint_observer(SifMgrHintObserver* observer) {
  if (_hint_observer != observer) return false;
  _hint_observer = nullptr;
  return true;
}

void SifMgrXrlMirror::tree_read(SifMgrIfTree tree, bool first_of_its_life) {
  const bool changed = tree != _iftree;
  if (changed) _iftree = std::move(tree);
  if (_hint_observer == nullptr) return;
  if (first_of_its_life) {
    _hint_observer->tree_complete();
  } else if (changed) {
    _hint_observer->updates_made();
  }
}
