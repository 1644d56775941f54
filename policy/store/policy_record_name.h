// Names a port record by its interface name or a VLAN record by its id.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

// Ordered as a walk over all records goes: the ports in ascending order of
// name, byte by byte, then the VLANs in ascending order of id.
using PolicyRecordName = std::variant<std::string, std::uint32_t>;
