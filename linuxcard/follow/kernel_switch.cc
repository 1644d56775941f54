#include "linuxcard/follow/kernel_switch.h"

#include <algorithm>
#include <map>

#include "framework/base/xlog.h"
#include "platform/card_id.h"
#include "platform/managers/switch_model.h"

namespace {

using ByLink = std::map<std::string_view, const Link*>;

ByLink links_by_name(const LinkTable& table) {
  ByLink by_name;
  for (const auto& [index, link] : table.links) by_name.emplace(link.name, &link);
  return by_name;
}

const Link* find(const ByLink& links, std::string_view name) {
  const auto at = links.find(name);
  return at == links.end() ? nullptr : at->second;
}

KernelPort port_of(const std::string& name, const Link& link, const LinkTable& table,
                   std::uint32_t bridge) {
  KernelPort port{name, link.name, link.index, {}, 0, link.carrier};
  const auto vlans = table.vlans.find(link.index);
  if (bridge != 0 && link.master == bridge && vlans != table.vlans.end()) {
    port.untagged_vlan = vlans->second.untagged;
  }
  return port;
}

void add_vlans(const KernelSwitch& kernel, const LinkTable& table, std::uint32_t bridge,
               std::set<std::uint16_t>& vlans) {
  std::set<std::uint32_t> own;
  if (bridge != 0) own.insert(bridge);
  for (const KernelPort& port : kernel.ports) own.insert(port.index);
  for (const auto& [index, link] : table.links) {
    if (link.vlan != 0 && own.contains(link.lower)) vlans.insert(link.vlan);
  }
  for (const auto& [index, told] : table.vlans) {
    const auto link = table.links.find(index);
    const bool of_bridge =
        bridge != 0 &&
        (index == bridge || (link != table.links.end() && link->second.master == bridge));
    if (of_bridge) vlans.insert(told.ids.begin(), told.ids.end());
  }
}

// What the model refuses it has no room for; the rest of the switch is shown.
void expect(Refusal refusal, const std::string& what) {
  if (!refusal.empty()) XLOG_WARNING("%s: %s", what.c_str(), std::string(refusal).c_str());
}

// What an interface of the model is to be a member of; empty: of nothing.
using Memberships = std::map<std::string, std::string, std::less<>>;

Memberships memberships(const KernelSwitch& kernel) {
  Memberships wanted;
  for (const KernelPort& port : kernel.ports) wanted.emplace(port.name, port.aggregate);
  return wanted;
}

void remove_what_went(const Memberships& wanted, SwitchModel& model) {
  std::vector<std::string> gone;
  for (const auto& [name, atom] : model.interfaces().atoms()) {
    if (!wanted.contains(name)) gone.push_back(name);
  }
  for (const std::string& name : gone) expect(model.remove_interface(name), name);
}

void show_memberships(const Memberships& wanted, SwitchModel& model) {
  std::vector<std::pair<std::string, std::string>> left;
  for (const auto& [name, atom] : model.interfaces().atoms()) {
    if (atom.lagmember() && wanted.at(name) != atom.lagname()) {
      left.emplace_back(atom.lagname(), name);
    }
  }
  for (const auto& [lag, name] : left) expect(model.remove_member(lag, name), name);
  for (const auto& [name, lag] : wanted) {
    const SifMgrIfAtom* atom = model.interfaces().find(name);
    if (!lag.empty() && atom != nullptr && !atom->lagmember()) {
      expect(model.add_member(lag, name), name);
    }
  }
}

void show_vlans(const std::set<std::uint16_t>& vlans, SwitchModel& model) {
  const std::set<std::uint32_t> known = model.vlans();
  for (const std::uint32_t id : known) {
    if (!vlans.contains(static_cast<std::uint16_t>(id))) {
      expect(model.delete_vlan(id), "VLAN " + std::to_string(id));
    }
  }
  for (const std::uint16_t id : vlans) {
    if (!known.contains(id)) expect(model.create_vlan(id), "VLAN " + std::to_string(id));
  }
}

}  // namespace

KernelSwitch switch_of_links(const LinkTable& table, const Configuration& configuration) {
  const ByLink links = links_by_name(table);
  const Link* bridge = find(links, configuration.bridge);
  const std::uint32_t bridge_index = bridge == nullptr ? 0 : bridge->index;
  KernelSwitch kernel;
  std::map<std::uint32_t, std::string> aggregates;
  for (const auto& [name, link_name] : configuration.aggregates) {
    const Link* link = find(links, link_name);
    if (link == nullptr) continue;
    aggregates.emplace(link->index, name);
    kernel.ports.push_back(port_of(name, *link, table, bridge_index));
  }
  for (const auto& [name, link_name] : configuration.ports) {
    const Link* link = find(links, link_name);
    if (link == nullptr) continue;
    kernel.ports.push_back(port_of(name, *link, table, bridge_index));
    const auto aggregate = aggregates.find(link->master);
    if (aggregate != aggregates.end()) kernel.ports.back().aggregate = aggregate->second;
  }
  std::sort(kernel.ports.begin(), kernel.ports.end(),
            [](const KernelPort& a, const KernelPort& b) { return a.name < b.name; });
  add_vlans(kernel, table, bridge_index, kernel.vlans);
  return kernel;
}

void show_switch(const KernelSwitch& kernel, SwitchModel& model) {
  const Memberships wanted = memberships(kernel);
  remove_what_went(wanted, model);
  for (const auto& [name, lag] : wanted) {
    if (model.interfaces().find(name) == nullptr) expect(model.add_interface(name), name);
  }
  show_memberships(wanted, model);
  show_vlans(kernel.vlans, model);
}

void show_cards(const KernelSwitch& kernel, const Configuration& configuration,
                bool can_be_programmed, SwitchModel& model) {
  std::map<std::uint32_t, std::uint32_t> states;
  for (const auto& [name, link] : configuration.ports) {
    states.emplace(get_card_id(name), CARD_STATE_ABSENT);
  }
  for (const KernelPort& port : kernel.ports) {
    const auto card = states.find(get_card_id(port.name));
    if (can_be_programmed && card != states.end()) card->second = CARD_STATE_PRESENT;
  }
  for (const auto& [id, state] : states) {
    if (model.card_state(id) != state) {
      expect(model.set_card_state(id, state), "card " + std::to_string(id));
    }
  }
}
