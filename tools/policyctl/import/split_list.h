// Lists that are written into one text.
#pragma once

#include <string_view>
#include <vector>

// What stands between the commas, without blanks around it; nothing of an empty
// text.
[[nodiscard]] inline std::vector<std::string_view> split_list(std::string_view text) {
  std::vector<std::string_view> parts;
  while (!text.empty()) {
    std::string_view part = text.substr(0, text.find(','));
    text.remove_prefix(part.size() < text.size() ? part.size() + 1 : part.size());
    while (part.starts_with(' ')) part.remove_prefix(1);
    while (part.ends_with(' ')) part.remove_suffix(1);
    parts.push_back(part);
  }
  return parts;
}
