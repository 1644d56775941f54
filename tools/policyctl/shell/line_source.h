// Where the lines of the shell come from: a person at a terminal, or a text.
#pragma once

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/policyctl/shell/line_help.h"

class LineSource {
 public:
  virtual ~LineSource() = default;

  // Without its line break; none at the end. Throws Failure BAD_FILE when it
  // cannot be read.
  [[nodiscard]] virtual std::optional<std::string> next(const std::string& prompt) = 0;
};

// Line by line; nobody is prompted.
[[nodiscard]] std::unique_ptr<LineSource> read_lines(std::istream& in);

// The terminal that standard input and output are, with the lines typed before,
// the oldest first. `help` must outlive it.
[[nodiscard]] std::unique_ptr<LineSource> edit_lines(const LineHelp& help,
                                                     const std::vector<std::string>& history);
