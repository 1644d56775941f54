// What packets are made to obey: policyd, finder and linuxcard in one process on virtual
// time, before a kernel that a script plays and a data path that remembers.
#include "linuxcard/follow/policy_follower.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "linuxcard/linuxcard.h"
#include "policy/xrl_policy_node.h"
#include "tests/simulation/sim_world.h"
#include "tests/support/log_capture.h"
#include "tests/support/temporary_folder.h"
#include "tests/unit/linuxcard/fake_data_path.h"
#include "tests/unit/linuxcard/scripted_kernel.h"
#include "tests/unit/platform/sim_finder.h"
#include "tools/xrl_call.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Refusals = std::vector<PolicyRefusal>;

class Policy : public testing::Test {
 protected:
  void SetUp() override {
    kernel.add("br0", "bridge");
    for (const char* name : {"swp1", "swp2"}) kernel.add(name);
    kernel.set_vlans("br0", {{1, 10}, 1});
    finder.start();
    start_policyd();
    start_card();
    settle([this] { return client.ready() && card->is_ready(); });
    settle([this] { return policy("get_port_cos_value?ifname:txt=1/1/2") == "100 value:u32=0"; });
    settle([this] { return policy("get_vlan_remark?vlan_id:u32=10").substr(0, 3) == "100"; });
    settle([this] { return card->follower().state() == PolicyFollower::State::FOLLOWING; });
    quiet();
  }
  void start_policyd() {
    policyd = std::make_unique<XrlPolicyNode>(world.loop(), "policy", "finder", "127.0.0.1",
                                              SimFinder::PORT);
    policyd->startup();
  }
  void start_card() {
    Linuxcard::Options options;
    options.configuration =
        parse_configuration("port 1/1/1 = swp1\nport 1/1/2 = swp2\nlag1 = bond0\nbridge = br0\n");
    options.state_file = folder.path_of("state");
    options.now = [this] { return now; };
    card = std::make_unique<Linuxcard>(world.loop(), kernel, data_path, options);
  }
  void settle(const std::function<bool()>& done, Duration limit = seconds(30)) {
    ASSERT_TRUE(world.run_until(done, limit)) << world.report();
  }
  std::string ask(const std::string& request) {
    std::optional<std::string> answer;
    EXPECT_TRUE(send_xrl(client, Xrl::parse("finder://" + request),
                         [&](const XrlError& error, const XrlArgs& results) {
                           answer = std::to_string(error.error_code()) + " " +
                                    (error.is_okay() ? results.str() : error.note());
                         }));
    EXPECT_TRUE(world.run_until([&] { return answer.has_value(); }, seconds(40))) << world.report();
    return answer.value_or("no answer");
  }
  std::string policy(const std::string& request) {
    return ask("policy/policy_config/0.1/" + request);
  }
  std::string card_says(const std::string& what) { return ask("linuxcard/linuxcard/0.1/" + what); }
  void make_rules() {
    ASSERT_EQ(policy("create_acl?acl:u32=10&type:u32=0"), "100 ");
    for (const char* rule : {"1", "2", "3"}) {
      ASSERT_EQ(policy("create_rule?acl:u32=10&rule:u32=" + std::string(rule) +
                       "&action:u32=1&flags:list=:u32=11&values:list=:txt=6"),
                "100 ");
    }
  }
  std::string bind(const std::string& port, const std::string& rule) {
    return policy("set_port_packet_filter?ifname:txt=" + port + "&acl:u32=10&rule:u32=" + rule);
  }
  void expect_filters(const std::string& port, const std::string& filters) {
    settle([&] { return data_path.filters_of(port) == filters; });
  }
  // Rule 1 of ACL 10 on port 1/1/1.
  void enforce_one_rule() {
    make_rules();
    EXPECT_EQ(bind("1/1/1", "1"), "100 ");
    expect_filters("1/1/1", "10/1");
  }
  void quiet(Duration time_of_day = seconds(1)) { world.run_for(time_of_day); }

  TemporaryFolder folder;
  SimWorld world{1};
  SimFinder finder{world};
  ScriptedKernel kernel{world.loop()};
  FakeDataPath data_path{world.loop()};
  LocalMoment now;
  XrlStdRouter client{world.loop(), "", "127.0.0.1", SimFinder::PORT, false};
  std::unique_ptr<XrlPolicyNode> policyd;
  std::unique_ptr<Linuxcard> card;
};

TEST_F(Policy, FiltersReachTheDataPathInBoundOrder) {
  make_rules();
  EXPECT_EQ(bind("1/1/1", "2"), "100 ");
  EXPECT_EQ(bind("1/1/1", "1"), "100 ");
  EXPECT_EQ(policy("set_vlan_packet_filter?vlan:u32=10&acl:u32=10&rule:u32=3"), "100 ");
  expect_filters("1/1/1", "10/2 10/1");
  expect_filters("1/1/2", "");
  EXPECT_EQ(data_path.filters_of(std::uint16_t{10}), "10/3");
  const PolicyRule& rule = data_path.latest().ports.at(0).filters->at(0);
  EXPECT_EQ(rule.action, RuleAction::PERMIT);
  EXPECT_EQ(rule.fields, (std::map<std::uint32_t, std::string>{{11, "6"}}));
}

