// The memory of this test binary, counted, and made to run out on demand: its
// operator new is replaced.
#pragma once

#include <cstddef>

// From now on the allocation after the next `successes` ones fails, and so
// does every later one, until the object goes.
class MemoryLimit {
 public:
  explicit MemoryLimit(std::size_t successes);
  ~MemoryLimit();
  MemoryLimit(const MemoryLimit&) = delete;
  MemoryLimit& operator=(const MemoryLimit&) = delete;

  // Whether any allocation failed.
  [[nodiscard]] static bool was_reached();
};

// Bytes in use, with what the allocator itself takes for each block.
[[nodiscard]] std::size_t memory_in_use();
