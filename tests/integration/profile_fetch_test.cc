// call_xrl --profile as a process beside a finder and a policyd.
#include <gtest/gtest.h>

#include "tests/integration/control_plane.h"

namespace {

class ProfileFetchProcess : public testing::Test {
 protected:
  void SetUp() override { plane.start_finder(); }
  // No fetch begins before policyd answers.
  void start(const std::vector<std::string>& argv) {
    plane.policyd = std::make_unique<ChildProcess>(argv);
    ASSERT_TRUE(plane.client().until(
        [this] { return plane.client().ask("policy/profile/0.1/list").starts_with("100"); }));
  }
  void start_with_entries() {
    start({program("profiled_policyd"), plane.host(), std::to_string(plane.port())});
  }
  void start_without_entries() { start({program("policyd"), "-F", plane.finder_address()}); }

  [[nodiscard]] ProcessResult fetch(const std::string& variable) const {
    return run_process(
        {program("call_xrl"), "-F", plane.finder_address(), "-t", "60", "--profile", variable});
  }

  ControlPlane plane;
};

constexpr const char* ENTRIES =
    "1767225600.000250 eth-0/3/1 created\n"
    "1767225600.999999 two lines & a % sign\n"
    "4294967295.000000 \n";

TEST_F(ProfileFetchProcess, PrintsTheEntriesInTheirOrder) {
  start_with_entries();
  const ProcessResult result = fetch("policy_profile1");
  EXPECT_EQ(result.output, ENTRIES);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.status, 0);
}

TEST_F(ProfileFetchProcess, LeavesTheLogAsItWasForTheNextReader) {
  start_with_entries();
  EXPECT_EQ(fetch("policy_profile1").output, ENTRIES);
  EXPECT_EQ(fetch("policy_profile1").output, ENTRIES);
  EXPECT_EQ(plane.policyd->errors(), "");
}

TEST_F(ProfileFetchProcess, PrintsNothingOfAnEmptyLogAndEnablesTheVariable) {
  start_without_entries();
  const ProcessResult result = fetch("policy_profile2");
  EXPECT_EQ(result.output + result.errors, "");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(plane.client().ask("policy/profile/0.1/list").find("policy_profile2%090%09enabled"),
            std::string::npos);
}

TEST_F(ProfileFetchProcess, TellsOfAVariableThatDoesNotExist) {
  start_without_entries();
  const ProcessResult result = fetch("policy_profile3");
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors,
            "call_xrl: COMMAND_FAILED The profile variable policy_profile3 does not exist.\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(ProfileFetchProcess, TellsThatThereIsNoDaemon) {
  const ProcessResult result = fetch("policy_profile1");
  EXPECT_EQ(result.errors.substr(0, result.errors.find(' ', 10)), "call_xrl: RESOLVE_FAILED");
  EXPECT_EQ(result.status, 1);
}

TEST_F(ProfileFetchProcess, IsATargetOnlyWhileItFetches) {
  start_with_entries();
  EXPECT_EQ(fetch("policy_profile1").status, 0);
  EXPECT_TRUE(plane.client().until([this] {
    const std::string targets = plane.client().ask("finder/finder/0.2/get_xrl_targets");
    return targets.starts_with("100") && targets.find("profile-client") == std::string::npos;
  }));
}

}  // namespace
