// Where the lines of the shell come from: a person at a terminal, or a text.
#pragma once

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the keys TAB and '?' do with a line that is being typed.
class LineHelp {
 public:
  virtual ~LineHelp() = default;

  struct Completed {
    std::string insert;   // to be typed for the person
    std::string listing;  // lines to show, when it is not clear what to insert
  };
  // `before` is the line up to the cursor.
  [[nodiscard]] virtual Completed complete(std::string_view before) const = 0;
  // What may follow, with help, in lines. Empty where '?' is a character of the
  // text that is being typed.
  [[nodiscard]] virtual std::string explain(std::string_view before) const = 0;
};

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
