#include "tests/integration/policyctl_fixture.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "tests/support/patience.h"

namespace {

// In memory where the machine has such a folder: every change is flushed to the
// disk, and these tests make thousands.
std::filesystem::path fastest_folder() {
  const std::filesystem::path memory = "/dev/shm";
  return std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
}

// Five seconds, which it waits by itself, may be too few on a busy machine.
std::vector<std::string> patient(std::vector<std::string> arguments) {
  if (std::ranges::find(arguments, "--timeout") == arguments.end()) {
    const auto finder = std::ranges::find(arguments, "-F");
    arguments.insert(finder, {"--timeout", PATIENCE_S});
  }
  return arguments;
}

}  // namespace

PolicyctlFixture::PolicyctlFixture() : own(fastest_folder()), folder(own.path()) {}

void PolicyctlFixture::SetUp() {
  setenv("POLICYCTL_STATE_DIR", (folder + "/state").c_str(), 1);
  plane.start_finder();
  plane.start_chassis();
  start_policyd();
}

PolicyctlFixture::Result PolicyctlFixture::policyctl(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"-F", plane.finder_address()});
  return run_policyctl(patient(std::move(arguments)));
}

std::unique_ptr<ChildProcess> PolicyctlFixture::start_policyctl(
    std::vector<std::string> arguments) {
  std::vector<std::string> argv{program("policyctl"), "-F", plane.finder_address()};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  return std::make_unique<ChildProcess>(patient(std::move(argv)));
}

bool PolicyctlFixture::with_growing_patience(
    const std::function<bool(const std::string&)>& attempt) {
  return std::ranges::any_of(std::array{"3", "10", "30", PATIENCE_S}, attempt);
}

std::string PolicyctlFixture::file(const std::string& name, const std::string& text) {
  return own.write(name, text);
}

std::string PolicyctlFixture::shown(const std::vector<std::string>& what) {
  std::vector<std::string> arguments{"show"};
  arguments.insert(arguments.end(), what.begin(), what.end());
  const Result result = policyctl(arguments);
  EXPECT_EQ(result.status, 0) << result.err;
  return result.out;
}

std::string PolicyctlFixture::rules(int acl, int first, int last) {
  std::string text = "acl " + std::to_string(acl) + " type 0\n";
  for (int rule = first; rule <= last; ++rule) {
    text += "  rule " + std::to_string(rule) + " permit protocol 6\n";
  }
  return text;
}

void PolicyctlFixture::become(const std::string& text) {
  const Result result = policyctl({"apply", "--prune", file("become.conf", text)});
  ASSERT_EQ(result.status, 0) << result.err << result.out;
}

void PolicyctlFixture::start_policyd() {
  plane.policyd = std::make_unique<ChildProcess>(std::vector<std::string>{
      program("faulty_policyd"), plane.host(), std::to_string(plane.port())});
  Client& client = plane.client();
  const auto knows = [&client](const std::string& request) {
    return client.ask("policy/policy_config/0.1/" + request).starts_with("100");
  };
  ASSERT_TRUE(client.until([&] {
    return knows("get_port_cos_value?ifname:txt=vlan-if") &&
           knows("get_vlan_packet_filters?vlan:u32=20") &&
           // A target of its own, which registers when it comes to it.
           client.ask("fault/fault/0.1/get_changes").starts_with("100");
  }));
}

void PolicyctlFixture::arm(const std::string& kind, std::size_t at, int pid) {
  ASSERT_EQ(plane.client().ask("fault/fault/0.1/arm?kind:txt=" + kind +
                               "&at:u32=" + std::to_string(at) + "&pid:u32=" + std::to_string(pid)),
            "100");
}

std::size_t PolicyctlFixture::changes() {
  const std::string answer = plane.client().ask("fault/fault/0.1/get_changes");
  const std::string before = "100 changes:u32=";
  EXPECT_TRUE(answer.starts_with(before)) << answer;
  return std::stoul(answer.substr(before.size()));
}
