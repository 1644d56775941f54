// Texts one behind the other.
#pragma once

#include <string>
#include <string_view>

[[nodiscard]] inline std::string joined(const auto& texts, std::string_view between = ", ") {
  std::string all;
  for (const std::string_view text : texts) {
    if (!all.empty()) all += between;
    all += text;
  }
  return all;
}
