// What the kernel says of its links, as plain data.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>

struct Link {
  std::uint32_t index = 0;
  std::string name;
  std::uint32_t master = 0;  // index of the bond or bridge it belongs to; 0: none
  std::uint32_t lower = 0;   // index of what a VLAN device stands on; 0: none
  std::uint16_t vlan = 0;    // id of a VLAN device; 0 for any other link
  std::string kind;          // "bond", "bridge", "vlan", "veth"; empty for hardware
  bool carrier = false;      // up, and so is what is below it
  bool operator==(const Link&) const = default;
};

// What a VLAN-aware bridge says of itself or of one of its ports.
struct LinkVlans {
  std::set<std::uint16_t> ids;
  std::uint16_t untagged = 0;  // that packets without a tag belong to; 0: none
  bool operator==(const LinkVlans&) const = default;
};

struct LinkTable {
  std::map<std::uint32_t, Link> links;       // by index
  std::map<std::uint32_t, LinkVlans> vlans;  // by index; not every link has an entry

  // Null when there is none of that name.
  [[nodiscard]] const Link* find(std::string_view name) const {
    for (const auto& [index, link] : links) {
      if (link.name == name) return &link;
    }
    return nullptr;
  }
  bool operator==(const LinkTable&) const = default;
};
