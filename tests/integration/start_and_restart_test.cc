// Whatever the order in which the processes start and whichever of them is
// killed, they come to the same state.
#include <memory>

#include "tests/integration/real_daemon.h"
#include "tests/support/log_capture.h"
#include "tests/support/occurrences.h"

namespace {

class StartAndRestart : public RealDaemon {
 protected:
  // Ports, membership and VLANs of SMALL_SWITCH, and nothing else; line cards that
  // take a mapping.
  void expect_converged() {
    EXPECT_TRUE(until([this] {
      return has_port("eth-0/1/1") && has_port("eth-0/1/2") && has_port("eth-0/2/1") &&
             has_port("lag1") && has_port("vlan-if") && has_vlan(10) && has_vlan(20);
    }));
    EXPECT_FALSE(has_port("eth-0/3/1"));
    EXPECT_FALSE(has_vlan(30));
  }
  // The road from a command to the line cards and back to the store is open.
  void expect_mapping_arrives(const std::string& queue) {
    EXPECT_TRUE(until([&] {
      return policy("set_cos_mapping?priorities:list=:u32=0&queues:list=:u32=" + queue) == "100" &&
             chassis("get_port_cos_mapping?name:txt=eth-0/2/1") ==
                 "100 priorities:list=:u32=0&queues:list=:u32=" + queue;
    }));
    EXPECT_TRUE(
        until_answered("get_cos_mapping?priorities:list=:u32=0", "100 queues:list=:u32=" + queue));
  }
  std::string interests() { return ask("finder/finder/0.2/get_interests"); }

