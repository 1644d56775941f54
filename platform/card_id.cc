#include "platform/card_id.h"

#include <limits>

#include "platform/usp.h"

namespace {

constexpr std::uint32_t FIRST_CARD_ID = 16;
constexpr std::uint32_t CARD_IDS_PER_UNIT = 256;

static_assert(USP_MAX_SLOT < CARD_IDS_PER_UNIT);
static_assert(USP_MAX_UNIT <=
              (std::numeric_limits<std::uint32_t>::max() - FIRST_CARD_ID - USP_MAX_SLOT) /
                  CARD_IDS_PER_UNIT);

}  // namespace

std::uint32_t get_card_id(std::string_view ifname) {
  Usp usp;
  if (ifname_to_usp(ifname, usp) != 0) return NO_CARD_ID;
  return FIRST_CARD_ID + CARD_IDS_PER_UNIT * usp.unit + usp.slot;
}
