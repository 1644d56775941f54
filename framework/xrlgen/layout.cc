#include "framework/xrlgen/layout.h"

#include <algorithm>

namespace xrlgen {
namespace {

constexpr std::size_t CONTINUATION_INDENT = 4;
// So many lines fewer are worth leaving `head` alone on its line.
constexpr auto LINES_WORTH_A_BREAK = 3;

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

auto lines_of(const std::string& text) {
  return std::count(text.begin(), text.end(), '\n');
}

std::size_t indent_of(std::string_view line) {
  return std::min(line.find_first_not_of(' '), line.size());
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
  const std::string behind = fill_from(std::string(head), head.size(), items, separator, tail);
  const std::size_t column = indent_of(head) + CONTINUATION_INDENT;
  const std::string below = std::string(head.substr(0, head.find_last_not_of(' ') + 1)) + "\n" +
                            fill_from(std::string(column, ' '), column, items, separator, tail);
  const bool break_pays = lines_of(below) + LINES_WORTH_A_BREAK <= lines_of(behind);
  return too_wide(behind) || break_pays ? below : behind;
}

std::string fill_assignment(const std::string& left, const std::string& right,
                            const std::vector<std::string>& items, std::string_view separator,
                            std::string_view tail) {
  std::string on = fill(left + " = " + right, items, separator, tail);
  if (lines_of(on) == 1) return on;
  const std::string indent(indent_of(left) + CONTINUATION_INDENT, ' ');
  std::string below = left + " =\n" + fill(indent + right, items, separator, tail);
  return lines_of(below) <= lines_of(on) ? below : on;
}

std::string comment_block(std::string_view indent, const std::vector<std::string>& lines) {
  std::string block;
  for (const std::string& line : lines) block += std::string(indent) + "//" + line + "\n";
  return block;
}

}  // namespace xrlgen
