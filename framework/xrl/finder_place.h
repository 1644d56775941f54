// Where the finder is, as a command line tells it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "framework/xrl/finder_constants.h"

struct FinderPlace {
  std::string host = FinderConstants::FINDER_DEFAULT_HOST().str();
  std::uint16_t port = FinderConstants::FINDER_DEFAULT_PORT();
};

// Reads "HOST[:PORT]", the port 1 to 65535. False, `place` left alone, for
// anything else.
[[nodiscard]] bool parse_finder_place(std::string_view text, FinderPlace& place);
