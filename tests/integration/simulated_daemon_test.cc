// What takes long or cannot be seen from outside, with policyd's node, the
// chassis and the finder in one process on virtual time.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "chassis/chassis.h"
#include "framework/finder/finder_server.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/router/xrl_std_router.h"
#include "framework/xrl/xrl.h"
#include "policy/store/policy_port_info.h"
#include "policy/store/policytree.h"
#include "policy/xrl_policy_node.h"
#include "tests/simulation/sim_world.h"
#include "tests/support/log_capture.h"
#include "tools/xrl_call.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::uint16_t PORT = 19999;
const IPv4 REMOTE(0x0a000001);  // 10.0.0.1
constexpr std::uint32_t SLOT_1 = 17;
constexpr std::uint32_t SLOT_2 = 18;

using Lines = std::vector<std::string>;

const std::string UNCONFIRMED =
    "WARNING POLICY send_set_cos_mapping_to_lcmgr_cb: failed to attempt to set cos mapping by "
    "lcmgr.";

class SimulatedDaemon : public testing::Test {
 protected:
  void start(const SwitchDescription& description) {
    start_finder();
    chassis = std::make_unique<Chassis>(world.loop(), description, FinderPlace{"127.0.0.1", PORT});
    policyd = std::make_unique<XrlPolicyNode>(world.loop(), "policy", "finder", finder_host, PORT);
    policyd->startup();
    client = std::make_unique<XrlStdRouter>(world.loop(), "", "127.0.0.1", PORT, false);
    settle([this] { return client->ready() && chassis->is_ready(); });
    settle([&] { return ports_are(description.interfaces.size()); });
  }
  void start_finder() {
    AllowList peers;
    EXPECT_TRUE(peers.add(REMOTE.str() + "/32"));
    finder.emplace(world.loop(), NetAddress::tcp(IPv4(), PORT), std::move(peers), "");
  }
  void settle(const std::function<bool()>& done, Duration limit = seconds(10)) {
    ASSERT_TRUE(world.run_until(done, limit)) << world.report();
  }
  [[nodiscard]] bool ports_are(std::size_t count) {
    std::vector<std::string> names;
    tree().get_port_names(names);
    return names.size() == count;
  }

  PolicyTree& tree() { return policyd->policy_node().policy_config().policy_tree(); }
  const PolicyPortInfo& port(const std::string& name) { return *tree().find_port(name); }
  SwitchModel& hardware() { return chassis->model(); }

  // "100 queues:list=:u32=2"
  std::string policy(const std::string& request) {
    return ask("policy/policy_config/0.1/" + request);
  }
  std::string ask(const std::string& request) {
    std::optional<std::string> answer;
    EXPECT_TRUE(send_xrl(*client, Xrl::parse("finder://" + request),
                         [&](const XrlError& error, const XrlArgs& results) {
                           answer = std::to_string(error.error_code()) + " " +
                                    (error.is_okay() ? results.str() : error.note());
                         }));
    EXPECT_TRUE(world.run_until([&] { return answer.has_value(); }, seconds(40))) << world.report();
    return answer.value_or("no answer");
  }

  SimWorld world{1};
  std::string finder_host = "127.0.0.1";  // as policyd is told it
  std::optional<FinderServer> finder;
  std::unique_ptr<Chassis> chassis;
  std::unique_ptr<XrlPolicyNode> policyd;
  std::unique_ptr<XrlStdRouter> client;
};

const SwitchDescription ONE_PORT{{{"eth-0/1/1", {}}}, {}, {}};

TEST_F(SimulatedDaemon, FollowsTheInterfaceTreeOfAFinderToldByName) {
  world.network().set_host_name("control", REMOTE);
  finder_host = "control";
  start(ONE_PORT);
  EXPECT_TRUE(ports_are(1));
}

TEST_F(SimulatedDaemon, ASilentLineCardLeavesTheMapAndAWarningAfterThirtySeconds) {
  start(ONE_PORT);
  hardware().find_line_card(1)->set_fault(LineCardFault::SILENT);
  LogCapture log;
  EXPECT_EQ(policy("set_cos_mapping?priorities:list=:u32=0&queues:list=:u32=5"), "100 ");
  world.run_for(xrl_limits::REPLY_TIMEOUT - seconds(1));
  EXPECT_EQ(log.take_lines(), Lines());
  world.run_for(seconds(2));
  EXPECT_EQ(log.take_lines(), Lines{UNCONFIRMED});
  EXPECT_EQ(policy("get_cos_mapping?priorities:list=:u32=0"), "100 queues:list=:u32=2");
  EXPECT_EQ(hardware().find_line_card(1)->requests(), 1U);
}

