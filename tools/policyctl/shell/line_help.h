// What the keys TAB and '?' do with a line that is being typed.
#pragma once

#include <string>
#include <string_view>

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
