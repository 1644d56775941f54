// What policyd answers about itself.
#include "tests/integration/real_daemon.h"

namespace {

class CommonCommands : public RealDaemon {
 protected:
  void SetUp() override { start_without_switch(); }
};

TEST_F(CommonCommands, ItsNameIsPolicy) {
  EXPECT_EQ(ask("policy/common/0.1/get_target_name"), "100 name:txt=policy");
}

TEST_F(CommonCommands, ItsVersionIsThatOfItsInterface) {
  EXPECT_EQ(ask("policy/common/0.1/get_version"), "100 version:txt=policy/0.0");
}

TEST_F(CommonCommands, ItIsReadyAsSoonAsItAnswers) {
  EXPECT_EQ(ask("policy/common/0.1/get_status"), "100 status:u32=3&reason:txt=ready");
}

TEST_F(CommonCommands, ItLeavesWithStatusZeroOnceToldToAndHasAnsweredThat) {
  EXPECT_EQ(shut_down(), "100");
  EXPECT_EQ(plane.policyd->wait(), 0);
  EXPECT_EQ(plane.policyd->output(), "");
}

TEST_F(CommonCommands, ItsMethodsAreRegisteredInTheOrderOfItsInterfaces) {
  const std::string methods = ask("finder/finder/0.2/get_methods?target:txt=policy");
  std::size_t count = 0;
  for (std::size_t at = methods.find(":txt="); at != std::string::npos;
       at = methods.find(":txt=", at + 1)) {
    ++count;
  }
  EXPECT_EQ(count, 68U);  // the last one is the framework's
  std::size_t last = 0;
  for (const char* method :
       {"common/0.1/get_target_name", "finder_event_observer/0.1/xrl_target_birth",
        "card_state_observer/0.1/card_state_change", "vlan_observer/0.1/vlan_event",
        "policy_config/0.1/create_time_range", "policy_config/0.1/create_acl",
        "policy_config/0.1/get_vlan_packet_filters", "policy_config/0.1/set_cos_flag",
        "policy_config/0.1/get_schedule_algorithm", "profile/0.1/enable", "profile/0.1/list",
        "statistics/0.1/get_changes"}) {
    const std::size_t at = methods.find(std::string(":txt=") + method);
    ASSERT_NE(at, std::string::npos) << method;
    EXPECT_GT(at, last) << method;
    last = at;
  }
}

TEST_F(CommonCommands, ItTellsHowManyCommandsHaveChangedIt) {
  const auto changes = [this] {
    const std::string answer = ask("policy/statistics/0.1/get_changes");
    EXPECT_EQ(answer.substr(0, 15), "100 serial:u64=");
    return std::stoul(answer.substr(15));
  };
  const std::size_t before = changes();
  hold({{"create_acl?acl:u32=1&type:u32=0", "100"},
        {"get_rules?acl:u32=1", "100 rules:list=&type:u32=0"}});
  EXPECT_EQ(changes(), before + 1);
  hold({{"create_acl?acl:u32=1&type:u32=0", "102 failed to create acl"},
        {"delete_acl?acl:u32=1", "100"}});
  EXPECT_EQ(changes(), before + 2);
}

TEST_F(CommonCommands, ARequestWithAWrongArgumentIsRefusedByNameBeforeAnythingChanges) {
  hold({{"create_acl?acl:u32=1", "101 missing argument 'type'."},
        {"create_acl?acl:u32=1&type:txt=0", "101 argument 'type' is txt, u32 expected."},
        {"create_acl?acl:u32=1&type:u32=0&more:u32=1", "101 surplus argument 'more'."},
        {"set_cos_mapping?priorities:list=:txt=0&queues:list=:u32=1",
         "101 list 'priorities' holds txt, u32 expected."},
        {"get_acls", "100 acls:list=&types:list=&descriptions:list="}});
}

TEST_F(CommonCommands, ItsProfilingVariablesAreListed) {
  const std::string answer = ask("policy/profile/0.1/list");
  EXPECT_NE(answer.find("policy_profile1"), std::string::npos) << answer;
  EXPECT_NE(answer.find("policy_profile2"), std::string::npos) << answer;
}

}  // namespace
