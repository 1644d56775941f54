// Checkpoints: whole configurations of a switch as they were, the newest first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/change/state_directory.h"
#include "tools/policyctl/language/configuration.h"

struct Checkpoint {
  std::uint64_t serial = 0;
  std::string time;  // "2026-01-31 23:59:59"
  std::string why;   // "before apply edge.conf"
};

// Those beyond the newest ones are dropped.
constexpr std::size_t MOST_CHECKPOINTS = 50;

// Throws Failure REFUSED when the disk does not take it.
void keep_checkpoint(const StateDirectory& directory, const SwitchConfiguration& configuration,
                     const std::string& why);
// The newest first: the first is what `rollback 1` goes back to.
[[nodiscard]] std::vector<Checkpoint> list_checkpoints(const StateDirectory& directory);
// Whether it was kept when nobody knew what there is to be bound to: it says nothing of
// bindings then.
[[nodiscard]] bool lacks_bindings(std::string_view checkpoint);
// The text of the `number`th, from 1. Throws Failure REFUSED when there are fewer.
[[nodiscard]] std::string read_checkpoint(const StateDirectory& directory, std::size_t number);
