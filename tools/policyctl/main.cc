// policyctl: shows and changes the traffic policy of a switch.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>

#include "tools/policyctl/commands/command_line.h"
#include "tools/policyctl/standard_output.h"

namespace {

// A result that nobody can read is none. A reader that has seen enough is no
// failure.
int status_of_output(int error, int status) {
  if (error == 0 || error == EPIPE) return status;
  std::cerr << "policyctl: standard output: " << std::strerror(error) << ".\n";
  const bool was_well = status == static_cast<int>(ExitStatus::DONE) ||
                        status == static_cast<int>(ExitStatus::DIFFERS);
  return was_well ? static_cast<int>(ExitStatus::REFUSED) : status;
}

}  // namespace

int main(int argc, char** argv) {
  hold_closed_descriptors();
  std::ios::sync_with_stdio(false);
  StandardOutput output;
  std::streambuf* const before = std::cout.rdbuf(&output);
  Context context{std::cout, std::cerr};
  context.out_is_terminal = isatty(STDOUT_FILENO) != 0;
  context.err_is_terminal = isatty(STDERR_FILENO) != 0;
  context.program = "/proc/self/exe";
  const int status = run_command_line(context, argc, argv);
  const int error = output.finish();
  std::cout.rdbuf(before);
  return status_of_output(error, status);
}
