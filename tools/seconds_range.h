// What command lines accept as a time in seconds.
#pragma once

#include <CLI/CLI.hpp>
#include <cmath>
#include <string>

// "0.001", "86400".
inline std::string seconds_text(double seconds) {
  std::string text = std::to_string(seconds);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text;
}

// A finite number from `shortest` to `longest`; CLI::Range lets "nan" pass. It has no
// description, which would become part of the name of the option's type.
inline CLI::Validator seconds_range(double shortest, double longest) {
  return {[shortest, longest](std::string& text) {
            double seconds = 0;
            const bool is_one = CLI::detail::lexical_cast(text, seconds) &&
                                std::isfinite(seconds) && seconds >= shortest && seconds <= longest;
            return is_one ? std::string()
                          : "'" + text + "' is no number " + seconds_text(shortest) + ".." +
                                seconds_text(longest);
          },
          ""};
}
