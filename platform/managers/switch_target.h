// SwitchTarget: a part of the switch that others reach by name: it
// has a router of its own, and dies for the rest of the system with it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "framework/xrl/finder_place.h"
#include "framework/xrl/interfaces/common_status.h"
#include "framework/xrl/router/xrl_std_router.h"
#include "framework/xrl/xrl_error.h"

class EventLoop;

// Whose targets they are: where the finder is, and the name of the one target by which
// the process is known as a whole, "chassis".
struct SwitchProcess {
  FinderPlace finder;
  std::string name;
};

class SwitchTarget {
 public:
  virtual ~SwitchTarget() = default;
  SwitchTarget(const SwitchTarget&) = delete;
  SwitchTarget& operator=(const SwitchTarget&) = delete;

  // Registered with the finder at least once.
  [[nodiscard]] bool is_ready() const { return _router.ready(); }

 protected:
  // Registers `class_name` in the background; the loop must outlive it.
  SwitchTarget(EventLoop& loop, const std::string& class_name, const SwitchProcess& process)
      : _router(loop, class_name.c_str(), process.finder.host.c_str(), process.finder.port, false) {
  }

  [[nodiscard]] XrlStdRouter& router() { return _router; }

 private:
  XrlStdRouter _router;
};

// The common interface as every target of the switch answers it, on top of a
// generated target base.
template <typename TargetBase>
class CommonHandlers : public TargetBase {
 public:
  // Adds the target's methods to `cmds`, which must outlive it.
  CommonHandlers(XrlCmdMap* cmds, const SwitchProcess& process)
      : TargetBase(cmds), _process(process.name) {}

  XrlCmdError common_0_1_get_target_name(std::string& name) override {
    name = this->cmds()->name();
    return XrlCmdError::OKAY();
  }
  XrlCmdError common_0_1_get_version(std::string& version) override {
    version = _process + "/0.0";
    return XrlCmdError::OKAY();
  }
  XrlCmdError common_0_1_get_status(std::uint32_t& status, std::string& reason) override {
    status = TARGET_READY;
    reason = "ready";
    return XrlCmdError::OKAY();
  }
  XrlCmdError common_0_1_shutdown() override {
    return XrlCmdError::COMMAND_FAILED("only the target " + _process + " can be shut down.");
  }

 private:
  std::string _process;
};
