// policyctl: shows and changes the traffic policy of a switch.
#include <unistd.h>

#include <iostream>

#include "tools/policyctl/commands/command_line.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  Context context{std::cout, std::cerr};
  context.out_is_terminal = isatty(STDOUT_FILENO) != 0;
  context.err_is_terminal = isatty(STDERR_FILENO) != 0;
  context.program = "/proc/self/exe";
  const int status = run_command_line(context, argc, argv);
  std::cout << std::flush;
  return status;
}
