#include "framework/xrl/finder_place.h"

#include "framework/base/decimal.h"

bool parse_finder_place(std::string_view text, FinderPlace& place) {
  const std::size_t colon = text.find(':');
  FinderPlace read;
  read.host = text.substr(0, colon);
  if (read.host.empty()) return false;
  if (colon != std::string_view::npos) {
    if (!parse_decimal(text.substr(colon + 1), read.port) || read.port == 0) return false;
  }
  place = read;
  return true;
}
