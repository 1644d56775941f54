#include "linuxcard/follow/kernel_switch.h"

#include <gtest/gtest.h>

#include <string>

#include "linuxcard/follow/time_ranges.h"
#include "linuxcard/kept_state.h"
#include "platform/managers/switch_model.h"
#include "tests/support/temporary_folder.h"

namespace {

Configuration sample() {
  return parse_configuration(
      "port 1/1/1 = swp1\nport 1/1/2 = swp2\nport 1/2/1 = swp3\nlag1 = bond0\nbridge = br0\n");
}

class KernelSwitchTest : public testing::Test {
 protected:
  KernelSwitchTest() {
    for (const char* name : {"br0", "swp1", "swp2", "bond0", "eth0"}) add(name);
  }
  Link& add(const std::string& name) {
    const auto index = static_cast<std::uint32_t>(table.links.size() + 2);
    return table.links[index] = Link{index, name, 0, 0, 0, "", true};
  }
  Link& link(const std::string& name) { return table.links.at(table.find(name)->index); }
  [[nodiscard]] KernelSwitch kernel() const { return switch_of_links(table, configuration); }
  void show() {
    show_switch(kernel(), model);
    show_cards(kernel(), configuration, true, model);
  }
  [[nodiscard]] std::string names() const {
    std::string text;
    for (const auto& [name, atom] : model.interfaces().atoms()) {
      text += name + (atom.lagmember() ? "<" + atom.lagname() : "") + " ";
    }
    return text;
  }

  Configuration configuration = sample();
  LinkTable table;
  SwitchModel model;
};

TEST_F(KernelSwitchTest, ShowsThePortsThatHaveALink) {
  show();
  EXPECT_EQ(names(), "1/1/1 1/1/2 lag1 ");
}

TEST_F(KernelSwitchTest, MembersOfABondAreMembersOfItsAggregate) {
  link("swp2").master = link("bond0").index;
  link("swp1").master = link("br0").index;
  show();
  EXPECT_EQ(names(), "1/1/1 1/1/2<lag1 lag1 ");
  link("swp2").master = 0;
  show();
  EXPECT_EQ(names(), "1/1/1 1/1/2 lag1 ");
}

TEST_F(KernelSwitchTest, AnAggregateThatGoesFreesItsMembers) {
  link("swp2").master = link("bond0").index;
  show();
  table.links.erase(link("bond0").index);
  show();
  EXPECT_EQ(names(), "1/1/1 1/1/2 ");
}

TEST_F(KernelSwitchTest, APortFollowsItsLinksName) {
  const std::uint32_t other = link("swp2").index;
  link("swp1").name = "old";
  link("swp2").name = "swp1";
  EXPECT_EQ(kernel().ports.at(0).name, "1/1/1");
  EXPECT_EQ(kernel().ports.at(0).index, other);
  show();
  EXPECT_EQ(names(), "1/1/1 lag1 ");
}

TEST_F(KernelSwitchTest, VlansAreThoseOfTheBridgeAndItsPorts) {
  const std::uint32_t bridge = link("br0").index;
  link("swp1").master = bridge;
  table.vlans[bridge] = {{1}, 1};
  table.vlans[link("swp1").index] = {{10, 20}, 10};
  table.vlans[link("eth0").index] = {{99}, 99};  // of another bridge
  EXPECT_EQ(kernel().vlans, (std::set<std::uint16_t>{1, 10, 20}));
  EXPECT_EQ(kernel().ports.at(0).untagged_vlan, 10);
}

TEST_F(KernelSwitchTest, VlanDevicesOfThePortsCountWhereNoBridgeKnowsAny) {
  Link& device = add("swp1.30");
  device.vlan = 30;
  device.lower = link("swp1").index;
  Link& other = add("eth0.40");
  other.vlan = 40;
  other.lower = link("eth0").index;
  show();
  EXPECT_EQ(model.vlans(), (std::set<std::uint32_t>{30}));
  table.links.erase(table.find("swp1.30")->index);
  show();
  EXPECT_TRUE(model.vlans().empty());
}

TEST_F(KernelSwitchTest, ABridgeThatVanishesTakesItsVlansAlong) {
  const std::uint32_t bridge = link("br0").index;
  table.vlans[bridge] = {{1, 2, 3}, 1};
  show();
  EXPECT_EQ(model.vlans().size(), 3U);
  table.links.erase(bridge);
  show();
  EXPECT_TRUE(model.vlans().empty());
  EXPECT_EQ(names(), "1/1/1 1/1/2 lag1 ");
}

TEST_F(KernelSwitchTest, ACardIsThereWhenAPortOfItCanBeProgrammed) {
  show();
  EXPECT_EQ(model.card_state(16 + 256 + 1), CARD_STATE_PRESENT);
  EXPECT_EQ(model.card_state(16 + 256 + 2), CARD_STATE_ABSENT);
  add("swp3");
  show();
  EXPECT_EQ(model.card_state(16 + 256 + 2), CARD_STATE_PRESENT);
  show_cards(kernel(), configuration, false, model);
  EXPECT_EQ(model.card_state(16 + 256 + 1), CARD_STATE_ABSENT);
}

TEST(KeptState, IsReadAsItWasWritten) {
  const TemporaryFolder folder;
  const std::string file = folder.path_of("state");
  EXPECT_TRUE(read_kept_state(file).instance.empty());
  const KeptState state{"policy-0123456789abcdef", {{"1/1/1", {2, 0, 1, 3, 4, 5, 6, 7}}}};
  ASSERT_TRUE(write_kept_state(file, state));
  const KeptState read = read_kept_state(file);
  EXPECT_EQ(read.instance, state.instance);
  EXPECT_EQ(read.queues, state.queues);
}

TEST(KeptState, ThatMakesNoSenseIsNone) {
  const TemporaryFolder folder;
  const std::string file = folder.write("state", "linuxcard 1\npolicy p-1\nqueues 1/1/1 0 9\n");
  EXPECT_TRUE(read_kept_state(file).instance.empty());
  EXPECT_FALSE(write_kept_state(folder.path_of("no/such/folder"), {}));
}

}  // namespace
