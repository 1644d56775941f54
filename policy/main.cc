#include "framework/base/exceptions.h"
#include "framework/base/large_blocks.h"
#include "framework/base/xlog.h"
#include "policy/policy_main.h"

int main(int argc, char* argv[]) {
  const std::string argv0 = argv[0];
  return_large_blocks();

  xlog_init(argv0.c_str(), nullptr);
  xlog_set_verbose(XLOG_VERBOSE_LOW);
  xlog_level_set_verbose(XLOG_LEVEL_ERROR, XLOG_VERBOSE_HIGH);
  xlog_add_default_output();
  xlog_start();

  const PolicyOptions options = parse_command_line(argc, argv);
  if (options.usage) usage(argv0, *options.usage);

  try {
    policy_main(options.finder_hostname, options.finder_port);
  } catch (...) {
    // Reported, and thereby dealt with: the exit status is 0 all the same, on
    // purpose. Only a wrong command line has another one.
    xorp_catch_standard_exceptions();
  }

  xlog_stop();
  xlog_exit();
  return 0;
}
