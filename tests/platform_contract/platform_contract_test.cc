// What every switch platform must do for policyd; docs/platform.md says it in words.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "framework/xrl/xrl.h"
#include "platform/sif_mgr_xrl_mirror.h"
#include "tests/platform_contract/platform.h"
#include "tests/support/log_capture.h"
#include "tests/unit/chassis/switch_follower.h"
#include "tests/unit/platform/sim_finder.h"
#include "tools/xrl_call.h"

namespace {

using std::chrono::seconds;
using Numbers = std::set<std::uint32_t>;

constexpr std::uint32_t CARD_1 = 16 + 256 + 1;
constexpr std::uint32_t CARD_2 = 16 + 256 + 2;
const std::string WHOLE = "1/1/1 1/1/2 1/2/1 lag1 ";

// Remembers each tree that the mirror was told, "1/1/1 1/1/2<lag1 lag1 ".
class TreeHistory : public SifMgrHintObserver {
 public:
  explicit TreeHistory(const SifMgrXrlMirror& mirror) : _mirror(mirror) {}
  void tree_complete() override { updates_made(); }
  void updates_made() override {
    std::string tree;
    for (const auto& [name, atom] : _mirror.iftree().atoms()) {
      tree += name + (atom.lagmember() ? "<" + atom.lagname() : "") + " ";
    }
    _trees.push_back(tree);
  }
  [[nodiscard]] const std::vector<std::string>& trees() const { return _trees; }
  [[nodiscard]] std::string latest() const { return _trees.empty() ? "none" : _trees.back(); }

 private:
  const SifMgrXrlMirror& _mirror;
  std::vector<std::string> _trees;
};

class PlatformContract : public testing::TestWithParam<PlatformKind> {
 protected:
  PlatformContract() : platform(GetParam().make(world.loop())) { finder.start(); }
  ~PlatformContract() override {
    mirror.shutdown();
    mirror.detach_hint_observer(&history);
  }

  // The platform and who follows it, in that order unless a test says otherwise.
  void start() {
    platform->start();
    follow();
    expect_all(WHOLE, {10, 20}, {CARD_1, CARD_2});
  }
  void follow() {
    follower = std::make_unique<SwitchFollower>(world.loop());
    mirror.attach_hint_observer(&history);
    EXPECT_EQ(mirror.startup(), 0);
  }
  void expect_soon(const std::function<bool()>& condition) {
    EXPECT_TRUE(world.run_until(condition, seconds(60))) << world.report();
  }
  void expect_tree(const std::string& tree) {
    expect_soon([&] { return history.latest() == tree; });
    EXPECT_EQ(history.latest(), tree);
  }
  void expect_all(const std::string& tree, const Numbers& vlans, const Numbers& cards) {
    expect_tree(tree);
    expect_soon([&] { return follower->vlans() == vlans && follower->cards() == cards; });
    EXPECT_EQ(follower->vlans(), vlans);
    EXPECT_EQ(follower->cards(), cards);
  }
  std::string ask(const std::string& request) {
    if (!client.ready()) expect_soon([this] { return client.ready(); });
    std::optional<std::string> answer;
    EXPECT_TRUE(send_xrl(client, Xrl::parse("finder://" + request),
                         [&](const XrlError& error, const XrlArgs& results) {
                           answer = std::to_string(error.error_code()) + " " +
                                    (error.is_okay() ? results.str() : error.note());
                         }));
    expect_soon([&] { return answer.has_value(); });
    return answer.value_or("no answer");
  }
  std::string map(const std::string& target, const std::string& place, const std::string& pair) {
    return ask(target + "/lcmgr/0.1/set_port_cos_mapping?" + place + "&" + pair);
  }

