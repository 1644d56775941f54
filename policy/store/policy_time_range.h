// A named time range: five values that mean something to whoever configures
// them; the daemon keeps them as given.
#pragma once

#include <cstdint>
#include <string>

struct PolicyTimeRange {
  std::string name;
  std::uint32_t number1 = 0;
  std::uint32_t number2 = 0;
  std::uint32_t flag = 0;  // 0 or 1
  std::uint32_t number3 = 0;
  std::uint32_t number4 = 0;

  bool operator==(const PolicyTimeRange&) const = default;
};
