#include "tools/policyctl/render/table.h"

#include <algorithm>

#include "tools/policyctl/render/table_text.h"

namespace {

constexpr std::size_t NARROWEST_CUT = 8;  // of a column whose texts are cut

constexpr const char* BOLD = "\033[1m";
constexpr const char* END = "\033[0m";

const char* code_of(TextColour colour) {
  switch (colour) {
    case TextColour::GREEN:
      return "\033[32m";
    case TextColour::RED:
      return "\033[31m";
    case TextColour::FAINT:
      return "\033[2m";
    case TextColour::PLAIN:
      break;
  }
  return "";
}

std::size_t total(const std::vector<std::size_t>& widths) {
  std::size_t sum = 0;
  for (const std::size_t width : widths) {
    if (width > 0) sum += width + (sum > 0 ? Table::GAP : 0);
  }
  return sum;
}

// Puts the cells of a line at their places, without blanks at its end.
class Line {
 public:
  Line(std::string& out, bool in_colour) : _out(out), _in_colour(in_colour) {}

  void put(const std::string& text, std::size_t width, TableColumn::Align align,
           const char* colour) {
    const std::size_t cells = text_width(text);
    const std::size_t padding = width - std::min(width, cells);
    if (align == TableColumn::Align::RIGHT) _blanks += padding;
    if (!text.empty()) {
      _out.append(_blanks, ' ');
      _blanks = 0;
      const bool is_coloured = _in_colour && *colour != '\0';
      if (is_coloured) _out += colour;
      _out += text;
      if (is_coloured) _out += END;
    }
    if (align == TableColumn::Align::LEFT) _blanks += text.empty() ? width : padding;
    _blanks += Table::GAP;
  }
  void end() {
    _out += '\n';
    _blanks = 0;
  }

 private:
  std::string& _out;
  bool _in_colour;
  std::size_t _blanks = 0;  // not written yet
};

}  // namespace

Table::Table(std::vector<TableColumn> columns)
    : _columns(std::move(columns)), _widths(_columns.size(), 0) {}

void Table::add(std::string_view text, TextColour colour) {
  const std::string shown = shown_text(text);
  std::size_t& width = _widths[_cells.size() % _columns.size()];
  width = std::max(width, text_width(shown));
  _texts += shown;
  _cells.push_back({static_cast<std::uint32_t>(shown.size()), colour});
}

std::vector<std::size_t> Table::widths_within(std::size_t width) const {
  std::vector<std::size_t> widths = _widths;
  for (std::size_t i = 0; i < widths.size(); ++i) {
    if (widths[i] > 0) widths[i] = std::max(widths[i], _columns[i].title.size());
  }
  for (std::size_t i = 0; i < widths.size(); ++i) {
    const std::size_t all = total(widths);
    if (all <= width || !_columns[i].can_be_cut) continue;
    const std::size_t least = std::max(NARROWEST_CUT, _columns[i].title.size());
    const std::size_t wanted = widths[i] - std::min(widths[i], all - width);
    widths[i] = std::min(widths[i], std::max(wanted, least));
  }
  return widths;
}

std::size_t Table::narrowest() const {
  return total(widths_within(0));
}

void Table::write(std::string& out, std::size_t width, bool in_colour) const {
  const std::vector<std::size_t> widths = widths_within(width);
  Line titles(out, in_colour);
  for (std::size_t i = 0; i < _columns.size(); ++i) {
    if (widths[i] > 0) titles.put(_columns[i].title, widths[i], _columns[i].align, BOLD);
  }
  titles.end();
  std::string_view texts = _texts;
  Line line(out, in_colour);
  for (std::size_t cell = 0; cell < _cells.size(); ++cell) {
    const std::size_t i = cell % _columns.size();
    const std::string_view text = texts.substr(0, _cells[cell].length);
    texts.remove_prefix(text.size());
    if (widths[i] > 0) {
      line.put(cut_text(text, widths[i]), widths[i], _columns[i].align,
               code_of(_cells[cell].colour));
    }
    if (i + 1 == _columns.size()) line.end();
  }
}
