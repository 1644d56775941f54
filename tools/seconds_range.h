// What command lines accept as a time in seconds.
#pragma once

#include <CLI/CLI.hpp>
#include <cmath>
#include <string>

// A finite number from `shortest` to `longest`. CLI::Range alone lets "nan" pass.
inline CLI::Validator seconds_range(double shortest, double longest) {
  const CLI::Validator finite(
      [](std::string& text) {
        double seconds = 0;
        const bool is_number = CLI::detail::lexical_cast(text, seconds);
        return is_number && !std::isfinite(seconds) ? text + " is no number of seconds"
                                                    : std::string();
      },
      "");
  return finite & CLI::Range(shortest, longest);
}
