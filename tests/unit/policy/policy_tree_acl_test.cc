#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tests/support/log_capture.h"
#include "tests/unit/policy/store_samples.h"

namespace {

constexpr std::uint32_t MAX_U32 = std::numeric_limits<std::uint32_t>::max();

TEST(PolicyTree, HoldsNothingAtFirst) {
  const PolicyTree tree;
  EXPECT_EQ(acl_ids_of(tree), Numbers{});
  EXPECT_EQ(tree.find_acl(0), nullptr);
  EXPECT_EQ(tree.find_port(""), nullptr);
  EXPECT_EQ(tree.find_vlan(0), nullptr);
  EXPECT_EQ(tree.find_time_range(""), nullptr);
}

TEST(PolicyTree, AnyAclNumberIsAccepted) {
  PolicyTree tree;
  EXPECT_EQ(tree.create_acl(0, 0), 0);
  EXPECT_EQ(tree.create_acl(MAX_U32, 1), 0);
  EXPECT_EQ(tree.find_acl(MAX_U32)->id(), MAX_U32);
}

TEST(PolicyTree, AnAclOfTypeTwoIsRefused) {
  PolicyTree tree;
  EXPECT_EQ(tree.create_acl(1, 2), -1);
  EXPECT_EQ(tree.create_acl(1, MAX_U32), -1);
  EXPECT_EQ(tree.find_acl(1), nullptr);
}

TEST(PolicyTree, AnExistingAclIsRefusedAndKeepsItsType) {
  PolicyTree tree;
  ASSERT_EQ(tree.create_acl(1, 0), 0);
  EXPECT_EQ(tree.create_acl(1, 0), -1);
  EXPECT_EQ(tree.create_acl(1, 1), -1);
  EXPECT_EQ(tree.find_acl(1)->type(), 0U);
}

TEST(PolicyTree, AclNumbersComeInAscendingOrder) {
  PolicyTree tree;
  for (const std::uint32_t acl : {30U, MAX_U32, 1U, 0U}) ASSERT_EQ(tree.create_acl(acl, 0), 0);
  Numbers ids{7};
  tree.get_acl_ids(ids);
  EXPECT_EQ(ids, (Numbers{7, 0, 1, 30, MAX_U32}));
}

TEST(PolicyTree, AclDescriptionsAreSetAndEmptied) {
  PolicyTree tree;
  ASSERT_EQ(tree.create_acl(1, 0), 0);
  PolicyAclInfo* acl = tree.find_acl(1);
  EXPECT_EQ(acl->description(), "");
  EXPECT_EQ(acl->set_description(std::string("a\0b", 3)), 0);
  EXPECT_EQ(acl->description(), std::string_view("a\0b", 3));
  EXPECT_EQ(acl->set_description(""), 0);
  EXPECT_EQ(acl->description(), "");
}

TEST(PolicyTree, AnAclKnowsItsTree) {
  PolicyTree tree;
  ASSERT_EQ(tree.create_acl(1, 0), 0);
  EXPECT_EQ(&tree.find_acl(1)->tree(), &tree);
}

TEST(PolicyTree, DeletingAMissingAclFailsWithoutAWord) {
  PolicyTree tree;
  EXPECT_EQ(tree.delete_acl(1), -1);
}

TEST(PolicyTree, AnUnboundAclIsDeletedWithItsRules) {
  PolicyTree tree;
  add_rule(tree, 1, 1);
  add_rule(tree, 1, 2);
  EXPECT_EQ(tree.delete_acl(1), 0);
  EXPECT_EQ(tree.find_acl(1), nullptr);
  EXPECT_FALSE(tree.find_rule(1, 1));
}

TEST(PolicyTree, FindRuleNeedsBothTheAclAndTheRule) {
  PolicyTree tree;
  add_rule(tree, 1, 2);
  EXPECT_TRUE(tree.find_rule(1, 2));
  EXPECT_FALSE(tree.find_rule(1, 1));
  EXPECT_FALSE(tree.find_rule(2, 2));
}

TEST(PolicyTree, ARulesActionIsReadAndAMissingRuleLeavesTheOutputAlone) {
  PolicyTree tree;
  add_rule(tree, 1, 1, 1);
  add_rule(tree, 1, 2, 0);
  std::uint32_t action = 77;
  EXPECT_EQ(tree.get_rule_action(1, 3, action), -1);
  EXPECT_EQ(tree.get_rule_action(2, 1, action), -1);
  EXPECT_EQ(action, 77U);
  EXPECT_EQ(tree.get_rule_action(1, 1, action), 0);
  EXPECT_EQ(action, 1U);
  EXPECT_EQ(tree.get_rule_action(1, 2, action), 0);
  EXPECT_EQ(action, 0U);
}

TEST(PolicyTree, DeletingABoundAclIsRefusedAndNamesThePort) {
  PolicyTree tree;
  add_rule(tree, 10, 1);
  ASSERT_EQ(add_port(tree, "eth-0/1/1").add_filter({10, 1}), 0);
  LogCapture log;
  EXPECT_EQ(tree.delete_acl(10), -1);
  EXPECT_EQ(log.take_lines(),
            Texts{"WARNING POLICY is_acl_used: acl 10 is still used in port eth-0/1/1."});
  EXPECT_TRUE(tree.find_rule(10, 1));
}

TEST(PolicyTree, DeletingAnAclThatOnlyAVlanUsesNamesTheVlan) {
  PolicyTree tree;
  add_rule(tree, 10, 1);
  add_port(tree, "eth-0/1/1");
  ASSERT_EQ(add_vlan(tree, 4094).add_filter({10, 1}), 0);
  LogCapture log;
  EXPECT_EQ(tree.delete_acl(10), -1);
  EXPECT_EQ(log.take_lines(),
            Texts{"WARNING POLICY is_acl_used: acl 10 is still used in vlan 4094."});
}

TEST(PolicyTree, TheWarningTellsWhereItWasWritten) {
  PolicyTree tree;
  add_rule(tree, 10, 1);
  ASSERT_EQ(add_vlan(tree, 1).add_filter({10, 1}), 0);
  LogCapture log;
  EXPECT_TRUE(tree.is_acl_used(10));
  const auto records = log.take();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].module, "POLICY");
  const std::string& where = records[0].where;
  EXPECT_EQ(where.substr(0, 1), "+");
  EXPECT_GT(std::stoi(where.substr(1)), 0);
  EXPECT_EQ(where.substr(where.find(' ')), " policytree is_acl_used");
}

