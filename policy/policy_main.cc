#include "policy/policy_main.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "common/well_known_names.h"
#include "framework/base/event_loop.h"
#include "framework/base/xlog_follow_up.h"
#include "framework/xrl/finder_constants.h"
#include "policy/store/memory_reserve.h"
#include "policy/xrl_policy_node.h"

namespace {

constexpr const char* MODULE_NAME = XLOG_MODULE_NAME;
constexpr const char* MODULE_VERSION = "0.1";

// Takes over HOST or HOST:PORT. False, and nothing changes, when the port is
// missing after its ':'.
bool set_finder(const std::string& argument, PolicyOptions& options) {
  const std::size_t colon = argument.find(':');
  if (colon == std::string::npos) {
    options.finder_hostname = argument;
    return true;
  }
  const std::string port = argument.substr(colon + 1);
  if (port.empty()) return false;
  constexpr int DECIMAL = 10;
  options.finder_port =
      static_cast<std::uint16_t>(static_cast<int>(std::strtol(port.c_str(), nullptr, DECIMAL)));
  options.finder_hostname = argument.substr(0, colon);
  return true;
}

std::string program_name(const std::string& argv0) {
  const std::size_t slash = argv0.rfind('/');
  return slash == std::string::npos ? argv0 : argv0.substr(slash + 1);
}

}  // namespace

PolicyOptions::PolicyOptions()
    : finder_hostname(FinderConstants::FINDER_DEFAULT_HOST().str()),
      finder_port(FinderConstants::FINDER_DEFAULT_PORT()) {}

PolicyOptions parse_command_line(int argc, char* const argv[]) {
  PolicyOptions options;
  const auto with_usage = [&options](int exit_value) {
    options.usage = exit_value;
    return options;
  };
  optind = 0;  // from the start, also when getopt() was used before
  int option = 0;
  while ((option = getopt(argc, argv, "F:h")) != -1) {
    switch (option) {
      case 'F':
        if (!set_finder(optarg, options)) return with_usage(1);
        break;
      case 'h':
      case '?':
        return with_usage(0);
      default:
        return with_usage(1);
    }
  }
  return optind < argc ? with_usage(1) : options;
}

std::string usage_text(const std::string& argv0) {
  const std::string name = program_name(argv0);
  return "Usage: " + name +
         " [-F <finder_hostname>[:<finder_port>]]\n"
         "           -F <finder_hostname>[:<finder_port>]  : finder hostname and port\n"
         "           -h                                    : usage (this message)\n"
         "\n"
         "Program name:   " +
         name + "\nModule name:    " + MODULE_NAME + "\nModule version: " + MODULE_VERSION + "\n";
}

void usage(const std::string& argv0, int exit_value) {
  std::fputs(usage_text(argv0).c_str(), exit_value == 0 ? stdout : stderr);
  std::exit(exit_value);
}

void policy_main(const std::string& finder_hostname, std::uint16_t finder_port) {
  const MemoryReserve reserve;
  EventLoop eventloop;
  const XlogFollowUp follow_up(eventloop);
  XrlPolicyNode node(eventloop, well_known_names[NAME_POLICY], well_known_names[NAME_FINDER],
                     finder_hostname, finder_port);
  node.startup();
  while (!node.is_done()) eventloop.run();
  node.shutdown();
  while (node.is_running()) eventloop.run();
}
