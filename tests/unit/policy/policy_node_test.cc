#include "policy/store/policy_node.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/profile_variables.h"
#include "common/well_known_names.h"
#include "framework/finder/finder_server.h"
#include "framework/xrl/interfaces/common_xif.h"
#include "framework/xrl/interfaces/finder_xif.h"
#include "policy/xrl_policy_node.h"
#include "tests/support/log_capture.h"
#include "tests/unit/platform/sim_finder.h"
#include "tests/unit/policy/store_samples.h"

namespace {

using std::chrono::seconds;

TEST(WellKnownNames, AreTheTwentyInTheirOrder) {
  EXPECT_EQ(Texts(well_known_names.begin(), well_known_names.end()), (Texts{"finder",
                                                                            "card_manager",
                                                                            "lcmgr",
                                                                            "fdb",
                                                                            "vlan",
                                                                            "sif",
                                                                            "switch_mirror",
                                                                            "policy",
                                                                            "stat",
                                                                            "lldp",
                                                                            "rstp",
                                                                            "snmp",
                                                                            "lacp",
                                                                            "tuntap",
                                                                            "trace_level_xrl",
                                                                            "trace_level_api",
                                                                            "trace_level_sdk",
                                                                            "trace_level_all",
                                                                            "point-to-point",
                                                                            "shared"}));
  EXPECT_STREQ(well_known_names[NAME_POLICY], "policy");
  EXPECT_STREQ(well_known_names[NAME_LINK_SHARED], "shared");
}

TEST(ProfileVariables, AreTwoWhoseCommentsAreTheirNames) {
  ASSERT_EQ(profile_variables.size(), 2U);
  EXPECT_STREQ(profile_variables[0].name, "policy_profile1");
  EXPECT_STREQ(profile_variables[0].comment, "policy_profile1");
  EXPECT_STREQ(profile_variables[1].name, "policy_profile2");
  EXPECT_STREQ(profile_variables[1].comment, "policy_profile2");
}

class Node : public ::testing::Test {
 protected:
  SimWorld _world{1};
  PolicyNode _node{_world.loop()};
};

TEST_F(Node, IsStoppedAtFirst) {
  EXPECT_FALSE(_node.is_running());
  EXPECT_FALSE(_node.policy_config().is_running());
  EXPECT_EQ(_node.profile().list(), "");
  EXPECT_EQ(&_node.eventloop(), &_world.loop());
}

TEST_F(Node, StartUpCreatesTheProfilingVariablesAndStartsTheStore) {
  EXPECT_EQ(_node.startup(), 0);
  EXPECT_TRUE(_node.is_running());
  EXPECT_TRUE(_node.policy_config().is_running());
  EXPECT_FALSE(_node.profile().is_enabled("policy_profile1"));
  EXPECT_FALSE(_node.profile().is_enabled("policy_profile2"));
  EXPECT_THROW(_node.profile().create("policy_profile2", ""), PVariableExists);
}

TEST_F(Node, ShutDownStopsTheStoreAndMayBeRepeated) {
  ASSERT_EQ(_node.startup(), 0);
  for (int time = 0; time < 3; ++time) {
    EXPECT_EQ(_node.shutdown(), 0);
    EXPECT_FALSE(_node.is_running());
    EXPECT_FALSE(_node.policy_config().is_running());
  }
}

TEST_F(Node, ShutDownOfANodeThatNeverStartedSucceeds) {
  EXPECT_EQ(_node.shutdown(), 0);
  EXPECT_FALSE(_node.is_running());
}

// The daemon with a finder, on virtual time.
class Daemon : public ::testing::Test {
 protected:
  Daemon() { make(); }

  void make() {
    _daemon = std::make_unique<XrlPolicyNode>(_world.loop(), "policy", "finder", "127.0.0.1",
                                              SimFinder::PORT);
  }
  void start() {
    _finder.start();
    ASSERT_EQ(_daemon->startup(), 0);
  }
  // Both interests at the finder.
  void wait_until_confirmed() {
    ASSERT_TRUE(_world.run_until(
        [this] {
          return target().is_finder_cardmgr_registered() && target().is_finder_vlan_registered();
        },
        seconds(10)))
        << _world.report();
  }
  XrlPolicyTarget& target() { return _daemon->xrl_policy_target(); }