  SimWorld world{1};
  SimFinder finder{world};
  std::unique_ptr<Platform> platform;
  std::unique_ptr<SwitchFollower> follower;
  SifMgrXrlMirror mirror{world.loop(), "sif", IPv4::loopback(), SimFinder::PORT};
  TreeHistory history{mirror};
  XrlStdRouter client{world.loop(), "", "127.0.0.1", SimFinder::PORT, false};
};

TEST_P(PlatformContract, HasAManagerOfEachKindAndALineCardManagerForEachSlot) {
  start();
  const std::string targets = ask("finder/finder/0.2/get_xrl_targets");
  for (const char* target : {"sif", "card_manager", "vlan", "lcmgr020", "lcmgr021", "lcmgr022"}) {
    EXPECT_NE(targets.find(std::string(":txt=") + target), std::string::npos) << target;
    EXPECT_EQ(ask(std::string(target) + "/common/0.1/get_target_name"),
              std::string("100 name:txt=") + target);
    EXPECT_EQ(ask(std::string(target) + "/common/0.1/get_status"),
              "100 status:u32=3&reason:txt=ready");
  }
}

TEST_P(PlatformContract, TheInterfaceManagerShowsTheWholeTreeFromTheFirstAnswerOn) {
  start();
  EXPECT_EQ(history.trees(), std::vector<std::string>{WHOLE});
}

TEST_P(PlatformContract, InterfacesComeAndGo) {
  start();
  platform->unplug("1/1/2");
  expect_tree("1/1/1 1/2/1 lag1 ");
  platform->plug("1/1/2");
  expect_tree(WHOLE);
}

TEST_P(PlatformContract, MembersOfAnAggregateAreToldWithIt) {
  start();
  platform->join("1/1/2");
  expect_tree("1/1/1 1/1/2<lag1 1/2/1 lag1 ");
  EXPECT_EQ(mirror.iftree().find("lag1")->members(), SifMgrIfAtom::Members{"1/1/2"});
  platform->leave("1/1/2");
  expect_tree(WHOLE);
  EXPECT_TRUE(mirror.iftree().find("lag1")->members().empty());
}

TEST_P(PlatformContract, TheSerialOfTheTreeDiffersAfterAChangeOnly) {
  start();
  const std::string before = ask("sif/sif/0.1/get_tree");
  world.run_for(seconds(10));
  EXPECT_EQ(ask("sif/sif/0.1/get_tree"), before);
  platform->unplug("1/2/1");
  expect_tree("1/1/1 1/1/2 lag1 ");
  EXPECT_NE(ask("sif/sif/0.1/get_tree").substr(0, before.find('&')),
            before.substr(0, before.find('&')));
}

TEST_P(PlatformContract, VlansComeAndGo) {
  start();
  EXPECT_EQ(ask("vlan/vlan/0.1/get_vlans"), "100 vlans:list=:u32=10,:u32=20");
  platform->create_vlan(4094);
  platform->delete_vlan(10);
  expect_all(WHOLE, {20, 4094}, {CARD_1, CARD_2});
  EXPECT_EQ(ask("vlan/vlan/0.1/get_vlans"), "100 vlans:list=:u32=20,:u32=4094");
}

TEST_P(PlatformContract, AFollowerIsToldOfVlansAndCardsThatAreGone) {
  platform->start();
  follow();
  follower->set_vlans({1, 10, 77, 4094});
  follower->set_cards({16, CARD_1, 1039});
  expect_all(WHOLE, {10, 20}, {CARD_1, CARD_2});
}

TEST_P(PlatformContract, AFollowerThatComesBackIsToldAnew) {
  LogCapture log;
  start();
  follower.reset();
  platform->create_vlan(30);
  world.run_for(seconds(1));
  follower = std::make_unique<SwitchFollower>(world.loop());
  expect_all(WHOLE, {10, 20, 30}, {CARD_1, CARD_2});
}

TEST_P(PlatformContract, MayStartAfterThoseWhoFollowIt) {
  follow();
  world.run_for(seconds(5));
  platform->start();
  expect_all(WHOLE, {10, 20}, {CARD_1, CARD_2});
}

TEST_P(PlatformContract, MayStartBeforeTheFinder) {
  LogCapture log;
  finder.stop();
  platform->start();
  world.run_for(seconds(5));
  finder.start();
  follow();
  expect_all(WHOLE, {10, 20}, {CARD_1, CARD_2});
}

TEST_P(PlatformContract, ThatComesBackTellsWhatHappenedMeanwhileAndNeverLess) {
  LogCapture log;
  start();
  platform->stop();
  platform->unplug("1/1/2");
  platform->create_vlan(30);
  platform->delete_vlan(10);
  world.run_for(seconds(5));
  platform->start();
  expect_all("1/1/1 1/2/1 lag1 ", {20, 30}, {CARD_1, CARD_2});
  EXPECT_EQ(history.trees(), (std::vector<std::string>{WHOLE, "1/1/1 1/2/1 lag1 "}));
}

TEST_P(PlatformContract, OutlivesTheFinder) {
  LogCapture log;
  start();
  finder.stop();
  platform->unplug("1/1/2");
  platform->create_vlan(30);
  world.run_for(seconds(5));
  finder.start();
  expect_all("1/1/1 1/2/1 lag1 ", {10, 20, 30}, {CARD_1, CARD_2});
}

TEST_P(PlatformContract, LineCardsTakeMapsOfTheirPortsAndRefuseWhatTheyCannot) {
  start();
  const std::string port = "unit:u32=1&slot:u32=1&port:u32=1";
  EXPECT_EQ(map("lcmgr021", port, "priority:u32=5&queue:u32=7"), "100 ");
  EXPECT_EQ(map("lcmgr021", port, "priority:u32=8&queue:u32=7"), "102 priority is bad.");
  EXPECT_EQ(map("lcmgr021", port, "priority:u32=5&queue:u32=8"), "102 queue is bad.");
  EXPECT_EQ(map("lcmgr022", port, "priority:u32=5&queue:u32=7"),
            "102 the port is of another slot.");
}

TEST_P(PlatformContract, WhatIsNoPortIsPortZeroOfSlotZero) {
  start();
  EXPECT_EQ(map("lcmgr020", "unit:u32=0&slot:u32=0&port:u32=0", "priority:u32=1&queue:u32=1"),
            "100 ");
}

INSTANTIATE_TEST_SUITE_P(Platforms, PlatformContract,
                         testing::Values(PlatformKind{"chassis", make_simulated_chassis},
                                         PlatformKind{"linuxcard", make_linux_platform}),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
