// What became of a change, and why something else did not end well, as text or JSON.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "tools/policyctl/change/change_switch.h"
#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/fault.h"

// Where results and messages go, and how they are to look.
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

// Each answers the status that it is told to end with.
ExitStatus print_report(const Output& output, const std::string& what, const ChangeReport& report);
ExitStatus report_failure(const Output& output, const Failure& failure);
// BAD_FILE.
ExitStatus report_faults(const Output& output, const SourceText& source,
                         const std::vector<Fault>& faults);
