#include "linuxcard/linuxcard.h"

#include <utility>

#include "common/switch_vocabulary.h"
#include "framework/base/xlog.h"
#include "platform/managers/card_manager_target.h"
#include "platform/managers/lcmgr_target.h"
#include "platform/managers/sif_target.h"
#include "platform/managers/vlan_target.h"

Linuxcard::Linuxcard(EventLoop& loop, RouteSocket& socket, DataPathRunner& data_path,
                     Options options)
    : _loop(loop),
      _options(std::move(options)),
      _process{_options.finder, "linuxcard"},
      _kept(_options.state_file.empty() ? KeptState() : read_kept_state(_options.state_file)),
      _target(loop, _options.configuration, data_path, _process),
      _follower(loop, _target.sender(), data_path, follower_options()),
      _keep(loop, [this] { keep(); }),
      _links(loop, socket, [this](const LinkTable& table) { links_changed(table); }) {
  _target.set_follower(_follower);
  for (const auto& [port, map] : _kept.queues) _follower.set_queue_map(port, map);
  _model.add_observer(this);
}

Linuxcard::~Linuxcard() {
  if (_keep.is_armed()) keep();
  _model.remove_observer(this);
}

PolicyFollower::Options Linuxcard::follower_options() {
  PolicyFollower::Options options;
  options.hold = _options.configuration.hold;
  options.in_force = _kept.instance;
  options.now = _options.now;
  options.adopted = [this](const std::string& instance) {
    _kept.instance = instance;
    keep();
  };
  options.applied = [this] {
    _programmable = _follower.outcome().problem.empty();
    show();
  };
  return options;
}

bool Linuxcard::is_ready() const {
  return _has_targets && _target.is_ready() && _targets.all_ready();
}

void Linuxcard::links_changed(const LinkTable& table) {
  _follower.set_switch(switch_of_links(table, _options.configuration));
  show();
  if (!_has_targets) add_targets();
}

void Linuxcard::show() {
  show_switch(_follower.kernel(), _model);
  show_cards(_follower.kernel(), _options.configuration, _programmable, _model);
}

void Linuxcard::add_targets() {
  _has_targets = true;
  _targets.add(well_known_names[NAME_SIF],
               [this] { return std::make_unique<SifTarget>(_loop, _model, _process); });
  _targets.add(well_known_names[NAME_CARD_MANAGER],
               [this] { return std::make_unique<CardManagerTarget>(_loop, _model, _process); });
  _targets.add(well_known_names[NAME_VLAN],
               [this] { return std::make_unique<VlanTarget>(_loop, _model, _process); });
  for (const auto& [slot, card] : _model.line_cards()) line_card_added(slot);
}

void Linuxcard::line_card_added(std::uint32_t slot) {
  if (!_has_targets) return;
  _targets.add(line_card_manager(slot), [this, slot] {
    return std::make_unique<LcmgrTarget>(_loop, _model, slot, _process);
  });
}

// Of a port that was told of some priorities only, the others go where policyd's own map
// sends them at first.
void Linuxcard::port_programmed(const Usp& port) {
  for (const auto& [name, atom] : _model.interfaces().atoms()) {
    if (usp_of_interface(name) != port) continue;
    QueueMap& map = _kept.queues.try_emplace(name, DEFAULT_COS_MAPPING).first->second;
    for (const auto& [priority, queue] : _model.find_line_card(port.slot)->cos_mapping(port)) {
      map.at(priority) = static_cast<std::uint8_t>(queue);
    }
    _follower.set_queue_map(name, map);
  }
  if (!_keep.is_armed()) _keep.schedule_after(KEEP_DELAY);
}

void Linuxcard::keep() {
  if (_options.state_file.empty() || write_kept_state(_options.state_file, _kept)) return;
  XLOG_WARNING("%s cannot be written; the next start will hold the policy that is in force.",
               _options.state_file.c_str());
}
