#include "tests/integration/hostile_process.h"

#include <algorithm>
#include <fstream>

#include "framework/base/comm.h"
#include "tests/support/sanitizers.h"

void HostileProcesses::SetUp() {
  comm_init();  // for the descriptors of thousands of strangers
  start();
}

void HostileProcesses::start() {
  plane.start_finder();
  plane.start_policyd();
  ASSERT_TRUE(plane.client().until(
      [this] { return ask("policy/common/0.1/get_version").substr(0, 3) == "100"; }));
  ASSERT_TRUE(NetAddress::parse(plane.finder_address(), finder_address));
  read_resolution();
}

// Where policyd listens and what its methods' keys are: any peer of the finder
// may know.
void HostileProcesses::read_resolution() {
  const std::string answer = ask("finder/finder/0.2/resolve_target?target:txt=policy");
  ASSERT_EQ(answer.substr(0, 4), "100 ");
  resolution = XrlArgs::parse(answer.substr(4));
  ASSERT_TRUE(
      NetAddress::parse(resolution.find("addresses")->list().get(0).text(), policy_address));
}

std::string HostileProcesses::key_of(const std::string& method) {
  const XrlAtomList& methods = resolution.find("methods")->list();
  std::size_t at = 0;
  for (const std::string_view each : methods.texts()) {
    if (each == method) break;
    ++at;
  }
  const auto key = resolution.find("keys")->list().get(at).binary();
  return {key.begin(), key.end()};
}

void HostileProcesses::expect_service() {
  EXPECT_EQ(ask("finder/common/0.1/get_target_name"), "100 name:txt=finder");
  EXPECT_EQ(ask("policy/common/0.1/get_target_name"), "100 name:txt=policy");
}

std::size_t HostileProcesses::refused(const Strangers& strangers) {
  return static_cast<std::size_t>(std::count_if(
      strangers.begin(), strangers.end(), [](const auto& each) { return each->is_refused(); }));
}

std::size_t HostileProcesses::count_lines(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

std::size_t HostileProcesses::resident_bytes(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmRSS:", 0) == 0) return std::stoul(line.substr(6)) * KIB;
  }
  return 0;
}

void HostileProcesses::expect_resident_at_most(pid_t pid, std::size_t bytes) {
  const std::size_t now = resident_bytes(pid);
  if (!SANITIZER_TAKES_MEMORY) {
    EXPECT_LE(now, bytes);
  }
}
