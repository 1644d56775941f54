// What linuxcard keeps for its next start, beside what the kernel keeps: whose policy is in
// force, and what the line cards were told. Without it a restarted linuxcard would take the
// policyd that lives for one that was started anew.
#pragma once

#include <string>

#include "linuxcard/follow/switch_policy.h"

struct KeptState {
  std::string instance;  // of policyd; empty: none
  QueueMaps queues;
};

// Empty when there is no such file, or none that makes sense.
[[nodiscard]] KeptState read_kept_state(const std::string& file);
// The file is replaced as a whole. False, and the old one stays, when it cannot be written.
[[nodiscard]] bool write_kept_state(const std::string& file, const KeptState& state);
