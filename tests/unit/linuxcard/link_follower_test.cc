#include "linuxcard/netlink/link_follower.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <string>

#include "tests/simulation/sim_world.h"
#include "tests/support/log_capture.h"
#include "tests/unit/linuxcard/scripted_kernel.h"

namespace {

using std::chrono::seconds;

class Links : public testing::Test {
 protected:
  void follow() {
    follower.emplace(world.loop(), kernel, [this](const LinkTable& table) {
      ++told;
      std::string names;
      for (const auto& [index, link] : table.links) names += link.name + " ";
      history.push_back(names);
    });
  }
  void settle() { world.run_for(seconds(1)); }
  [[nodiscard]] const LinkTable& table() const { return follower->table(); }

  SimWorld world{1};
  ScriptedKernel kernel{world.loop()};
  std::optional<LinkFollower> follower;
  int told = 0;
  std::vector<std::string> history;
};

TEST_F(Links, AreToldOfOnceAllWereRead) {
  kernel.add("swp1");
  kernel.add("swp2");
  follow();
  EXPECT_FALSE(follower->is_complete());
  settle();
  EXPECT_TRUE(follower->is_complete());
  EXPECT_EQ(history, std::vector<std::string>{"swp1 swp2 "});
}

TEST_F(Links, ComeAndGo) {
  follow();
  settle();
  kernel.add("swp1");
  settle();
  ASSERT_NE(table().find("swp1"), nullptr);
  kernel.remove("swp1");
  settle();
  EXPECT_EQ(table().find("swp1"), nullptr);
}

TEST_F(Links, ThatChangeAlikeAreToldOfOnce) {
  kernel.add("swp1");
  follow();
  settle();
  kernel.set_carrier("swp1", false);
  kernel.set_carrier("swp1", true);
  settle();
  EXPECT_EQ(told, 1);
}

TEST_F(Links, MayTakeTheNameOfAnother) {
  const std::uint32_t first = kernel.add("swp1");
  const std::uint32_t second = kernel.add("swp2");
  follow();
  settle();
  kernel.rename("swp1", "old");
  kernel.rename("swp2", "swp1");
  settle();
  EXPECT_EQ(table().find("swp1")->index, second);
  EXPECT_EQ(table().find("old")->index, first);
  EXPECT_EQ(table().find("swp2"), nullptr);
}

TEST_F(Links, AreReadAgainWhenNewsWereLostAndNoneIsMissingMeanwhile) {
  kernel.add("swp1");
  kernel.add("swp2");
  follow();
  settle();
  kernel.overrun();
  kernel.remove("swp2");
  kernel.add("swp3");
  settle();
  EXPECT_EQ(follower->overruns(), 1U);
  EXPECT_EQ(history, (std::vector<std::string>{"swp1 swp2 ", "swp1 swp3 "}));
}

TEST_F(Links, AreReadAgainWhenADumpWasTorn) {
  kernel.add("swp1");
  kernel.add("swp2");
  kernel.tear_next_dump();
  follow();
  settle();
  EXPECT_EQ(history, std::vector<std::string>{"swp1 swp2 "});
}

TEST_F(Links, ThatTheKernelDoesNotTellOfAreAskedForAgain) {
  LogCapture log;
  kernel.add("swp1");
  kernel.refuse_dumps(EBUSY);
  follow();
  settle();
  EXPECT_FALSE(follower->is_complete());
  EXPECT_EQ(log.take_lines(),
            std::vector<std::string>{"WARNING LINUXCARD read_failed: The kernel does not tell of "
                                     "its links: Device or resource busy; trying again."});
  kernel.refuse_dumps(0);
  world.run_for(seconds(10));
  EXPECT_TRUE(follower->is_complete());
}

TEST_F(Links, VlansOfABridgeAreReadWhole) {
  kernel.add("br0", "bridge");
  kernel.add("swp1");
  follow();
  settle();
  kernel.set_master("swp1", "br0");
  kernel.set_vlans("swp1", {{1, 10}, 1});
  settle();
  EXPECT_EQ(table().vlans.at(kernel.index_of("swp1")), (LinkVlans{{1, 10}, 1}));
  kernel.set_vlans("swp1", {{10}, 10});
  settle();
  EXPECT_EQ(table().vlans.at(kernel.index_of("swp1")), (LinkVlans{{10}, 10}));
}

TEST_F(Links, FourThousandComeAndGoWhileTheSocketOverruns) {
  follow();
  settle();
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 4000; ++i) kernel.add("swp" + std::to_string(i));
    if (round == 1) kernel.overrun();
    settle();
    EXPECT_EQ(table().links.size(), 4000U);
    for (int i = 0; i < 4000; ++i) kernel.remove("swp" + std::to_string(i));
    settle();
    EXPECT_TRUE(table().links.empty());
  }
}

}  // namespace
