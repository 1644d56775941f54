// What the processes of a switch's control plane mean by the numbers that they
// send each other, and what holds on a switch that nobody configured.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "common/well_known_names.h"

// The class of the line-card manager of a slot: the slot without padding behind
// "02", so that slot 12 has "lcmgr0212".
[[nodiscard]] inline std::string line_card_manager(std::uint32_t slot) {
  return well_known_names[NAME_LCMGR] + ("02" + std::to_string(slot));
}

// The state of a card, as the card manager tells it. A state that is neither of
// these two nor one of a card that is gone is none.
inline constexpr std::uint32_t CARD_STATE_ABSENT = 0;
inline constexpr std::uint32_t CARD_STATE_PRESENT = 7;
[[nodiscard]] constexpr bool is_card_gone(std::uint32_t card_state) {
  return card_state == CARD_STATE_ABSENT || card_state == 8 || card_state == 9;
}

// What the VLAN manager tells of a VLAN.
inline constexpr std::uint32_t VLAN_DELETED = 0;
inline constexpr std::uint32_t VLAN_CREATED = 1;

inline constexpr std::uint32_t FIRST_VLAN_ID = 1;
inline constexpr std::uint32_t LAST_VLAN_ID = 4094;

// Class of service, each from 0 to this.
inline constexpr std::uint32_t MAX_PRIORITY = 7;  // 802.1p
inline constexpr std::uint32_t MAX_DSCP = 63;
inline constexpr std::uint32_t MAX_QUEUE = 7;  // egress
inline constexpr std::uint32_t MAX_SCHEDULE_MODE = 4;
inline constexpr std::uint32_t MAX_SCHEDULE_ALGORITHM = 3;

// What a rule may write into the packets that it matches, by kind: a DSCP, a
// priority, a two-bit value; the largest of each.
inline constexpr std::array<std::uint32_t, 3> MAX_REMARKS{MAX_DSCP, MAX_PRIORITY, 3};

// The match fields of rules are numbered from 0 to this; policyd refuses others.
inline constexpr std::uint32_t LAST_MATCH_FIELD = 36;

// The egress queue of each priority, as line cards are programmed: 1 and 2 are
// background traffic and go below 0, best effort.
inline constexpr std::array<std::uint8_t, MAX_PRIORITY + 1> DEFAULT_COS_MAPPING{2, 0, 1, 3,
                                                                                4, 5, 6, 7};
// Every DSCP but the last has a queue: the first so many the first, and so on.
inline constexpr std::uint32_t DEFAULT_DSCPS_PER_QUEUE = 8;
// The scheduling weights of queues 0 to 3, the only ones that have one.
inline constexpr std::array<std::uint32_t, 4> DEFAULT_QUEUE_WEIGHTS{12, 8, 4, 1};