TEST_F(SimulatedDaemon, ASilentLineCardDoesNotHoldUpTheOthers) {
  start({{{"eth-0/1/1", {}}, {"eth-0/2/1", {}}}, {}, {}});
  hardware().find_line_card(1)->set_fault(LineCardFault::SILENT);
  LogCapture log;
  EXPECT_EQ(policy("set_cos_mapping?priorities:list=:u32=0&queues:list=:u32=5"), "100 ");
  world.run_for(seconds(1));
  EXPECT_EQ(policy("get_cos_mapping?priorities:list=:u32=0"), "100 queues:list=:u32=5");
  world.run_for(xrl_limits::REPLY_TIMEOUT);
  EXPECT_EQ(log.take_lines(), Lines{UNCONFIRMED});
  // A pair that one card confirmed is recorded, whatever the others did.
  EXPECT_EQ(policy("get_cos_mapping?priorities:list=:u32=0"), "100 queues:list=:u32=5");
}

TEST_F(SimulatedDaemon, TheDrainWaitsForTheInterestToBeWithdrawn) {
  start(ONE_PORT);
  settle([this] { return finder->registry().interests().size() > 0; });
  world.run_for(seconds(1));
  EXPECT_EQ(ask("policy/common/0.1/shutdown"), "100 ");
  EXPECT_TRUE(policyd->is_done());
  policyd->shutdown();
  EXPECT_TRUE(policyd->is_running());
  settle([this] { return !policyd->is_running(); }, seconds(1));
}

TEST_F(SimulatedDaemon, TheDrainGivesUpOnASilentLineCardAfterThirtySeconds) {
  start(ONE_PORT);
  hardware().find_line_card(1)->set_fault(LineCardFault::SILENT);
  LogCapture log;
  EXPECT_EQ(policy("set_cos_mapping?priorities:list=:u32=0&queues:list=:u32=5"), "100 ");
  EXPECT_EQ(ask("policy/common/0.1/shutdown"), "100 ");
  policyd->shutdown();
  world.run_for(xrl_limits::REPLY_TIMEOUT - seconds(1));
  EXPECT_TRUE(policyd->is_running());
  settle([this] { return !policyd->is_running(); }, seconds(2));
  EXPECT_EQ(log.take_lines(), Lines{UNCONFIRMED});
}

class Aggregates : public SimulatedDaemon {
 protected:
  void SetUp() override {
    start({{{"eth-0/1/1", {}}, {"eth-0/2/1", {}}, {"lag1", {"eth-0/2/1"}}, {"lag2", {}}},
           {},
           {SLOT_1}});
    settle([this] { return tree().is_card_up(SLOT_1); });
  }
};

TEST_F(Aggregates, AreOnTheCardOfTheirFirstMember) {
  EXPECT_EQ(port("lag1").card_id, SLOT_2);
  EXPECT_FALSE(port("lag1").card_ready);
}

TEST_F(Aggregates, KeepNoCardWithoutMembers) {
  EXPECT_EQ(port("lag2").card_id, 2U);
  EXPECT_FALSE(port("lag2").card_ready);
}

TEST_F(Aggregates, MoveWithTheirFirstMemberAndAreReadyOnlyAtTheNextEventOfItsCard) {
  ASSERT_EQ(hardware().add_member("lag1", "eth-0/1/1"), DONE);
  settle([this] { return port("lag1").card_id == SLOT_1; });
  EXPECT_TRUE(port("eth-0/1/1").card_ready);
  EXPECT_FALSE(port("lag1").card_ready);
  // The card is known to be up: hearing it once more changes nothing.
  ASSERT_EQ(hardware().set_card_state(SLOT_1, 7), DONE);
  world.run_for(seconds(1));
  EXPECT_FALSE(port("lag1").card_ready);
  ASSERT_EQ(hardware().set_card_state(SLOT_1, 0), DONE);
  settle([this] { return !port("eth-0/1/1").card_ready; });
  ASSERT_EQ(hardware().set_card_state(SLOT_1, 7), DONE);
  settle([this] { return port("lag1").card_ready && port("eth-0/1/1").card_ready; });
}