  SimWorld _world{1};
  SimFinder _finder{_world};
  std::unique_ptr<XrlPolicyNode> _daemon;
};

TEST_F(Daemon, IsNeitherDoneNorRunningBeforeItStarts) {
  EXPECT_FALSE(_daemon->is_done());
  EXPECT_FALSE(_daemon->is_running());
}

TEST_F(Daemon, HandsOutItsParts) {
  EXPECT_EQ(&_daemon->eventloop(), &_world.loop());
  EXPECT_EQ(_daemon->xrl_router().name(), "policy");
  EXPECT_EQ(target().cmds(), &_daemon->xrl_router());
  EXPECT_FALSE(_daemon->policy_node().is_running());
}

TEST_F(Daemon, StartUpRegistersAndStartsNodeAndTarget) {
  start();
  EXPECT_TRUE(_daemon->xrl_router().ready());
  EXPECT_TRUE(_daemon->policy_node().is_running());
  EXPECT_TRUE(target().is_running());
  EXPECT_TRUE(_daemon->is_running());
  EXPECT_FALSE(_daemon->is_done());
  wait_until_confirmed();
}

TEST_F(Daemon, IsReachedByTcpAlone) {
  start();
  XrlStdRouter client(_world.loop(), "", "127.0.0.1", SimFinder::PORT, false);
  ASSERT_TRUE(_world.run_until([&] { return client.ready(); }, seconds(10)));
  std::vector<std::string> addresses;
  ASSERT_TRUE(XrlFinderV0p2Client(client.sender())
                  .send_resolve_target(
                      "finder", "policy",
                      callback([&](const XrlError& error, const std::string_view* /*instance*/,
                                   const XrlAtomList* at, const XrlAtomList* /*methods*/,
                                   const XrlAtomList* /*keys*/) {
                        ASSERT_EQ(error, XrlError::OKAY());
                        for (const std::string_view address : at->texts())
                          addresses.emplace_back(address);
                      })));
  ASSERT_TRUE(_world.run_until([&] { return !addresses.empty(); }, seconds(10)));
  ASSERT_EQ(addresses.size(), 1U);
  EXPECT_EQ(addresses[0].find("127.0.0.1:"), 0U) << addresses[0];
}

TEST_F(Daemon, AFailureOfTheTargetIsItsOwnAffair) {
  // A mirror that was shut down does not start.
  ASSERT_EQ(target().shutdown(), 0);
  start();
  EXPECT_EQ(target().status(), SERVICE_FAILED);
  EXPECT_FALSE(target().is_running());
  EXPECT_TRUE(_daemon->policy_node().is_running());
}

TEST_F(Daemon, IsDoneOnceTheShutdownCommandWasHandled) {
  start();
  XrlStdRouter client(_world.loop(), "", "127.0.0.1", SimFinder::PORT, false);
  ASSERT_TRUE(_world.run_until([&] { return client.ready(); }, seconds(10)));
  EXPECT_FALSE(_daemon->is_done());
  std::optional<XrlError> answer;
  ASSERT_TRUE(
      XrlCommonV0p1Client(client.sender())
          .send_shutdown("policy", callback([&](const XrlError& error) { answer = error; })));
  ASSERT_TRUE(_world.run_until([&] { return answer.has_value(); }, seconds(10)));
  EXPECT_EQ(*answer, XrlError::OKAY());
  EXPECT_TRUE(_daemon->is_done());
  EXPECT_TRUE(_daemon->is_running());
}

TEST_F(Daemon, RunsOnWhileAWithdrawalAwaitsItsReply) {
  start();
  wait_until_confirmed();
  EXPECT_EQ(_daemon->shutdown(), 0);
  EXPECT_FALSE(_daemon->policy_node().is_running());
  EXPECT_FALSE(target().is_running());
  EXPECT_EQ(_daemon->xrl_router().pending(), 2U);
  EXPECT_TRUE(_daemon->is_running());
  EXPECT_TRUE(_world.run_until([&] { return !_daemon->is_running(); }, seconds(10)))
      << _world.report();
  EXPECT_FALSE(target().is_finder_cardmgr_registered());
  EXPECT_FALSE(target().is_finder_vlan_registered());
}

TEST_F(Daemon, RunsOnAsLongAsItsTargetDoes) {
  start();
  wait_until_confirmed();
  EXPECT_EQ(_daemon->xrl_router().pending(), 0U);
  EXPECT_EQ(_daemon->policy_node().shutdown(), 0);
  EXPECT_TRUE(target().is_running());
  EXPECT_TRUE(_daemon->is_running());
}

TEST_F(Daemon, WithNothingOutstandingItStopsAtOnce) {
  EXPECT_EQ(_daemon->shutdown(), 0);
  EXPECT_FALSE(_daemon->is_running());
}

TEST_F(Daemon, CanBeShutDownAgainAndDestroyed) {
  start();
  wait_until_confirmed();
  EXPECT_EQ(_daemon->shutdown(), 0);
  EXPECT_EQ(_daemon->shutdown(), 0);
  _daemon.reset();
}

// Tells of everything that is asked of the machine.
class WitnessedKernel final : public Kernel {
 public:
  explicit WitnessedKernel(Kernel& kernel) : _kernel(kernel) {}