TEST(PolicyTree, NumbersInTheWarningAreSigned) {
  PolicyTree tree;
  add_rule(tree, MAX_U32, 1);
  ASSERT_EQ(add_vlan(tree, MAX_U32).add_filter({MAX_U32, 1}), 0);
  LogCapture log;
  EXPECT_TRUE(tree.is_acl_used(MAX_U32));
  EXPECT_EQ(log.take_lines(),
            Texts{"WARNING POLICY is_acl_used: acl -1 is still used in vlan -1."});
}

TEST(PolicyTree, TheFirstPortInAscendingOrderOfNameIsNamed) {
  PolicyTree tree;
  add_rule(tree, 10, 1);
  // Byte by byte: "10" sorts before "9", upper case before lower case.
  for (const char* name : {"b9", "b10", "a", "Z", "\xff"}) {
    ASSERT_EQ(add_port(tree, name).add_filter({10, 1}), 0);
  }
  ASSERT_EQ(add_vlan(tree, 0).add_filter({10, 1}), 0);
  LogCapture log;
  const auto next_named = [&] {
    EXPECT_EQ(tree.delete_acl(10), -1);
    return log.take_lines().at(0);
  };
  for (const char* name : {"Z", "a", "b10", "b9", "\xff"}) {
    EXPECT_EQ(
        next_named(),
        std::string("WARNING POLICY is_acl_used: acl 10 is still used in port ") + name + ".");
    ASSERT_EQ(tree.find_port(name)->delete_filter({10, 1}), 0);
  }
  EXPECT_EQ(next_named(), "WARNING POLICY is_acl_used: acl 10 is still used in vlan 0.");
}

TEST(PolicyTree, TheFirstVlanInAscendingOrderOfIdIsNamed) {
  PolicyTree tree;
  add_rule(tree, 10, 1);
  for (const std::uint32_t vlan : {100U, 9U, 20U}) {
    ASSERT_EQ(add_vlan(tree, vlan).add_filter({10, 1}), 0);
  }
  LogCapture log;
  for (const std::uint32_t vlan : {9U, 20U, 100U}) {
    EXPECT_TRUE(tree.is_acl_used(10));
    EXPECT_EQ(log.take_lines(), Texts{"WARNING POLICY is_acl_used: acl 10 is still used in vlan " +
                                      std::to_string(vlan) + "."});
    ASSERT_EQ(tree.delete_vlan(vlan), 0);
  }
  EXPECT_EQ(tree.delete_acl(10), 0);
}

