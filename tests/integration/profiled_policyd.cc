// profiled_policyd HOST PORT: policyd, with entries in the log of its first
// profiling variable. Nothing in the daemon itself makes any.
#include <cstdlib>

#include "common/profile_variables.h"
#include "framework/base/event_loop.h"
#include "framework/base/xlog.h"
#include "policy/xrl_policy_node.h"

namespace {

constexpr int HOST = 1;
constexpr int PORT = 2;

void add_entries(Profile& profile) {
  const char* const variable = profile_variables[0].name;
  profile.enable(variable);
  profile.log(variable, {1767225600, 250}, "eth-0/3/1 created");
  profile.log(variable, {1767225600, 999999}, "two\nlines & a % sign");
  profile.log(variable, {4294967295, 0}, "");
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc <= PORT) return EXIT_FAILURE;
  xlog_init(argv[0], nullptr);
  xlog_add_default_output();
  xlog_start();
  EventLoop loop;
  XrlPolicyNode node(loop, "policy", "finder", argv[HOST],
                     static_cast<std::uint16_t>(std::strtoul(argv[PORT], nullptr, 10)));
  node.startup();
  add_entries(node.policy_node().profile());
  while (!node.is_done()) loop.run();
  node.shutdown();
  while (node.is_running()) loop.run();
  return EXIT_SUCCESS;
}
