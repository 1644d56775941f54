// Writes the C++ of client stubs and target bases.
#pragma once

#include <string>
#include <vector>

#include "framework/xrlgen/model.h"

namespace xrlgen {

struct Generated {
  std::string header;
  std::string source;
};

// The client stub of a checked interface. `header_path`: how the source
// includes its header, "policy/interfaces/policy_config_xif.h".
[[nodiscard]] Generated emit_client(const Interface& interface, const std::string& header_path);

// The base of a checked target that implements `interfaces`, in that order.
[[nodiscard]] Generated emit_target_base(const Target& target,
                                         const std::vector<const Interface*>& interfaces,
                                         const std::string& header_path);

}  // namespace xrlgen