TEST_F(Aggregates, LeaveTheirCardWithTheLastMember) {
  ASSERT_EQ(hardware().remove_member("lag1", "eth-0/2/1"), DONE);
  settle([this] { return port("lag1").card_id == 2; });
}

TEST_F(Aggregates, AreNamedByTheirMembersUntilThoseLeave) {
  EXPECT_TRUE(port("eth-0/2/1").lag_member);
  EXPECT_EQ(port("eth-0/2/1").lag_name, "lag1");
  EXPECT_FALSE(port("eth-0/1/1").lag_member);
  ASSERT_EQ(hardware().remove_member("lag1", "eth-0/2/1"), DONE);
  settle([this] { return !port("eth-0/2/1").lag_member; });
  EXPECT_EQ(port("eth-0/2/1").lag_name, "");
}

class Cards : public SimulatedDaemon {
 protected:
  void SetUp() override { start({{{"eth-0/1/1", {}}, {"eth-0/2/1", {}}}, {}, {SLOT_1}}); }
};

TEST_F(Cards, MakeTheirPortsReadyAndTakeThatBack) {
  settle([this] { return port("eth-0/1/1").card_ready; });
  EXPECT_FALSE(port("eth-0/2/1").card_ready);
  for (const std::uint32_t gone : {0U, 8U, 9U}) {
    ASSERT_EQ(hardware().set_card_state(SLOT_2, 7), DONE);
    settle([this] { return port("eth-0/2/1").card_ready; });
    ASSERT_EQ(hardware().set_card_state(SLOT_2, gone), DONE);
    settle([this] { return !port("eth-0/2/1").card_ready; });
  }
  EXPECT_TRUE(port("eth-0/1/1").card_ready);
}

TEST_F(Cards, MakeANewPortReadyFromTheStart) {
  settle([this] { return port("eth-0/1/1").card_ready; });
  ASSERT_EQ(hardware().add_interface("eth-0/1/7"), DONE);
  settle([this] { return ports_are(3); });
  EXPECT_TRUE(port("eth-0/1/7").card_ready);
}

TEST_F(Cards, StayAsTheyWereWhenTheirManagerDies) {
  settle([this] { return port("eth-0/1/1").card_ready; });
  EXPECT_TRUE(policyd->xrl_policy_target().is_cardmgr_registered());
  ASSERT_EQ(chassis->targets().stop("card_manager"), DONE);
  settle([this] { return !policyd->xrl_policy_target().is_cardmgr_registered(); });
  EXPECT_TRUE(port("eth-0/1/1").card_ready);
  ASSERT_EQ(hardware().set_card_state(SLOT_1, 0), DONE);
  ASSERT_EQ(chassis->targets().start("card_manager"), DONE);
  settle([this] { return policyd->xrl_policy_target().is_cardmgr_registered(); });
  settle([this] { return !port("eth-0/1/1").card_ready; });
}

TEST_F(Cards, AreToldOfWithinASecondOfTheFindersReturn) {
  settle([this] { return port("eth-0/1/1").card_ready; });
  LogCapture log;
  finder.reset();
  world.run_for(seconds(30));
  // Between processes that know each other nothing is held up meanwhile.
  ASSERT_EQ(hardware().set_card_state(SLOT_2, 7), DONE);
  settle([this] { return port("eth-0/2/1").card_ready; }, seconds(1));
  ASSERT_EQ(chassis->targets().stop("card_manager"), DONE);
  ASSERT_EQ(hardware().set_card_state(SLOT_2, 0), DONE);
  ASSERT_EQ(chassis->targets().start("card_manager"), DONE);
  world.run_for(seconds(10));
  EXPECT_TRUE(port("eth-0/2/1").card_ready);
  start_finder();
  settle([this] { return !port("eth-0/2/1").card_ready; }, seconds(1));
}

TEST_F(SimulatedDaemon, TheVlanManagersLifeIsFollowed) {
  start(ONE_PORT);
  settle([this] { return policyd->xrl_policy_target().is_vlan_alive(); });
  ASSERT_EQ(chassis->targets().stop("vlan"), DONE);
  settle([this] { return !policyd->xrl_policy_target().is_vlan_alive(); });
  ASSERT_EQ(chassis->targets().start("vlan"), DONE);
  settle([this] { return policyd->xrl_policy_target().is_vlan_alive(); });
}

}  // namespace
