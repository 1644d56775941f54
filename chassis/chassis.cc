#include "chassis/chassis.h"

#include <utility>

#include "common/switch_vocabulary.h"
#include "platform/managers/card_manager_target.h"
#include "platform/managers/lcmgr_target.h"
#include "platform/managers/sif_target.h"
#include "platform/managers/vlan_target.h"

// The model is built first: its targets then find it whole, and a bad
// description starts none.
Chassis::Chassis(EventLoop& loop, const SwitchDescription& description, FinderPlace finder)
    : _loop(loop), _process{std::move(finder), "chassis"} {
  build_switch(description, _model);
  add_targets();
  _model.add_observer(this);
}

Chassis::~Chassis() {
  _model.remove_observer(this);
}

void Chassis::add_targets() {
  _targets.add(well_known_names[NAME_SIF],
               [this] { return std::make_unique<SifTarget>(_loop, _model, _process); });
  _targets.add(well_known_names[NAME_CARD_MANAGER],
               [this] { return std::make_unique<CardManagerTarget>(_loop, _model, _process); });
  _targets.add(well_known_names[NAME_VLAN],
               [this] { return std::make_unique<VlanTarget>(_loop, _model, _process); });
  for (const auto& [slot, card] : _model.line_cards()) line_card_added(slot);
  _chassis_target = std::make_unique<ChassisTarget>(_loop, _model, _targets, _process);
}

void Chassis::line_card_added(std::uint32_t slot) {
  _targets.add(line_card_manager(slot), [this, slot] {
    return std::make_unique<LcmgrTarget>(_loop, _model, slot, _process);
  });
}

bool Chassis::is_ready() const {
  return _chassis_target->is_ready() && _targets.all_ready();
}

bool Chassis::is_done() const {
  return _chassis_target->shutdown_requested();
}
