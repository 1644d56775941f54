// The profiling commands of a real policyd, one by one.
#include "tests/integration/real_daemon.h"

namespace {

constexpr const char* UNKNOWN = "102 The profile variable other does not exist.";
constexpr const char* LOCKED = "102 The profile variable policy_profile1 is locked.";
constexpr const char* NOBODY_THERE =
    "WARNING policyd POLICY +LINE profile_transmitter transmit_finished_callback: 201 "
    "RESOLVE_FAILED no target 'nobody' is registered.";

class ProfileCommands : public RealDaemon {
 protected:
  void SetUp() override { start_without_switch(); }
  std::string profile(const std::string& request) { return ask("policy/profile/0.1/" + request); }
};

TEST_F(ProfileCommands, SwitchAVariableOnAndOffAndClearIt) {
  EXPECT_EQ(profile("enable?pname:txt=policy_profile1"), "100");
  EXPECT_NE(profile("list").find("policy_profile1%090%09enabled"), std::string::npos);
  EXPECT_EQ(profile("clear?pname:txt=policy_profile1"), "100");
  EXPECT_EQ(profile("disable?pname:txt=policy_profile1"), "100");
  EXPECT_EQ(profile("list").find("policy_profile1%090%09enabled"), std::string::npos);
}

TEST_F(ProfileCommands, ThatNameAnUnknownVariableAreRefused) {
  for (const char* request :
       {"enable?pname:txt=other", "disable?pname:txt=other", "clear?pname:txt=other",
        "get_entries?pname:txt=other&instance_name:txt=nobody"}) {
    EXPECT_EQ(profile(request), UNKNOWN) << request;
  }
}

TEST_F(ProfileCommands, AClientThatIsNotThereIsWarnedAboutAndTheLogIsUnlocked) {
  EXPECT_EQ(profile("get_entries?pname:txt=policy_profile1&instance_name:txt=nobody"), "100");
  EXPECT_EQ(take_warnings(1), Lines{NOBODY_THERE});
  EXPECT_EQ(profile("clear?pname:txt=policy_profile1"), "100");
}

// Entries to be sent are what keeps a log locked, and policyd itself makes none.
class ProfileCommandsOnEntries : public RealDaemon {
 protected:
  void SetUp() override {
    plane.start_finder();
    plane.policyd = std::make_unique<ChildProcess>(std::vector<std::string>{
        program("profiled_policyd"), plane.host(), std::to_string(plane.port())});
    ASSERT_TRUE(until([this] { return ask("policy/profile/0.1/list").starts_with("100"); }));
  }
};

TEST_F(ProfileCommandsOnEntries, AreRefusedWhileTheLogIsBeingSentButForDisabling) {
  // All of them arrive together, before anything can be known of the client.
  Lines answers;
  for (const char* request : {"get_entries?pname:txt=policy_profile1&instance_name:txt=nobody",
                              "get_entries?pname:txt=policy_profile1&instance_name:txt=nobody",
                              "enable?pname:txt=policy_profile1", "clear?pname:txt=policy_profile1",
                              "disable?pname:txt=policy_profile1"}) {
    ASSERT_TRUE(
        plane.client().post(Xrl::parse(std::string("finder://policy/profile/0.1/") + request),
                            [&](const std::string& answer) { answers.push_back(answer); }));
  }
  ASSERT_TRUE(plane.client().turn_until([&] { return answers.size() == 5; }));
  EXPECT_EQ(answers, (Lines{"100", LOCKED, LOCKED, LOCKED, "100"}));
  EXPECT_TRUE(plane.policyd->wait_for_errors("transmit_callback: 201 RESOLVE_FAILED"));
  EXPECT_EQ(ask("policy/profile/0.1/clear?pname:txt=policy_profile1"), "100");
  take_warnings(1);
}

}  // namespace
