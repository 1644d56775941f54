#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>

#include "tests/unit/policy/store_samples.h"

namespace {

TEST(PortRecords, BeginWithTheirDefaults) {
  PolicyTree tree;
  const PolicyPortInfo& port = add_port(tree, "eth-1/2/3");
  EXPECT_EQ(port.name(), "eth-1/2/3");
  EXPECT_EQ(port.card_id, 16U + 256U + 2U);
  EXPECT_FALSE(port.card_ready);
  EXPECT_FALSE(port.special_card);
  EXPECT_FALSE(port.lag_member);
  EXPECT_EQ(port.lag_name, "");
  EXPECT_EQ(port.port_cos_value, 0U);
}

TEST(PortRecords, AnInterfaceThatIsNoPhysicalPortHasTheSpecialCard) {
  PolicyTree tree;
  const PolicyPortInfo& port = add_port(tree, "lag1");
  EXPECT_EQ(port.card_id, 2U);
  EXPECT_TRUE(port.special_card);
}

TEST(PortRecords, ASecondOneOfTheSameNameIsRefused) {
  PolicyTree tree;
  PolicyPortInfo& port = add_port(tree, "ge1");
  port.port_cos_value = 7;
  EXPECT_EQ(tree.create_port("ge1"), -1);
  EXPECT_EQ(tree.find_port("ge1"), &port);
  EXPECT_EQ(port.port_cos_value, 7U);
}

TEST(PortRecords, AreFoundUntilTheyAreDeleted) {
  PolicyTree tree;
  add_port(tree, "ge1");
  EXPECT_EQ(tree.find_port("ge2"), nullptr);
  EXPECT_EQ(tree.delete_port("ge2"), -1);
  EXPECT_EQ(tree.delete_port("ge1"), 0);
  EXPECT_EQ(tree.find_port("ge1"), nullptr);
}

TEST(PortRecords, NamesComeInAscendingOrderOfTheirBytes) {
  PolicyTree tree;
  for (const char* name : {"b", "B", "\xc3\xa4", "a10", "a9", ""}) add_port(tree, name);
  Texts names{"there already"};
  tree.get_port_names(names);
  EXPECT_EQ(names, (Texts{"there already", "", "B", "a10", "a9", "b", "\xc3\xa4"}));
}

TEST(PortRecords, AreDestroyedThroughTheirBase) {
  PolicyTree tree;
  const std::unique_ptr<PolicyInfo> info = std::make_unique<PolicyPortInfo>(tree, "ge1");
  EXPECT_EQ(filters_of(*info), Keys{});
}

TEST(VlanRecords, ASecondOneOfTheSameIdIsRefused) {
  PolicyTree tree;
  EXPECT_EQ(tree.create_vlan(10), 0);
  EXPECT_EQ(tree.create_vlan(10), -1);
  EXPECT_EQ(tree.find_vlan(10)->vlan_id(), 10U);
}

TEST(VlanRecords, AnUnknownOneCannotBeDeleted) {
  PolicyTree tree;
  EXPECT_EQ(tree.delete_vlan(10), -1);
  add_vlan(tree, 10);
  EXPECT_EQ(tree.delete_vlan(10), 0);
  EXPECT_EQ(tree.find_vlan(10), nullptr);
  EXPECT_EQ(tree.delete_vlan(10), -1);
}

TEST(VlanRecords, AnyIdIsAcceptedAndIdsComeInAscendingOrder) {
  PolicyTree tree;
  constexpr std::uint32_t MAX_U32 = std::numeric_limits<std::uint32_t>::max();
  for (const std::uint32_t vlan : {4094U, MAX_U32, 0U, 1U}) add_vlan(tree, vlan);
  Numbers ids{5};
  tree.get_vlan_ids(ids);
  EXPECT_EQ(ids, (Numbers{5, 0, 1, 4094, MAX_U32}));
}

TEST(Cards, ACardThatComesUpMakesItsPortsReady) {
  PolicyTree tree;
  const PolicyPortInfo& port = add_port(tree, "0/1/1");
  const PolicyPortInfo& elsewhere = add_port(tree, "0/2/1");
  EXPECT_FALSE(tree.is_card_up(17));
  EXPECT_EQ(tree.set_card_up(17), 0);
  EXPECT_TRUE(tree.is_card_up(17));
  EXPECT_TRUE(port.card_ready);
  EXPECT_FALSE(elsewhere.card_ready);
}

TEST(Cards, ACardThatGoesAwayMakesItsPortsNotReady) {
  PolicyTree tree;
  const PolicyPortInfo& port = add_port(tree, "0/1/1");
  ASSERT_EQ(tree.set_card_up(17), 0);
  tree.set_card_down(17);
  EXPECT_FALSE(tree.is_card_up(17));
  EXPECT_FALSE(port.card_ready);
}

TEST(Cards, APortOfACardThatIsUpIsReadyFromTheStart) {
  PolicyTree tree;
  ASSERT_EQ(tree.set_card_up(17), 0);
  EXPECT_TRUE(add_port(tree, "0/1/1").card_ready);
  EXPECT_FALSE(add_port(tree, "0/2/1").card_ready);
}

TEST(Cards, ACardThatIsUpAlreadyChangesNothing) {
  PolicyTree tree;
  ASSERT_EQ(tree.set_card_up(17), 0);
  PolicyPortInfo& port = add_port(tree, "0/1/1");
  port.card_ready = false;
  EXPECT_EQ(tree.set_card_up(17), 0);
  EXPECT_FALSE(port.card_ready);
}

TEST(Cards, ACardThatIsNotUpCannotGoAway) {
  PolicyTree tree;
  PolicyPortInfo& port = add_port(tree, "0/1/1");
  port.card_ready = true;
  tree.set_card_down(17);
  EXPECT_TRUE(port.card_ready);
}

TEST(TimeRanges, KeepTheirFiveValuesAsGiven) {
  PolicyTree tree;
  constexpr std::uint32_t MAX_U32 = std::numeric_limits<std::uint32_t>::max();
  ASSERT_EQ(tree.create_time_range("night", 0, MAX_U32, true, 3, 4), 0);
  EXPECT_EQ(*tree.find_time_range("night"), (PolicyTimeRange{"night", 0, MAX_U32, 1, 3, 4}));
}

TEST(TimeRanges, ASecondOneOfTheSameNameFailsAndTheFirstKeepsItsValues) {
  PolicyTree tree;
  ASSERT_EQ(tree.create_time_range("night", 1, 2, false, 3, 4), 0);
  EXPECT_EQ(tree.create_time_range("night", 5, 6, true, 7, 8), -1);
  EXPECT_EQ(*tree.find_time_range("night"), (PolicyTimeRange{"night", 1, 2, 0, 3, 4}));
}

TEST(TimeRanges, DeletingAnUnknownNameSucceeds) {
  PolicyTree tree;
  EXPECT_EQ(tree.delete_time_range("night"), 0);
  ASSERT_EQ(tree.create_time_range("night", 1, 2, false, 3, 4), 0);
  EXPECT_EQ(tree.delete_time_range("Night"), 0);
  EXPECT_NE(tree.find_time_range("night"), nullptr);
  EXPECT_EQ(tree.delete_time_range("night"), 0);
  EXPECT_EQ(tree.find_time_range("night"), nullptr);
}

TEST(TimeRanges, ComeInAscendingOrderOfTheBytesOfTheirNames) {
  PolicyTree tree;
  for (const char* name : {"b", "B", "a", "\xff", ""}) {
    ASSERT_EQ(tree.create_time_range(name, 0, 0, false, 0, 0), 0);
  }
  std::vector<const PolicyTimeRange*> found;
  tree.get_time_ranges(found);
  Texts names;
  for (const PolicyTimeRange* range : found) names.push_back(range->name);
  EXPECT_EQ(names, (Texts{"", "B", "a", "b", "\xff"}));
}

TEST(TimeRanges, AreAllClearedAtOnce) {
  PolicyTree tree;
  tree.clear_time_ranges();
  for (const char* name : {"a", "b"}) ASSERT_EQ(tree.create_time_range(name, 0, 0, false, 0, 0), 0);
  tree.clear_time_ranges();
  std::vector<const PolicyTimeRange*> found;
  tree.get_time_ranges(found);
  EXPECT_TRUE(found.empty());
}

}  // namespace
