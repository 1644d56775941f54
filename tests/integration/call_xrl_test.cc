// call_xrl as its users see it, in front of a real switch.
#include <sstream>

#include "tests/integration/finder_tap.h"
#include "tests/integration/real_daemon.h"

namespace {

class CallXrl : public RealDaemon {
 protected:
  void SetUp() override { start_all(); }

  [[nodiscard]] ProcessResult call(const std::vector<std::string>& words) const {
    std::vector<std::string> argv{program("call_xrl"), "-F", plane.finder_address()};
    argv.insert(argv.end(), words.begin(), words.end());
    return run_process(std::move(argv));
  }
  // With the output of a shell command as its input.
  [[nodiscard]] ProcessResult pipe(const std::string& command) const {
    return run_process(
        {"/bin/sh", "-c",
         command + " | " + program("call_xrl") + " -F " + plane.finder_address() + " -"});
  }
  [[nodiscard]] static ProcessResult refused(const std::string& text) {
    return {1, "", "call_xrl: " + text + "\n"};
  }
};

TEST_F(CallXrl, ListsTheTargetsOfTheWholeSwitch) {
  const ProcessResult result = call({"finder://finder/finder/0.2/get_xrl_targets"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.output.substr(0, result.output.find("sif_mirror-")),
            "targets:list=:txt=card_manager,:txt=chassis,:txt=finder,:txt=lcmgr020,:txt=lcmgr021,"
            ":txt=lcmgr022,:txt=policy,:txt=sif,:txt=");
}

TEST_F(CallXrl, TellsWhatIsMisspeltAndOffersTheNearestName) {
  EXPECT_EQ(call({"finder://polcy/policy_config/0.1/get_acls"}),
            refused("RESOLVE_FAILED no target 'polcy' is registered; is 'policy' meant?"));
  EXPECT_EQ(call({"finder://policy/polcy_config/0.1/get_acls"}),
            refused("NO_SUCH_METHOD 'policy' has no interface 'polcy_config/0.1'; is "
                    "'policy_config/0.1' meant?"));
  EXPECT_EQ(call({"finder://policy/policy_config/0.2/get_acls"}),
            refused("NO_SUCH_METHOD 'policy' has no interface 'policy_config/0.2'; is "
                    "'policy_config/0.1' meant?"));
  EXPECT_EQ(call({"finder://policy/policy_config/0.1/get_acl"}),
            refused("NO_SUCH_METHOD 'policy_config/0.1' of 'policy' has no method 'get_acl'; is "
                    "'get_acls' meant?"));
  EXPECT_EQ(call({"finder://policy/policy_config/0.1/create_acl?acl:u32=1&typ:u32=0"}),
            refused("BAD_ARGS missing argument 'type' (found 'typ')."));
}

TEST_F(CallXrl, TellsWhyPolicydRefused) {
  EXPECT_EQ(call({"finder://policy/policy_config/0.1/get_rules?acl:u32=10"}),
            refused("COMMAND_FAILED the acl does not exist."));
  EXPECT_EQ(call({"finder://policy/policy_config/0.1/set_schedule_mode?mode:u32=5"}),
            refused("BAD_ARGS bad mode."));
}

TEST_F(CallXrl, SendsItsRequestsOneAfterTheOther) {
  const std::string config = "finder://policy/policy_config/0.1/";
  EXPECT_EQ(call({config + "create_acl?acl:u32=10&type:u32=0",
                  config + "create_acl?acl:u32=10&type:u32=0", config + "get_acls"}),
            (ProcessResult{1, "acls:list=:u32=10&types:list=:u32=0&descriptions:list=:txt=\n",
                           "call_xrl: COMMAND_FAILED failed to create acl\n"}));
}

TEST_F(CallXrl, AnswersALineForEachRequestLineInTheirOrder) {
  std::string input;
  for (const char* line :
       {"policy/policy_config/0.1/get_cos_flag", "policy/policy_config/0.1/delete_acl?acl:u32=9",
        "polcy/policy_config/0.1/get_acls", "policy/policy_config/0.1/set_schedule_mode?mode:u32=5",
        "policy/policy_config/0.1/get_acl", "policy/common/0.1/get_version"}) {
    input += std::string("finder://") + line + "\\n";
  }
  EXPECT_EQ(pipe("printf '" + input + "nonsense\\n'"),
            (ProcessResult{1,
                           "100 flag:bool=false\n"
                           "102 failed to delete acl\n"
                           "201 no target 'polcy' is registered; is 'policy' meant?\n"
                           "101 bad mode.\n"
                           "202 'policy_config/0.1' of 'policy' has no method 'get_acl'; is "
                           "'get_acls' meant?\n"
                           "100 version:txt=policy/0.0\n"
                           "101 no 'finder://' in front at byte 0\n",
                           ""}));
}

TEST_F(CallXrl, CreatesTwentyThousandRulesFromAPipe) {
  constexpr int COUNT = 20000;
  hold({{"create_acl?acl:u32=1&type:u32=0", "100"}});
  const ProcessResult result =
      pipe("seq " + std::to_string(COUNT) +
           " | sed 's|.*|finder://policy/policy_config/0.1/create_rule?acl:u32=1\\&rule:u32=&"
           "\\&action:u32=1\\&flags:list=:u32=1\\&values:list=:txt=10.0.0.0/8|'");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  std::string expected;
  for (int i = 0; i < COUNT; ++i) expected += "100 \n";
  EXPECT_EQ(result.output, expected);
  hold({{"get_rule_description?acl:u32=1&rule:u32=" + std::to_string(COUNT),
         "100 description:txt="}});
}

TEST_F(CallXrl, WaitsForATargetThatIsNotThereYetWhenToldTo) {
  kill_policyd();
  FinderTap tap(plane);
  ChildProcess waiting({program("call_xrl"), "-F", tap.address(), "-t", "60", "--wait",
                        "finder://policy/common/0.1/get_version"});
  // Who asks again was refused.
  ASSERT_TRUE(plane.client().turn_until([&tap] {
    return FinderTap::requests_in(tap.said(), "finder/0.2/resolve_target").size() >= 2;
  }));
  plane.start_policyd();
  ASSERT_TRUE(plane.client().until(
      [&waiting] { return !waiting.output().empty() || !waiting.errors().empty(); }));
  EXPECT_EQ(waiting.wait(), 0);
  EXPECT_EQ(waiting.output(), "version:txt=policy/0.0\n");
  EXPECT_EQ(waiting.errors(), "");
}

}  // namespace