TEST_F(Policy, PortsThatBindAlikeShareOneList) {
  make_rules();
  EXPECT_EQ(policy("set_all_ports_packet_filter?acl:u32=10&rule:u32=1"), "100 ");
  expect_filters("1/1/2", "10/1");
  EXPECT_EQ(data_path.latest().ports.at(0).filters, data_path.latest().ports.at(1).filters);
}

TEST_F(Policy, ARemarkHoldsWhereItsRuleIsBound) {
  make_rules();
  EXPECT_EQ(bind("1/1/1", "1"), "100 ");
  EXPECT_EQ(bind("1/1/2", "1"), "100 ");
  EXPECT_EQ(policy("remark_port_priority?ifname:txt=1/1/1&acl_id:u32=10&rule_id:u32=1&kind:u32=0"
                   "&value:u32=46"),
            "100 ");
  EXPECT_EQ(policy("remark_port_priority?ifname:txt=1/1/1&acl_id:u32=10&rule_id:u32=2&kind:u32=0"
                   "&value:u32=46"),
            "100 ");
  expect_filters("1/1/1", "10/1");
  quiet();
  EXPECT_EQ(data_path.latest().ports.at(0).filters->at(0).remark, (Remark{RemarkKind::DSCP, 46}));
  EXPECT_EQ(data_path.latest().ports.at(1).filters->at(0).remark, std::nullopt);
  EXPECT_EQ(data_path.filters_of("1/1/1"), "10/1");
}

TEST_F(Policy, NothingIsAskedOfTheDataPathWhileNothingChanges) {
  quiet();
  const std::size_t applied = data_path.policies.size();
  quiet(seconds(60));
  EXPECT_EQ(data_path.policies.size(), applied);
}

TEST_F(Policy, ARuleThatWasMadeAnewBetweenTwoLooksIsReadAnew) {
  enforce_one_rule();
  EXPECT_EQ(policy("delete_port_packet_filter?ifname:txt=1/1/1&acl:u32=10&rule:u32=1"), "100 ");
  EXPECT_EQ(policy("delete_rule?acl:u32=10&rule:u32=1"), "100 ");
  EXPECT_EQ(policy("create_rule?acl:u32=10&rule:u32=1&action:u32=0&flags:list=&values:list="),
            "100 ");
  EXPECT_EQ(bind("1/1/1", "1"), "100 ");
  quiet();
  EXPECT_EQ(data_path.latest().ports.at(0).filters->at(0).action, RuleAction::DENY);
}

TEST_F(Policy, LineCardMapsReachTheDataPath) {
  EXPECT_EQ(policy("set_cos_mapping?priorities:list=:u32=5&queues:list=:u32=7"), "100 ");
  settle([this] {
    const SwitchPolicy latest = data_path.latest();
    return latest.ports.size() == 2 && latest.ports.at(1).queues.has_value();
  });
  EXPECT_EQ(data_path.latest().ports.at(1).queues, (QueueMap{2, 0, 1, 3, 4, 7, 6, 7}));
}

TEST_F(Policy, APortsLinkIsFollowedWhenAnotherTakesItsName) {
  enforce_one_rule();
  kernel.rename("swp1", "old");
  kernel.rename("swp2", "swp1");
  quiet();
  EXPECT_EQ(data_path.latest().ports.size(), 1U);
  EXPECT_EQ(data_path.latest().ports.at(0).ifindex, kernel.index_of("swp1"));
  EXPECT_EQ(data_path.filters_of("1/1/1"), "10/1");
}

TEST_F(Policy, StaysWhileNoPolicydLives) {
  LogCapture log;
  enforce_one_rule();
  policyd.reset();
  quiet(seconds(300));
  EXPECT_EQ(data_path.filters_of("1/1/1"), "10/1");
  EXPECT_EQ(card_says("get_policy").substr(0, 21), "100 state:txt=waiting");
}

TEST_F(Policy, OfAPolicydThatBeganFromItsDefaultsIsTakenOnceItWasConfigured) {
  LogCapture log;
  enforce_one_rule();
  policyd.reset();
  quiet();
  start_policyd();
  settle([this] { return policy("get_port_cos_value?ifname:txt=1/1/2") == "100 value:u32=0"; });
  quiet(seconds(10));
  EXPECT_EQ(data_path.filters_of("1/1/1"), "10/1");
  EXPECT_EQ(card_says("get_policy").substr(0, 21), "100 state:txt=holding");
  make_rules();
  EXPECT_EQ(bind("1/1/2", "2"), "100 ");
  quiet(seconds(1));
  EXPECT_EQ(data_path.filters_of("1/1/1"), "10/1");
  quiet(seconds(3));
  EXPECT_EQ(data_path.filters_of("1/1/1"), "");
  EXPECT_EQ(data_path.filters_of("1/1/2"), "10/2");
  EXPECT_EQ(card_says("get_policy").substr(0, 23), "100 state:txt=following");
}

