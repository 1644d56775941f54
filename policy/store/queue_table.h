// QueueTable: from a priority or a DSCP value to an egress queue. It has room
// for every key there is, so that no change is refused for want of memory.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "common/switch_vocabulary.h"

class QueueTable {
 public:
  static constexpr std::uint32_t MAX_KEY = MAX_DSCP;

  // Without an entry.
  QueueTable() = default;

  // Keys above MAX_KEY have no entry.
  [[nodiscard]] bool contains(std::uint32_t key) const {
    return key <= MAX_KEY && _queues[key].has_value();
  }
  // -1, and `queue` is left alone, when the key has no entry.
  int get(std::uint32_t key, std::uint32_t& queue) const {
    if (!contains(key)) return -1;
    queue = *_queues[key];
    return 0;
  }
  // -1 when the key has no entry; none is added.
  int change(std::uint32_t key, std::uint32_t queue) {
    if (!contains(key)) return -1;
    _queues[key] = queue;
    return 0;
  }
  // Adds the entry when there is none. `key` is at most MAX_KEY.
  void set(std::uint32_t key, std::uint32_t queue) { _queues[key] = queue; }

 private:
  std::array<std::optional<std::uint32_t>, std::size_t{MAX_KEY} + 1> _queues;
};
