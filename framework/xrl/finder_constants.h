// Where the finder is unless told otherwise.
#pragma once

#include <cstdint>

#include "framework/base/ipv4.h"

struct FinderConstants {
  static constexpr IPv4 FINDER_DEFAULT_HOST() { return IPv4::loopback(); }
  static constexpr std::uint16_t FINDER_DEFAULT_PORT() { return 19999; }
};
