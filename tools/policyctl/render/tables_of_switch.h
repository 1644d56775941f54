// The configuration of a switch as tables for a person at a terminal.
#pragma once

#include <cstddef>
#include <string>

#include "tools/policyctl/entries/selection.h"

struct TableStyle {
  std::size_t width = 80;
  bool in_colour = false;
};

// What is selected of a configuration that is whole in the parts it needs, with
// bindings where it has lists: they are counted.
[[nodiscard]] std::string tables_of_switch(Entries entries, const Selection& selection,
                                           const TableStyle& style);
