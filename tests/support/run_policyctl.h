// policyctl in this process. It leaves no process behind for `--confirm`.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "tools/policyctl/command_line/command_line.h"

struct PolicyctlResult {
  int status = -1;
  std::string out;
  std::string err;
};

inline PolicyctlResult run_policyctl(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv{"policyctl"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  std::ostringstream out;
  std::ostringstream err;
  Context context{out, err};
  const int status = run_command_line(context, static_cast<int>(argv.size()), argv.data());
  return {status, out.str(), err.str()};
}
