// Numbers of things, for people.
#pragma once

#include <cstddef>
#include <string>

// "1 rule", "3 rules".
[[nodiscard]] inline std::string counted(std::size_t count, const std::string& thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}
