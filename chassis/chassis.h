// Chassis: the rest of the switch, simulated: the interface manager, the card
// manager, the VLAN manager and a line-card manager per slot, each a target of
// its own, and the target "chassis" that changes them.
//
// Whatever gets lost between them and their observers (a connection, the
// finder, either side) is told again until it has arrived, so that all come to
// the same state once the faults are over.
#pragma once

#include <cstdint>
#include <memory>

#include "chassis/chassis_target.h"
#include "chassis/description.h"
#include "framework/xrl/finder_place.h"
#include "platform/managers/switch_model.h"
#include "platform/managers/target_set.h"

class EventLoop;

class Chassis : private SwitchObserver {
 public:
  // Starts all targets; they register in the background. Throws
  // DescriptionError when the description cannot be built. The loop must
  // outlive the chassis.
  Chassis(EventLoop& loop, const SwitchDescription& description, FinderPlace finder);
  ~Chassis() override;
  Chassis(const Chassis&) = delete;
  Chassis& operator=(const Chassis&) = delete;

  // All targets have registered with the finder.
  [[nodiscard]] bool is_ready() const;
  // The target "chassis" was asked to shut down; the answer leaves before the
  // turn of the loop is over.
  [[nodiscard]] bool is_done() const;

  // To look into, and to change as through the target.
  [[nodiscard]] SwitchModel& model() { return _model; }
  [[nodiscard]] const SwitchModel& model() const { return _model; }
  [[nodiscard]] TargetSet& targets() { return _targets; }

 private:
  void add_targets();
  void line_card_added(std::uint32_t slot) override;

  EventLoop& _loop;
  SwitchProcess _process;
  SwitchModel _model;
  TargetSet _targets;
  std::unique_ptr<ChassisTarget> _chassis_target;
};
