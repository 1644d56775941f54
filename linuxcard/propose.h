// A configuration for the links that a machine has.
#pragma once

#include <string>
#include <vector>

#include "linuxcard/netlink/link_table.h"

// Where a link is in the machine.
struct LinkPlace {
  std::string bus;   // the device it belongs to, "0000:01:00.0"; empty: none
  std::string port;  // what the device calls it, "p1"; empty: nothing
};

// What /sys says of a link.
[[nodiscard]] LinkPlace place_of_link(const std::string& name);

struct PlacedLink {
  Link link;
  LinkPlace place;
};

// Each device is a slot, in order of its bus name, numbered from 1; its links are ports in
// the order of what it calls them, numbers in them counting as such. Links without a device
// come last, in a slot of their own: virtual Ethernet links alone, and only where no link
// has a device. Bonds and teams are aggregates; a bridge is the switch's when there is one
// only. Each Linux name is used once.
[[nodiscard]] std::string propose_configuration(const std::vector<PlacedLink>& links);
