// The memory of this test binary, counted, and made to run out on demand: its
// operator new is replaced.
#pragma once

#include <cstddef>

// From now on the allocation after the next `successes` ones fails, and so do
// the later ones, `failures` together, until the object goes.
class MemoryLimit {
 public:
  static constexpr std::size_t ALL = static_cast<std::size_t>(-1);

  explicit MemoryLimit(std::size_t successes, std::size_t failures = ALL);
  ~MemoryLimit();
  MemoryLimit(const MemoryLimit&) = delete;
  MemoryLimit& operator=(const MemoryLimit&) = delete;

  // Whether any allocation failed.
  [[nodiscard]] static bool was_reached();
};

// Bytes in use, with what the allocator itself takes for each block.
[[nodiscard]] std::size_t memory_in_use();
// Bytes asked for since the start, also those given back: the same whatever the
// allocator has at hand.
[[nodiscard]] std::size_t memory_asked_for();
