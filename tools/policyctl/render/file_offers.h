// Names of files that begin with what was typed.
#pragma once

#include <string_view>
#include <vector>

#include "tools/policyctl/render/offers.h"

// Folders end in '/'. Hidden files are offered to who types the dot. Ascending.
[[nodiscard]] Offers file_offers(std::string_view partial);