  // Processes that lose the finder say so.
  LogCapture log;
};

class AnyOrderOfStart : public StartAndRestart, public testing::WithParamInterface<std::string> {};

TEST_P(AnyOrderOfStart, ComesToTheSameState) {
  for (const char first : GetParam()) {
    if (first == 'f') plane.start_finder();
    if (first == 'p') plane.start_policyd();
    if (first == 'c') plane.start_chassis();
  }
  expect_converged();
  expect_mapping_arrives("5");
  EXPECT_TRUE(until([this] { return occurrences(interests(), ":txt=policy-") == 2; }))
      << interests();
}

INSTANTIATE_TEST_SUITE_P(Orders, AnyOrderOfStart,
                         testing::Values("fpc", "fcp", "pfc", "pcf", "cfp", "cpf"),
                         [](const testing::TestParamInfo<std::string>& order) {
                           std::string name;
                           for (const char first : order.param) {
                             name += first == 'f' ? "Finder" : first == 'p' ? "Policyd" : "Chassis";
                           }
                           return name;
                         });

class WithoutFinder : public StartAndRestart {
 protected:
  void SetUp() override {
    finder_may_be_lost = true;
    start_all();
  }
};

TEST_F(WithoutFinder, CommandsFlowOnAndNoneIsLost) {
  constexpr int ROUNDS = 3;
  constexpr std::uint32_t COMMANDS = 400;
  ASSERT_TRUE(has_port("lag1"));
  std::uint32_t next = 0;
  std::uint32_t answered = 0;
  const auto send_commands = [&] {
    for (std::uint32_t i = 0; i < COMMANDS; ++i, ++next) {
      ASSERT_TRUE(plane.client().post(
          Xrl::parse("finder://policy/policy_config/0.1/create_acl?type:u32=0&acl:u32=" +
                     std::to_string(next)),
          [&](const std::string& answer) {
            EXPECT_EQ(answer, "100");
            ++answered;
          }));
      // Some are answered, some are under way when the finder goes or comes.
      if (i % 16 == 0) plane.client().loop().run();
    }
  };
  for (int round = 0; round < ROUNDS; ++round) {
    send_commands();
    ControlPlane::kill(plane.finder);
    send_commands();
    plane.start_finder();
  }
  send_commands();
  EXPECT_TRUE(plane.client().turn_until([&] { return answered == next; }));
  // Each arrived, and once.
  EXPECT_EQ(occurrences(policy("get_acls"), ":txt="), next);
}

TEST_F(WithoutFinder, NewLookUpsWorkAgainOnceItIsBack) {
  ASSERT_TRUE(has_port("lag1"));
  ControlPlane::kill(plane.finder);
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(has_port("lag1"));
  plane.start_finder();
  // The chassis has not been asked yet, and asks for policyd anew itself.
  EXPECT_TRUE(until([this] { return chassis("create_vlan?vlan_id:u32=77") == "100"; }));
  EXPECT_TRUE(until([this] { return has_vlan(77); }));
}

TEST_F(WithoutFinder, ALookUpWaitsForItsReturn) {
  ASSERT_TRUE(has_port("lag1"));
  ControlPlane::kill(plane.finder);
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(has_port("lag1"));
  std::string answer;
  ASSERT_TRUE(
      plane.client().post(Xrl::parse("finder://chassis/chassis/0.1/create_vlan?vlan_id:u32=88"),
                          [&](const std::string& text) { answer = text; }));
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(has_port("lag1"));
  EXPECT_EQ(answer, "");
  plane.start_finder();
  EXPECT_TRUE(plane.client().turn_until([&] { return !answer.empty(); }));
  // Either the chassis or the client was the first to find it.
  EXPECT_TRUE(answer == "100" || answer == "201 no target 'chassis' is registered.") << answer;
}

TEST_F(WithoutFinder, TheSwitchIsFollowedAgainOnceItIsBack) {
  ControlPlane::kill(plane.finder);
  plane.start_finder();
  ASSERT_TRUE(until([this] { return chassis("add_interface?name:txt=eth-0/7/1") == "100"; }));
  ASSERT_EQ(chassis("create_vlan?vlan_id:u32=30"), "100");
  EXPECT_TRUE(until([this] { return has_port("eth-0/7/1") && has_vlan(30); }));
  EXPECT_TRUE(until([this] { return occurrences(interests(), ":txt=policy-") == 2; }))
      << interests();
}

TEST_F(StartAndRestart, AChassisThatIsKilledAndStartedAnewIsFollowed) {
  start_all();
  ASSERT_EQ(chassis("add_interface?name:txt=eth-0/3/1"), "100");
  ASSERT_EQ(chassis("create_vlan?vlan_id:u32=30"), "100");
  ASSERT_TRUE(until([this] { return has_port("eth-0/3/1") && has_vlan(30); }));
  hold({{"set_port_cos_value?ifname:txt=lag1&value:u32=9", "100"}});
  ControlPlane::kill(plane.chassis);
  // Who manages the switch is gone; the switch is not.
  EXPECT_TRUE(has_port("eth-0/3/1") && has_vlan(30));
  plane.start_chassis();
  EXPECT_TRUE(until([this] { return !has_port("eth-0/3/1") && !has_vlan(30); }));
  expect_converged();
  expect_mapping_arrives("6");
  hold({{"get_port_cos_value?ifname:txt=lag1", "100 value:u32=9"}});
}

TEST_F(StartAndRestart, APolicydThatIsKilledStartsFromItsDefaultsAndFollowsTheSwitch) {
  start_all();
  hold({{"create_acl?acl:u32=1&type:u32=0", "100"},
        {"set_port_cos_value?ifname:txt=lag1&value:u32=9", "100"}});
  expect_mapping_arrives("5");
  kill_policyd();
  plane.start_policyd();
  expect_converged();
  hold({{"get_acls", "100 acls:list=&types:list=&descriptions:list="},
        {"get_port_cos_value?ifname:txt=lag1", "100 value:u32=0"},
        {"get_cos_mapping?priorities:list=:u32=0", "100 queues:list=:u32=2"}});
  expect_mapping_arrives("6");
}

TEST_F(StartAndRestart, ASecondPolicydWaitsAndTakesOverWhenTheFirstIsKilled) {
  start_all();
  hold({{"create_acl?acl:u32=1&type:u32=0", "100"}});
  const std::unique_ptr<ChildProcess> second = plane.make_policyd();
  ASSERT_TRUE(second->wait_for_errors("WARNING"));
  EXPECT_EQ(log_lines(second->errors()).size(), 1U) << second->errors();
  // The first goes on as if nothing were.
  hold({{"create_acl?acl:u32=2&type:u32=0", "100"},
        {"get_acls",
         "100 acls:list=:u32=1,:u32=2&types:list=:u32=0,:u32=0&descriptions:list=:txt=,:txt="}});
  expect_mapping_arrives("5");
  kill_policyd();
  EXPECT_TRUE(until_answered("get_acls", "100 acls:list=&types:list=&descriptions:list="));
  expect_converged();
  expect_mapping_arrives("6");
}

TEST_F(StartAndRestart, ASecondPolicydThatLeavesIsNotMissed) {
  start_all();
  {
    const std::unique_ptr<ChildProcess> second = plane.make_policyd();
    ASSERT_TRUE(second->wait_for_errors("WARNING"));
  }
  expect_mapping_arrives("5");
  EXPECT_EQ(ask("policy/common/0.1/get_status"), "100 status:u32=3&reason:txt=ready");
}

}  // namespace
