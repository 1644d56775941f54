// A ClassBench packet filter set as the requests that make an ACL of it.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <stdexcept>
#include <string>

#include "framework/xrl/xrl.h"
#include "tools/classbench/classbench_rule.h"

struct ClassbenchNumbers {
  std::uint32_t acl = 0;
  std::uint32_t action = 1;      // of every rule
  std::uint32_t first_rule = 1;  // the number of the first line's rule
};

// The set is not as it should be: "LINE:COLUMN: PROBLEM".
class ClassbenchError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

[[nodiscard]] Xrl create_acl_request(std::uint32_t acl);
[[nodiscard]] Xrl create_rule_request(const ClassbenchRule& rule, const ClassbenchNumbers& numbers,
                                      std::uint32_t rule_number);

// A request a line, in textual form: the one that creates the ACL, then those
// that create its rules, numbered upwards in the order of the set. Throws
// ClassbenchError: at a line that is wrong, for a set without rules, and where
// the numbers of rules run out.
[[nodiscard]] std::string classbench_requests(std::istream& set, const ClassbenchNumbers& numbers);
