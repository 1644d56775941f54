// List arguments of commands: what they hold, and the checks of those that
// map values to egress queues.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "common/switch_vocabulary.h"
#include "framework/xrl/xrl_atom_list.h"

// The elements in order.
[[nodiscard]] inline std::vector<std::uint32_t> numbers_of(const XrlAtomList& list) {
  std::vector<std::uint32_t> numbers;
  numbers.reserve(list.size());
  for (const std::uint32_t number : list.u32s()) numbers.push_back(number);
  return numbers;
}

// Whether every number of the list is at most `max`.
[[nodiscard]] inline bool are_all_within(const XrlAtomList& list, std::uint32_t max) {
  for (const std::uint32_t number : list.u32s()) {
    if (number > max) return false;
  }
  return true;
}

// Whether each key, at most `max_key`, stands beside a queue.
[[nodiscard]] inline bool are_queue_pairs(const XrlAtomList& keys, std::uint32_t max_key,
                                          const XrlAtomList& queues) {
  return keys.size() == queues.size() && are_all_within(keys, max_key) &&
         are_all_within(queues, MAX_QUEUE);
}
