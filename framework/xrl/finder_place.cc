#include "framework/xrl/finder_place.h"

#include <charconv>

bool parse_finder_place(std::string_view text, FinderPlace& place) {
  const std::size_t colon = text.find(':');
  FinderPlace read;
  read.host = text.substr(0, colon);
  if (read.host.empty()) return false;
  if (colon != std::string_view::npos) {
    const std::string_view port = text.substr(colon + 1);
    const char* end = port.data() + port.size();
    const auto [rest, error] = std::from_chars(port.data(), end, read.port);
    if (error != std::errc() || rest != end || read.port == 0) return false;
  }
  place = read;
  return true;
}
