// Which card an interface is on.
#pragma once

#include <cstdint>
#include <string_view>

// The card id of what has no card of its own: aggregates, VLAN interfaces.
inline constexpr std::uint32_t NO_CARD_ID = 2;

// 16 + 256 * unit + slot for the name of a physical port (ifname_to_usp()),
// a different one for every unit and slot; NO_CARD_ID for any other name.
[[nodiscard]] std::uint32_t get_card_id(std::string_view ifname);
