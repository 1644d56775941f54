// The profiling variables of the policy daemon.
#pragma once

#include <array>

struct ProfileVariable {
  const char* name;
  const char* comment;
};

// In the order in which they are created. A variable's comment is its name.
static constexpr std::array<ProfileVariable, 2> profile_variables{{
    {"policy_profile1", "policy_profile1"},
    {"policy_profile2", "policy_profile2"},
}};