TEST_F(Policy, OfAPolicydThatNobodyConfiguresIsTakenAfterTheHold) {
  LogCapture log;
  enforce_one_rule();
  policyd.reset();
  quiet();
  start_policyd();
  quiet(seconds(55));
  EXPECT_EQ(data_path.filters_of("1/1/1"), "10/1");
  quiet(seconds(10));
  EXPECT_EQ(data_path.filters_of("1/1/1"), "");
}

TEST_F(Policy, IsTakenAtOnceFromTheSamePolicydAfterARestartOfLinuxcard) {
  LogCapture log;
  enforce_one_rule();
  card.reset();
  data_path.policies.clear();
  quiet();
  start_card();
  expect_filters("1/1/1", "10/1");
  EXPECT_EQ(policy("get_port_packet_filters?ifname:txt=1/1/1"),
            "100 acls:list=:u32=10&rules:list=:u32=1&extras:list=");
}

TEST_F(Policy, IsFollowedWithoutTheFinder) {
  LogCapture log;
  make_rules();
  finder.stop();
  quiet(seconds(5));
  EXPECT_EQ(bind("1/1/1", "1"), "100 ");
  expect_filters("1/1/1", "10/1");
}

TEST_F(Policy, WhatIsRefusedIsToldOnceAndTriedAgain) {
  LogCapture log;
  make_rules();
  data_path.outcome.report.refusals = Refusals{{"1/1/1", 0, RuleKey{10, 1}, "it is too much."},
                                               {"", 10, std::nullopt, "no memory."}};
  EXPECT_EQ(bind("1/1/1", "1"), "100 ");
  expect_filters("1/1/1", "10/1");
  const std::size_t applied = data_path.policies.size();
  quiet(seconds(25));
  EXPECT_GT(data_path.policies.size(), applied);
  EXPECT_EQ(log.take_lines(),
            (std::vector<std::string>{
                "ERROR LINUXCARD tell_of_refusals: Port 1/1/1 keeps the filters that it has: acl "
                "10 rule 1: it is too much.",
                "ERROR LINUXCARD tell_of_refusals: VLAN 10 keeps the filters that it has: no "
                "memory."}));
  EXPECT_EQ(card_says("get_ports"),
            "100 names:list=:txt=1/1/1,:txt=1/1/2,:txt=lag1&links:list=:txt=swp1,:txt=swp2,"
            ":txt=bond0&states:list=:txt=failing,:txt=ready,:txt=no%20link&reasons:list="
            ":txt=acl%2010%20rule%201%3A%20it%20is%20too%20much.,:txt=,"
            ":txt=Linux%20has%20no%20link%20bond0.");
  EXPECT_EQ(card_says("get_failing_vlans"),
            "100 vlans:list=:u32=10&reasons:list=:txt=no%20memory.");
}

TEST_F(Policy, ADataPathThatCannotWorkTakesTheCardsAway) {
  LogCapture log;
  data_path.outcome.problem = "no BPF.";
  make_rules();
  EXPECT_EQ(bind("1/1/1", "1"), "100 ");
  settle([this] { return card->model().card_state(16 + 256 + 1) == CARD_STATE_ABSENT; });
  data_path.outcome.problem.clear();
  settle([this] { return card->model().card_state(16 + 256 + 1) == CARD_STATE_PRESENT; });
}

TEST_F(Policy, TimeRangesSwitchRulesWithoutBuildingAnything) {
  EXPECT_EQ(
      policy("create_time_range?name:txt=night&number1:u32=1320&number2:u32=360&flag:bool=true"
             "&number3:u32=0&number4:u32=0"),
      "100 ");
  quiet(seconds(2));
  EXPECT_EQ(data_path.latest().active_time_ranges, std::set<std::string>{"night"});
  const std::size_t applied = data_path.policies.size();
  now.minute_of_day = 720;
  quiet(seconds(2));
  EXPECT_EQ(data_path.active_time_ranges, std::vector<std::set<std::string>>{{}});
  EXPECT_EQ(data_path.policies.size(), applied);
}

TEST_F(Policy, RulesTellWhatTheyDecided) {
  data_path.counters = {{{10, 1}, 5, 700}};
  quiet(seconds(3));
  EXPECT_EQ(ask("linuxcard/acl_counters/0.1/get_rule_counters"),
            "100 acls:list=:u32=10&rules:list=:u32=1&packets:list=:u64=5&bytes:list=:u64=700");
}

}  // namespace
