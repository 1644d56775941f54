// One rule of a ClassBench packet filter set, a line of the form
//
//     @SRC/LEN<tab>DST/LEN<tab>LOW : HIGH<tab>LOW : HIGH<tab>0xPR/0xMA<tab>0xFLAG/0xMASK<tab>
//
// with source and destination prefix, source and destination ports, IP protocol,
// and the TCP header's flags. The order of the lines is the order of the rules.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "common/match_fields.h"
#include "framework/base/ipv4.h"

struct ClassbenchRule {
  struct Prefix {
    IPv4 address;  // no bit set beyond `length`
    std::uint32_t length = 0;
    bool operator==(const Prefix&) const = default;
  };
  struct Ports {
    std::uint16_t low = 0;
    std::uint16_t high = 0xffff;
    bool operator==(const Ports&) const = default;
  };
  Prefix src;
  Prefix dst;
  Ports src_ports;
  Ports dst_ports;
  std::optional<std::uint8_t> protocol;  // none: any
  std::uint16_t flags = 0;               // no bit set outside of `flags_mask`
  std::uint16_t flags_mask = 0;
  bool operator==(const ClassbenchRule&) const = default;
};

// What is wrong with a line, and at which column, the first being 1.
class ClassbenchLineError : public std::runtime_error {
 public:
  ClassbenchLineError(std::size_t column, const std::string& problem)
      : std::runtime_error(problem), _column(column) {}
  [[nodiscard]] std::size_t column() const { return _column; }

 private:
  std::size_t _column;
};

// `line` is without its line break. Throws ClassbenchLineError for anything but
// the form above, down to the last blank.
[[nodiscard]] ClassbenchRule parse_classbench_line(std::string_view line);

struct MatchValue {
  const MatchField* field;
  std::string text;
};

// The fields that the rule looks at, in ascending order of number. What matches
// everything is left out.
[[nodiscard]] std::vector<MatchValue> match_values(const ClassbenchRule& rule);
