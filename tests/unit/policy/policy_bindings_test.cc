#include <gtest/gtest.h>

#include <limits>

#include "tests/support/log_capture.h"
#include "tests/unit/policy/store_samples.h"

namespace {

class Bindings : public ::testing::Test {
 protected:
  Bindings() : _port(add_port(_tree, "ge1")) {
    for (std::uint32_t rule = 1; rule <= 3; ++rule) add_rule(_tree, 10, rule);
    add_rule(_tree, 10, 9, 0);
    add_rule(_tree, 2, 5);
  }

  PolicyTree _tree;
  PolicyPortInfo& _port;
};

using Filters = Bindings;
using Actions = Bindings;

TEST_F(Filters, StandInTheOrderInWhichTheyWereAdded) {
  for (const PolicyBindingKey key : {PolicyBindingKey{10, 3}, {2, 5}, {10, 1}}) {
    ASSERT_EQ(_port.add_filter(key), 0);
  }
  EXPECT_EQ(filters_of(_port), (Keys{{10, 3}, {2, 5}, {10, 1}}));
}

TEST_F(Filters, AreAppendedToTheCallersList) {
  ASSERT_EQ(_port.add_filter({10, 1}), 0);
  Keys keys{{7, 7}};
  _port.get_filters(keys);
  EXPECT_EQ(keys, (Keys{{7, 7}, {10, 1}}));
}

TEST_F(Filters, TheSameRuleTwiceOnOnePortIsRefused) {
  ASSERT_EQ(_port.add_filter({10, 1}), 0);
  EXPECT_EQ(_port.add_filter({10, 1}), -1);
  EXPECT_EQ(filters_of(_port), (Keys{{10, 1}}));
}

TEST_F(Filters, TheSameRuleOnTwoPortsIsAccepted) {
  EXPECT_EQ(_port.add_filter({10, 1}), 0);
  EXPECT_EQ(add_port(_tree, "ge2").add_filter({10, 1}), 0);
}

TEST_F(Filters, AMissingRuleIsRefused) {
  EXPECT_EQ(_port.add_filter({10, 4}), -1);
  EXPECT_EQ(_port.add_filter({11, 1}), -1);
  EXPECT_EQ(filters_of(_port), Keys{});
}

TEST_F(Filters, DeletingOneRemovesItAndKeepsTheOrderOfTheOthers) {
  for (std::uint32_t rule = 1; rule <= 3; ++rule) ASSERT_EQ(_port.add_filter({10, rule}), 0);
  EXPECT_EQ(_port.delete_filter({10, 2}), 0);
  EXPECT_EQ(filters_of(_port), (Keys{{10, 1}, {10, 3}}));
  EXPECT_FALSE(_tree.is_rule_used(10, 2));
}

TEST_F(Filters, OneThatIsAddedAgainStandsAtTheEnd) {
  for (std::uint32_t rule = 1; rule <= 3; ++rule) ASSERT_EQ(_port.add_filter({10, rule}), 0);
  ASSERT_EQ(_port.delete_filter({10, 1}), 0);
  ASSERT_EQ(_port.add_filter({10, 1}), 0);
  EXPECT_EQ(filters_of(_port), (Keys{{10, 2}, {10, 3}, {10, 1}}));
}

TEST_F(Filters, DeletingOneThatIsNotBoundOrHasNoRuleFails) {
  ASSERT_EQ(_port.add_filter({10, 1}), 0);
  EXPECT_EQ(_port.delete_filter({10, 2}), -1);
  EXPECT_EQ(_port.delete_filter({10, 77}), -1);
  EXPECT_EQ(_port.delete_filter({77, 1}), -1);
  EXPECT_EQ(filters_of(_port), (Keys{{10, 1}}));
}

TEST_F(Filters, DeletingOneTwiceFailsTheSecondTime) {
  ASSERT_EQ(_port.add_filter({10, 1}), 0);
  EXPECT_EQ(_port.delete_filter({10, 1}), 0);
  EXPECT_EQ(_port.delete_filter({10, 1}), -1);
}

TEST_F(Filters, ClearingReleasesTheRulesAndLeavesTheActions) {
  ASSERT_EQ(_port.add_filter({10, 1}), 0);
  ASSERT_EQ(_port.add_filter({10, 2}), 0);
  ASSERT_EQ(_port.add_filter({2, 5}), 0);
  ASSERT_EQ(_port.actions().set_action({10, 1}, 0, 63), 0);
  _port.clear_filters();
  EXPECT_EQ(filters_of(_port), Keys{});
  EXPECT_EQ(action_keys_of(_port), (Keys{{10, 1}}));
  EXPECT_EQ(_tree.find_acl(10)->delete_rule(1), -1);
  EXPECT_EQ(_tree.find_acl(10)->delete_rule(2), 0);
  EXPECT_EQ(_tree.delete_acl(2), 0);
}

TEST_F(Filters, ClearingAnEmptyListDoesNothing) {
  _port.clear_filters();
  EXPECT_EQ(filters_of(_port), Keys{});
}

TEST_F(Filters, ThousandsOnOnePortKeepTheirOrder) {
  Keys expected;
  for (std::uint32_t i = 0; i < 5000; ++i) {
    const std::uint32_t rule = 100 + (i * 1009) % 5000;
    add_rule(_tree, 10, rule, 0);
    ASSERT_EQ(_port.add_filter({10, rule}), 0);
    expected.push_back({10, rule});
  }
  EXPECT_EQ(filters_of(_port), expected);
}

TEST_F(Actions, TheLargestValueOfEachKindIsAcceptedAndTheNextIsNot) {
  PolicyActionTable& actions = _port.actions();
  EXPECT_EQ(actions.set_action({10, 1}, 0, 64), -1);
  EXPECT_EQ(actions.set_action({10, 1}, 0, 63), 0);
  EXPECT_EQ(actions.set_action({10, 2}, 1, 8), -1);
  EXPECT_EQ(actions.set_action({10, 2}, 1, 7), 0);
  EXPECT_EQ(actions.set_action({10, 3}, 2, 4), -1);
  EXPECT_EQ(actions.set_action({10, 3}, 2, 3), 0);
}

TEST_F(Actions, AnyOtherKindIsRefused) {
  constexpr std::uint32_t MAX_U32 = std::numeric_limits<std::uint32_t>::max();
  EXPECT_EQ(_port.actions().set_action({10, 1}, 3, 0), -1);
  EXPECT_EQ(_port.actions().set_action({10, 1}, MAX_U32, 0), -1);
  EXPECT_EQ(_port.actions().set_action({10, 1}, 0, MAX_U32), -1);
  EXPECT_EQ(action_keys_of(_port), Keys{});
}

TEST_F(Actions, AreReadBack) {
  ASSERT_EQ(_port.actions().set_action({10, 1}, 2, 3), 0);
  std::uint32_t kind = 0;
  std::uint32_t value = 0;
  EXPECT_EQ(_port.actions().get_action({10, 1}, kind, value), 0);
  EXPECT_EQ(kind, 2U);
  EXPECT_EQ(value, 3U);
}

TEST_F(Actions, AMissingOneLeavesTheOutputsAlone) {
  std::uint32_t kind = 71;
  std::uint32_t value = 72;
  EXPECT_EQ(_port.actions().get_action({10, 1}, kind, value), -1);
  EXPECT_EQ(kind, 71U);
  EXPECT_EQ(value, 72U);
}

TEST_F(Actions, AnExistingOneIsNeverOverwritten) {
  ASSERT_EQ(_port.actions().set_action({10, 1}, 0, 5), 0);
  EXPECT_EQ(_port.actions().set_action({10, 1}, 0, 6), -1);
  std::uint32_t kind = 0;
  std::uint32_t value = 0;
  EXPECT_EQ(_port.actions().get_action({10, 1}, kind, value), 0);
  EXPECT_EQ(value, 5U);
}

TEST_F(Actions, ARuleWhoseOwnActionIsNotOneIsRefused) {
  EXPECT_EQ(_port.actions().set_action({10, 9}, 0, 0), -1);
}

TEST_F(Actions, AMissingRuleIsRefused) {
  EXPECT_EQ(_port.actions().set_action({10, 4}, 0, 0), -1);
  EXPECT_EQ(_port.actions().set_action({11, 1}, 0, 0), -1);
}

TEST_F(Actions, NeedNoFilterOfTheSameRule) {
  EXPECT_EQ(_port.actions().set_action({10, 1}, 0, 0), 0);
  EXPECT_EQ(filters_of(_port), Keys{});
}

TEST_F(Actions, DeletingOneReleasesTheRuleAndAMissingOneFails) {
  ASSERT_EQ(_port.actions().set_action({10, 1}, 0, 0), 0);
  EXPECT_EQ(_port.actions().delete_action({10, 2}), -1);
  EXPECT_EQ(_port.actions().delete_action({10, 1}), 0);
  EXPECT_EQ(_port.actions().delete_action({10, 1}), -1);
  EXPECT_FALSE(_tree.is_rule_used(10, 1));
}

TEST_F(Actions, ClearingReleasesTheRulesAndLeavesTheFilters) {
  ASSERT_EQ(_port.add_filter({10, 1}), 0);
  ASSERT_EQ(_port.actions().set_action({10, 1}, 0, 0), 0);
  ASSERT_EQ(_port.actions().set_action({2, 5}, 0, 0), 0);
  _port.actions().clear();
  EXPECT_EQ(action_keys_of(_port), Keys{});
  EXPECT_EQ(filters_of(_port), (Keys{{10, 1}}));
  EXPECT_TRUE(_tree.is_rule_used(10, 1));
  EXPECT_FALSE(_tree.is_rule_used(2, 5));
}

TEST_F(Actions, TheirKeysComeInAscendingOrder) {
  for (const PolicyBindingKey key : {PolicyBindingKey{10, 3}, {10, 1}, {2, 5}}) {
    ASSERT_EQ(_port.actions().set_action(key, 0, 0), 0);
  }
  Keys keys{{99, 99}};
  _port.get_action_keys(keys);
  EXPECT_EQ(keys, (Keys{{99, 99}, {2, 5}, {10, 1}, {10, 3}}));
}

TEST_F(Bindings, DeletingAPortReleasesItsRules) {
  ASSERT_EQ(_port.add_filter({10, 1}), 0);
  ASSERT_EQ(_port.actions().set_action({10, 2}, 0, 0), 0);
  EXPECT_EQ(_tree.delete_port("ge1"), 0);
  EXPECT_FALSE(_tree.is_rule_used(10, 1));
  EXPECT_EQ(_tree.delete_acl(10), 0);
}

TEST_F(Bindings, DeletingAVlanReleasesItsRules) {
  PolicyVlanInfo& vlan = add_vlan(_tree, 5);
  ASSERT_EQ(vlan.add_filter({10, 1}), 0);
  ASSERT_EQ(vlan.actions().set_action({10, 2}, 0, 0), 0);
  EXPECT_EQ(_tree.delete_vlan(5), 0);
  EXPECT_EQ(_tree.delete_acl(10), 0);
}

TEST_F(Bindings, KeysAreOrderedByAclThenByRule) {
  EXPECT_LT((PolicyBindingKey{1, 9}), (PolicyBindingKey{2, 0}));
  EXPECT_LT((PolicyBindingKey{1, 1}), (PolicyBindingKey{1, 2}));
  EXPECT_EQ((PolicyBindingKey{1, 1}), (PolicyBindingKey{1, 1}));
}

TEST_F(Bindings, ARuleIsUsedAsLongAsEitherItsFilterOrItsActionStands) {
  ASSERT_EQ(_port.add_filter({10, 1}), 0);
  ASSERT_EQ(_port.actions().set_action({10, 1}, 0, 0), 0);
  ASSERT_EQ(_port.delete_filter({10, 1}), 0);
  EXPECT_TRUE(_tree.is_rule_used(10, 1));
  LogCapture log;
  EXPECT_TRUE(_tree.is_acl_used(10));
  ASSERT_EQ(_port.actions().delete_action({10, 1}), 0);
  EXPECT_FALSE(_tree.is_rule_used(10, 1));
  EXPECT_FALSE(_tree.is_acl_used(10));
}

}  // namespace
