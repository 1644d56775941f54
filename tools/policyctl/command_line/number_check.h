// A check of whole numbers on the command line, which says what is wrong in our words.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <limits>
#include <string>

#include "tools/policyctl/language/statement_match.h"

// Without a description, which would become part of the name of the option's type.
inline CLI::Validator whole_number(
    std::uint32_t lowest = 0, std::uint32_t highest = std::numeric_limits<std::uint32_t>::max()) {
  return {[lowest, highest](std::string& text) {
            const std::optional<std::uint32_t> number = decimal_number(text);
            const bool is_one = number && *number >= lowest && *number <= highest;
            const std::string without_zero = without_leading_zero(text);
            if (!without_zero.empty()) return "'" + text + "' has a leading zero";
            return is_one ? std::string()
                          : "'" + text + "' is no number " + std::to_string(lowest) + ".." +
                                std::to_string(highest);
          },
          ""};
}
