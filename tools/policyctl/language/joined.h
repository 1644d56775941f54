// Texts one behind the other, and numbers of things.
#pragma once

#include <cstddef>
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

// "1 rule", "3 rules"; "2 entries", where `many` says so.
[[nodiscard]] inline std::string counted(std::size_t count, const std::string& one,
                                         const std::string& many = "") {
  return std::to_string(count) + " " + (count == 1 ? one : many.empty() ? one + "s" : many);
}