  std::function<void()> at_random_bytes = [] {};
  std::function<void()> at_watch = [] {};

  TimePoint now() override { return _kernel.now(); }
  void watch(int fd, IoInterest interest) override {
    at_watch();
    _kernel.watch(fd, interest);
  }
  std::size_t wait(TimePoint until, std::span<IoReady> ready) override {
    return _kernel.wait(until, ready);
  }
  void random_bytes(std::span<std::uint8_t> out) override {
    at_random_bytes();
    _kernel.random_bytes(out);
  }

 private:
  Kernel& _kernel;
};

// What node and target do in one call is seen by what the target asks of the machine.
class PartsOfTheDaemon : public ::testing::Test {
 protected:
  PartsOfTheDaemon() {
    turn_until([this] { return _daemon.xrl_router().ready(); });
  }

  void turn_until(const std::function<bool()>& done) {
    while (!done()) _loop.run();
  }
  void note_node() { _node_ran.push_back(_daemon.policy_node().is_running()); }

  SimWorld _world{1};
  WitnessedKernel _kernel{_world.kernel()};
  EventLoop _loop{_kernel, _world.network()};
  FinderServer _finder{_loop, NetAddress::tcp(IPv4::loopback(), SimFinder::PORT), AllowList(), ""};
  XrlPolicyNode _daemon{_loop, "policy", "finder", "127.0.0.1", SimFinder::PORT};
  std::vector<bool> _node_ran;
};

TEST_F(PartsOfTheDaemon, TheNodeRunsWhenTheTargetStarts) {
  // The first that it does is to make a name for its mirror.
  _kernel.at_random_bytes = [this] { note_node(); };
  _daemon.startup();
  _kernel.at_random_bytes = [] {};
  ASSERT_FALSE(_node_ran.empty());
  EXPECT_TRUE(_node_ran.front());
}

TEST_F(PartsOfTheDaemon, TheNodeHasStoppedWhenTheTargetStops) {
  _daemon.startup();
  turn_until([this] { return _daemon.xrl_policy_target().is_finder_vlan_registered(); });
  // It closes the connections of its mirror.
  _kernel.at_watch = [this] { note_node(); };
  _daemon.shutdown();
  _kernel.at_watch = [] {};
  ASSERT_FALSE(_node_ran.empty());
  EXPECT_FALSE(_node_ran.front());
}

TEST_F(Daemon, LeavesNoTimerAndNoWatchWhenItIsDestroyedWhileItRuns) {
  start();
  _daemon.reset();
  _finder.stop();
  _world.run_for(seconds(10));
  // Nothing wakes the loop any more.
  EXPECT_THROW(_world.loop().run(), SimStuck);
}

}  // namespace
