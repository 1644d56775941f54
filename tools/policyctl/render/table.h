// Table: rows of texts, printed in columns that are aligned.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

enum class TextColour : std::uint8_t { PLAIN, GREEN, RED, FAINT };

struct TableColumn {
  enum class Align : std::uint8_t { LEFT, RIGHT };
  std::string title;
  Align align = Align::LEFT;
  // Where rows are wider than the window, its texts are cut; any other's never.
  bool can_be_cut = false;
};

class Table {
 public:
  static constexpr std::size_t GAP = 2;  // between columns

  explicit Table(std::vector<TableColumn> columns);

  // The next cell, row after row. Bytes that cannot be shown are escaped.
  void add(std::string_view text, TextColour colour = TextColour::PLAIN);
  void add(std::uint64_t number) { add(std::to_string(number)); }

  [[nodiscard]] bool empty() const { return _cells.empty(); }
  // How wide it is once what can be cut is.
  [[nodiscard]] std::size_t narrowest() const;
  // Appends a line of titles, and a line for each row, none wider than
  // `width` if that can be. A column without any text is left out.
  void write(std::string& out, std::size_t width, bool in_colour) const;

 private:
  struct Cell {
    std::uint32_t length;  // of its text within _texts, where they lie one behind the other
    TextColour colour;
  };

  [[nodiscard]] std::vector<std::size_t> widths_within(std::size_t width) const;

  std::vector<TableColumn> _columns;
  std::vector<std::size_t> _widths;  // of the texts without the title; 0: there are none
  std::deque<Cell> _cells;           // of many none is moved
  std::string _texts;
};
