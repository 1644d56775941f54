// What is wrong with an interface or target file, and where.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace xrlgen {

// Line and column (in bytes) count from 1.
struct Location {
  std::size_t line = 1;
  std::size_t column = 1;
};

// what(): "policy_config.xif:7:20: unknown type 'u33'".
class SourceError : public std::runtime_error {
 public:
  SourceError(const std::string& file, Location at, const std::string& problem)
      : std::runtime_error(file + ":" + std::to_string(at.line) + ":" + std::to_string(at.column) +
                           ": " + problem) {}
};

}  // namespace xrlgen
