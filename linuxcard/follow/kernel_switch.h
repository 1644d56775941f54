// KernelSwitch: the switch that the kernel's links make, by the configuration: which
// ports and aggregates there are, who is a member of which, and which VLANs.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "linuxcard/configuration.h"
#include "linuxcard/netlink/link_table.h"

class SwitchModel;

// A port or an aggregate whose link is there.
struct KernelPort {
  std::string name;  // in the switch
  std::string link;  // in Linux
  std::uint32_t index = 0;
  std::string aggregate;  // of which it is a member; empty: of none
  std::uint16_t untagged_vlan = 0;
  bool carrier = false;
  bool operator==(const KernelPort&) const = default;
};

struct KernelSwitch {
  std::vector<KernelPort> ports;  // in ascending order of name
  std::set<std::uint16_t> vlans;
  bool operator==(const KernelSwitch&) const = default;
};

// A link belongs to the port that its name is configured for, whatever it was called
// before. VLANs are those of the bridge where it knows any, and those of VLAN devices on
// the bridge, on ports and on aggregates.
[[nodiscard]] KernelSwitch switch_of_links(const LinkTable& table,
                                           const Configuration& configuration);

// Makes interfaces, members and VLANs of the model those of `kernel`, in one go, so that
// nobody who asks for the model sees a part of it.
void show_switch(const KernelSwitch& kernel, SwitchModel& model);

// Says of each card that a configured port is on whether it is there: one whose ports can
// be programmed and of which there is a link.
void show_cards(const KernelSwitch& kernel, const Configuration& configuration,
                bool can_be_programmed, SwitchModel& model);
