// Xrl: a whole request in textual form,
//
//     finder://TARGET/INTERFACE/VERSION/METHOD?name:type=value&...
#pragma once

#include <string>
#include <string_view>

#include "framework/xrl/xrl_args.h"

struct Xrl {
  std::string target;
  std::string method;  // "INTERFACE/VERSION/METHOD"
  XrlArgs args;

  // The textual form; target and method as they are.
  [[nodiscard]] std::string str() const;
  // Inverse of str(). Throws XrlParseError.
  [[nodiscard]] static Xrl parse(std::string_view text);
  bool operator==(const Xrl&) const = default;
};
