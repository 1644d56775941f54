// Where results and messages go, and how they are to look.
#pragma once

#include <iosfwd>

#include "tools/policyctl/failure.h"

struct Output {
  std::ostream& out;
  std::ostream& err;
  bool json = false;  // results as JSON
  bool out_is_terminal = false;
  bool err_is_terminal = false;
  Where where = Where::COMMAND_LINE;  // the person stands
  bool* change_is_made = nullptr;     // told when a change is; null: nobody asks

  // Whether results are coloured: on a terminal, unless $NO_COLOR has a value.
  [[nodiscard]] bool in_colour() const;
};
