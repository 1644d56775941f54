// The faults of a text, as tests compare them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/language/read_configuration.h"

// "LINE:COLUMN+LENGTH MESSAGE | ADVICE", without " | " when there is no advice.
inline std::vector<std::string> shown_faults(const std::vector<Fault>& faults) {
  std::vector<std::string> shown;
  for (const Fault& fault : faults) {
    std::string text = std::to_string(fault.line) + ":" + std::to_string(fault.column) + "+" +
                       std::to_string(fault.length) + " " + fault.message;
    if (!fault.advice.empty()) text += " | " + worded(fault.advice, Where::COMMAND_LINE);
    shown.push_back(std::move(text));
  }
  return shown;
}

inline std::vector<std::string> faults_of(std::string_view text) {
  return shown_faults(read_configuration(text).faults);
}
