// From a host's name to its address.
#pragma once

#include <string>

#include "framework/base/ipv4.h"

// A dotted address as it is; any other text through the system's resolver,
// which may take as long as the name service does (use an address where that
// matters). False, and `address` stays, when there is none.
[[nodiscard]] bool resolve_host_name(const std::string& host, IPv4& address);
