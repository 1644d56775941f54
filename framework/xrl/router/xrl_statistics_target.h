// XrlStatisticsTarget: what the framework answers of itself for a target, beside the
// target's own methods.
#pragma once

#include "framework/xrl/interfaces/statistics_tgt.h"
#include "framework/xrl/router/xrl_dispatcher.h"

class XrlStatisticsTarget final : public XrlStatisticsTargetBase {
 public:
  // `cmds` are those that `dispatcher` serves; both must outlive it.
  XrlStatisticsTarget(XrlCmdMap& cmds, const XrlDispatcher& dispatcher)
      : XrlStatisticsTargetBase(&cmds), _dispatcher(dispatcher) {}

  XrlCmdError statistics_0_1_get_changes(std::uint64_t& serial) override {
    serial = _dispatcher.changes();
    return XrlCmdError::OKAY();
  }

 private:
  const XrlDispatcher& _dispatcher;
};