TEST(PolicyTree, AnActionKeepsAnAclUsedAsAFilterDoes) {
  PolicyTree tree;
  add_rule(tree, 10, 1);
  ASSERT_EQ(add_port(tree, "ge1").actions().set_action({10, 1}, 0, 0), 0);
  LogCapture log;
  EXPECT_TRUE(tree.is_acl_used(10));
  EXPECT_EQ(log.take_lines(),
            Texts{"WARNING POLICY is_acl_used: acl 10 is still used in port ge1."});
  EXPECT_TRUE(tree.is_rule_used(10, 1));
}

TEST(PolicyTree, APortWithOnlyAnActionIsNamedBeforeALaterPortWithAFilter) {
  PolicyTree tree;
  add_rule(tree, 10, 1);
  ASSERT_EQ(add_port(tree, "b").add_filter({10, 1}), 0);
  ASSERT_EQ(add_port(tree, "a").actions().set_action({10, 1}, 0, 0), 0);
  LogCapture log;
  EXPECT_TRUE(tree.is_acl_used(10));
  EXPECT_EQ(log.take_lines(), Texts{"WARNING POLICY is_acl_used: acl 10 is still used in port a."});
}

TEST(PolicyTree, TheUseOfOneAclDoesNotHoldAnother) {
  PolicyTree tree;
  add_rule(tree, 10, 1);
  add_rule(tree, 11, 1);
  ASSERT_EQ(add_port(tree, "ge1").add_filter({10, 1}), 0);
  EXPECT_FALSE(tree.is_acl_used(11));
  EXPECT_EQ(tree.delete_acl(11), 0);
}

TEST(PolicyTree, AMissingAclOrRuleIsNotUsed) {
  PolicyTree tree;
  add_rule(tree, 10, 1);
  EXPECT_FALSE(tree.is_acl_used(11));
  EXPECT_FALSE(tree.is_rule_used(11, 1));
  EXPECT_FALSE(tree.is_rule_used(10, 2));
  EXPECT_FALSE(tree.is_rule_used(10, 1));
}

TEST(PolicyTree, ABoundRuleIsDeletedOnlyAfterEveryBindingIsGone) {
  PolicyTree tree;
  add_rule(tree, 10, 1);
  add_rule(tree, 10, 2);
  PolicyPortInfo& port = add_port(tree, "ge1");
  PolicyVlanInfo& vlan = add_vlan(tree, 5);
  ASSERT_EQ(port.add_filter({10, 1}), 0);
  ASSERT_EQ(vlan.add_filter({10, 1}), 0);
  ASSERT_EQ(vlan.actions().set_action({10, 1}, 1, 7), 0);

  PolicyAclInfo* acl = tree.find_acl(10);
  EXPECT_EQ(acl->delete_rule(1), -1);
  EXPECT_EQ(acl->delete_rule(2), 0);
  ASSERT_EQ(port.delete_filter({10, 1}), 0);
  EXPECT_EQ(acl->delete_rule(1), -1);
  ASSERT_EQ(vlan.delete_filter({10, 1}), 0);
  EXPECT_EQ(acl->delete_rule(1), -1);
  EXPECT_TRUE(tree.is_rule_used(10, 1));
  ASSERT_EQ(vlan.actions().delete_action({10, 1}), 0);
  EXPECT_FALSE(tree.is_rule_used(10, 1));
  EXPECT_EQ(acl->delete_rule(1), 0);
}

TEST(PolicyTree, ATreeWithBindingsCanBeDestroyed) {
  PolicyTree tree;
  add_rule(tree, 10, 1);
  ASSERT_EQ(add_port(tree, "ge1").add_filter({10, 1}), 0);
  ASSERT_EQ(add_vlan(tree, 1).actions().set_action({10, 1}, 0, 1), 0);
}

TEST(PolicyTree, TwoTreesDoNotShareAnything) {
  PolicyTree one;
  PolicyTree other;
  add_rule(one, 10, 1);
  EXPECT_EQ(other.find_acl(10), nullptr);
  EXPECT_EQ(add_port(other, "ge1").add_filter({10, 1}), -1);
}

}  // namespace
