// Usp: where a physical port is: unit of the stack, slot of the unit, port of
// the slot.
#pragma once

#include <compare>
#include <cstdint>
#include <string_view>

struct Usp {
  std::uint32_t unit = 0;
  std::uint32_t slot = 0;
  std::uint32_t port = 0;

  // NOLINTNEXTLINE(modernize-use-nullptr): the check takes the comparison for a null pointer
  auto operator<=>(const Usp&) const = default;
};

// Largest numbers in the name of a physical port: with more slots a unit's
// last cards would share their ids with the next unit's first ones, with more
// units card ids would not fit into 32 bits (get_card_id()).
inline constexpr std::uint32_t USP_MAX_SLOT = 255;
inline constexpr std::uint32_t USP_MAX_UNIT = 16777214;

// Reads the name of a physical port, UNIT/SLOT/PORT with an optional "letters-"
// in front: "1/2/3", "eth-1/2/3". The letters are A-Z and a-z, the numbers
// decimal digits and nothing else (leading zeros do not count), unit and slot
// within the limits above, the port within 32 bits. Answers 0 and sets `usp`;
// for any other name answers -1 and leaves `usp` as it was.
int ifname_to_usp(std::string_view name, Usp& usp);
