// policyctl: shows and changes the traffic policy of a switch.
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iostream>

#include "tools/policyctl/command_line/command_line.h"
#include "tools/policyctl/standard_output.h"

namespace {

// A result that nobody can read is none. A reader that has seen enough is no
// failure.
int status_of_output(int error, int status, bool change_is_made) {
  if (error == 0 || error == EPIPE) return status;
  std::cerr << "policyctl: standard output: " << std::strerror(error) << "."
            << (change_is_made ? " The change is made." : "") << "\n";
  const bool was_well = status == static_cast<int>(ExitStatus::DONE) ||
                        status == static_cast<int>(ExitStatus::DIFFERS);
  return was_well ? static_cast<int>(ExitStatus::REFUSED) : status;
}

}  // namespace

int main(int argc, char** argv) {
  hold_closed_descriptors();
  // A limit to the size of files is a fault of writing like any other.
  (void)std::signal(SIGXFSZ, SIG_IGN);
  std::ios::sync_with_stdio(false);
  StandardOutput output;
  std::streambuf* const before = std::cout.rdbuf(&output);
  Context context{{std::cout, std::cerr}};
  bool change_is_made = false;
  context.change_is_made = &change_is_made;
  context.out_is_terminal = isatty(STDOUT_FILENO) != 0;
  context.err_is_terminal = isatty(STDERR_FILENO) != 0;
  context.program = "/proc/self/exe";
  const int status = run_command_line(context, argc, argv);
  const int error = output.finish();
  std::cout.rdbuf(before);
  return status_of_output(error, status, change_is_made);
}
