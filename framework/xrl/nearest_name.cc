#include "framework/xrl/nearest_name.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr std::size_t MAX_DISTANCE = 3;

// The cells of a row that are no further from the diagonal than distances
// that matter; cell k of row i stands for column i + k - MAX_DISTANCE.
using Row = std::array<std::size_t, 2 * MAX_DISTANCE + 1>;
constexpr std::size_t FAR = MAX_DISTANCE + 1;

// Row i of the edit distances between the beginnings of `a` and of `b`, from
// the two rows above it.
Row next_row(std::size_t i, std::string_view a, std::string_view b, const Row& up,
             const Row& two_up) {
  Row row;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  for (std::size_t k = 0; k < row.size(); ++k) {
    row[k] = FAR;
    if (i + k < MAX_DISTANCE || i + k - MAX_DISTANCE > b.size()) continue;
    const std::size_t j = i + k - MAX_DISTANCE;
    if (k + 1 < row.size()) row[k] = std::min(row[k], up[k + 1] + 1);
    if (k > 0) row[k] = std::min(row[k], row[k - 1] + 1);
    if (j == 0) continue;
    row[k] = std::min(row[k], up[k] + (a[i - 1] == b[j - 1] ? 0U : 1U));
    const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
    if (swapped) row[k] = std::min(row[k], two_up[k] + 1);
  }
  return row;
}

// The edit distance of `a` and `b`, or at least `limit` when it is that or more.
// Takes one from `rows` for each row it looks at.
std::size_t distance_below(std::size_t limit, std::string_view a, std::string_view b,
                           std::size_t& rows) {
  const std::size_t gap = a.size() > b.size() ? a.size() - b.size() : b.size() - a.size();
  if (gap >= limit) return limit;
  Row two_up;
  two_up.fill(FAR);
  Row up = two_up;
  for (std::size_t j = 0; j <= std::min(MAX_DISTANCE, b.size()); ++j) up[j + MAX_DISTANCE] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    if (rows == 0) return limit;
    --rows;
    const Row row = next_row(i, a, b, up, two_up);
    if (*std::min_element(row.begin(), row.end()) >= limit) return limit;
    two_up = std::exchange(up, row);
  }
  return up[b.size() + MAX_DISTANCE - a.size()];
}

}  // namespace

NearestName::NearestName(std::string_view wanted)
    : _wanted(wanted),
      _limit(std::min(MAX_DISTANCE, std::max<std::size_t>(wanted.size() / 3, 1)) + 1) {}

void NearestName::consider(std::string_view candidate) {
  const std::size_t distance = distance_below(_limit, _wanted, candidate, _rows_left);
  if (distance >= _limit) return;
  _limit = distance;
  _name = candidate;
}

std::string NearestName::question() const {
  return _name.empty() ? "." : "; is '" + _name + "' meant?";
}
