// The terminal that standard output is: how large it is, and how more than it
// holds is shown.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>

struct Window {
  std::size_t columns = 80;
  std::size_t lines = 24;
};

// $COLUMNS and $LINES, else what the terminal says, else 80 and 24.
[[nodiscard]] Window window_of_output();

// To `out`, which must be standard output and a terminal; through $PAGER, or
// less -FRX, when it has more lines than the window. An empty $PAGER is none.
void print_paged(std::ostream& out, const std::string& text);
