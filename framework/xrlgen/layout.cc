#include "framework/xrlgen/layout.h"

#include <algorithm>

namespace xrlgen {
namespace {

constexpr std::size_t CONTINUATION_INDENT = 4;

// The items from `line` on, whose continuation lines begin at `column`.
std::string fill_from(std::string line, std::size_t column, const std::vector<std::string>& items,
                      std::string_view separator, std::string_view tail) {
  std::string done;
  bool line_is_empty = true;
  for (std::size_t i = 0; i < items.size(); ++i) {
    std::string piece = items[i];
    piece += i + 1 == items.size() ? tail : separator;
    if (!line_is_empty && line.size() + 1 + piece.size() > MAX_COLUMNS) {
      done += line + "\n";
      line.assign(column, ' ');
      line_is_empty = true;
    }
    if (!line_is_empty) line += ' ';
    line += piece;
    line_is_empty = false;
  }
  return done + line + "\n";
}

bool too_wide(std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    if (end > MAX_COLUMNS) return true;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return false;
}

}  // namespace

std::string fill(std::string_view head, const std::vector<std::string>& items,
                 std::string_view separator, std::string_view tail) {
  if (items.empty()) return std::string(head) + std::string(tail) + "\n";
  std::string behind = fill_from(std::string(head), head.size(), items, separator, tail);
  if (!too_wide(behind)) return behind;
  const std::size_t column =
      std::min(head.find_first_not_of(' '), head.size()) + CONTINUATION_INDENT;
  const std::string_view above = head.substr(0, head.find_last_not_of(' ') + 1);
  return std::string(above) + "\n" +
         fill_from(std::string(column, ' '), column, items, separator, tail);
}

std::string comment_block(std::string_view indent, const std::vector<std::string>& lines) {
  std::string block;
  for (const std::string& line : lines) block += std::string(indent) + "//" + line + "\n";
  return block;
}

}  // namespace xrlgen
