// Lays generated code out as the rest of the tree is: lines of at most 100
// columns, what does not fit aligned with what it continues.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace xrlgen {

inline constexpr std::size_t MAX_COLUMNS = 100;

// `head`, the items joined by `separator` ("," or " &&") and `tail`, with a
// line break at the end: on one line if that fits; otherwise on lines as full
// as can be, the items in one column behind `head`, or below it where `head`
// leaves them too little room.
[[nodiscard]] std::string fill(std::string_view head, const std::vector<std::string>& items,
                               std::string_view separator, std::string_view tail);

// fill() for `left` = `right` and the items; where one line does not do, the
// line break is behind the '=' unless that makes it longer.
[[nodiscard]] std::string fill_assignment(const std::string& left, const std::string& right,
                                          const std::vector<std::string>& items,
                                          std::string_view separator, std::string_view tail);

// The lines as "//" comment, each behind `indent`.
[[nodiscard]] std::string comment_block(std::string_view indent,
                                        const std::vector<std::string>& lines);

}  // namespace xrlgen
