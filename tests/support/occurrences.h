// How often a text occurs in another; places may overlap.
#pragma once

#include <string_view>

[[nodiscard]] inline int occurrences(std::string_view text, std::string_view part) {
  int found = 0;
  for (std::size_t at = text.find(part); at != std::string_view::npos;
       at = text.find(part, at + 1)) {
    ++found;
  }
  return found;
}
