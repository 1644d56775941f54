// What is wrong with a text, and where.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/failure.h"

struct Fault {
  std::size_t line = 0;    // from 1; 0: of no line in particular
  std::size_t column = 0;  // from 1, in bytes
  std::size_t length = 0;  // bytes marked
  std::string message;     // what and why, a sentence
  std::string advice;      // what to do next, with commands as own_command(); may be empty
};

struct SourceText {
  std::string name;  // of the file, as it was given
  std::string text;
};

// Each fault as
//
//     edge.conf:7:24: 'srcip' is no field of a rule.
//       rule 1 permit srcip 10.0.0.0/8
//                     ^~~~~
//       Is 'src-ip' meant?
void print_faults(std::ostream& out, const SourceText& source, const std::vector<Fault>& faults,
                  Where where = Where::COMMAND_LINE);
