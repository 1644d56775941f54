// The finder: the target that every process knows, and where it is unless told
// otherwise.
#pragma once

#include <cstdint>

#include "framework/base/ipv4.h"

struct FinderConstants {
  static constexpr const char* FINDER_TARGET() { return "finder"; }
  static constexpr IPv4 FINDER_DEFAULT_HOST() { return IPv4::loopback(); }
  static constexpr std::uint16_t FINDER_DEFAULT_PORT() { return 19999; }
};
