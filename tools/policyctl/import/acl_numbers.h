// The numbers of the lists that an import makes.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

class AclNumbers {
 public:
  explicit AclNumbers(std::uint32_t first) : _next(first) {}

  // Each greater by one than that before; none when there is none left.
  std::optional<std::uint32_t> next() {
    if (_next > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    return static_cast<std::uint32_t>(_next++);
  }

 private:
  std::uint64_t _next;
};
