// One port record: what the daemon knows of a switch interface.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "policy/store/policy_info.h"

class PolicyPortInfo : public PolicyInfo {
 public:
  // Its card is the one its name tells, not ready; a member of no aggregate.
  // The tree must outlive the record.
  PolicyPortInfo(PolicyTree& tree, std::string name);

  [[nodiscard]] const std::string& name() const { return std::get<std::string>(record_name()); }

  // Whether the port is a member of an aggregate, and of which, as the interface
  // manager tells it. -1, and nothing changes, when memory runs out.
  [[nodiscard]] int set_lag(bool member, std::string_view lag);

  std::uint32_t card_id;
  bool card_ready = false;
  // Whether the name tells of no card; fixed, while card_id may follow the
  // members of an aggregate.
  const bool special_card;
  bool lag_member = false;
  std::string lag_name;
  std::uint32_t port_cos_value = 0;
};
