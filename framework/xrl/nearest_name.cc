#include "framework/xrl/nearest_name.h"

#include <algorithm>
#include <array>
#include <vector>

namespace {

constexpr std::size_t MAX_DISTANCE = 3;

// The edit distance of `a` and `b`, or `limit` when it is that or more. Only
// cells nearer than `limit` to the diagonal can matter.
std::size_t distance_below(std::size_t limit, std::string_view a, std::string_view b) {
  const std::size_t gap = a.size() > b.size() ? a.size() - b.size() : b.size() - a.size();
  if (gap >= limit) return limit;
  const std::size_t width = b.size() + 1;
  std::vector<std::size_t> two_up(width, limit);
  std::vector<std::size_t> up(width, limit);
  std::vector<std::size_t> row(width, limit);
  for (std::size_t j = 0; j < std::min(width, limit); ++j) up[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    const std::size_t from = i >= limit ? i - limit + 1 : 0;
    const std::size_t to = std::min(b.size(), i + limit - 1);
    if (from > 0) row[from - 1] = limit;
    for (std::size_t j = from; j <= to; ++j) {
      if (j == 0) {
        row[0] = i;
        continue;
      }
      const std::size_t outside = j == i + limit - 1 ? limit : up[j];
      std::size_t best =
          std::min({outside + 1, row[j - 1] + 1, up[j - 1] + (a[i - 1] == b[j - 1] ? 0U : 1U)});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) best = std::min(best, two_up[j - 2] + 1);
      row[j] = std::min(best, limit);
    }
    two_up.swap(up);
    up.swap(row);
  }
  return up[b.size()];
}

}  // namespace

NearestName::NearestName(std::string_view wanted)
    : _wanted(wanted),
      _limit(std::min(MAX_DISTANCE, std::max<std::size_t>(wanted.size() / 3, 1)) + 1) {}

void NearestName::consider(std::string_view candidate) {
  const std::size_t distance = distance_below(_limit, _wanted, candidate);
  if (distance >= _limit) return;
  _limit = distance;
  _name = candidate;
}

std::string NearestName::question() const {
  return _name.empty() ? "." : "; is '" + _name + "' meant?";
}
