// One VLAN record.
#pragma once

#include <cstdint>

#include "policy/store/policy_info.h"

class PolicyVlanInfo : public PolicyInfo {
 public:
  // Any id; without filters and actions. The tree must outlive the record.
  PolicyVlanInfo(PolicyTree& tree, std::uint32_t vlan_id) : PolicyInfo(tree, vlan_id) {}

  [[nodiscard]] std::uint32_t vlan_id() const { return std::get<std::uint32_t>(record_name()); }
};
