// ObservedTarget: a manager of the switch that other targets register with as
// observers, on top of a generated target base. It shows the model, hears of the
// model's changes, and drops observers that died.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "platform/managers/observers.h"
#include "platform/managers/switch_model.h"
#include "platform/managers/switch_target.h"

template <typename TargetBase>
class ObservedTarget : public SwitchTarget,
                       public CommonHandlers<TargetBase>,
                       public SwitchObserver {
 public:
  XrlCmdError finder_event_observer_0_1_xrl_target_birth(
      std::string_view target_class, std::string_view target_instance) override {
    _observers.target_born(target_class, target_instance);
    return XrlCmdError::OKAY();
  }
  XrlCmdError finder_event_observer_0_1_xrl_target_death(
      std::string_view target_class, std::string_view target_instance) override {
    _observers.target_died(target_class, target_instance);
    return XrlCmdError::OKAY();
  }

 protected:
  // The model must outlive the target. `tell` runs in later turns only.
  ObservedTarget(EventLoop& loop, const std::string& class_name, const SwitchProcess& process,
                 SwitchModel& model, Observers::Tell tell)
      : SwitchTarget(loop, class_name, process),
        CommonHandlers<TargetBase>(&router(), process),
        _model(model),
        _observers(loop, router(), router().instance_name(), std::move(tell)) {
    _model.add_observer(this);
  }
  ~ObservedTarget() override { _model.remove_observer(this); }

  [[nodiscard]] SwitchModel& model() { return _model; }
  [[nodiscard]] Observers& observers() { return _observers; }

 private:
  SwitchModel& _model;
  Observers _observers;
};
