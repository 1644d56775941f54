#include "platform/sif_mgr_if_tree.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/platform/sif_tree_samples.h"

TEST(SifMgrIfTree, InterfacesAndMembersStandInAscendingOrderOfName) {
  SifMgrIfTree tree = tree_of({"lag1", "eth-0/2/1", "eth-0/1/1"});
  tree.find("lag1")->add_member("eth-0/2/1");
  tree.find("lag1")->add_member("eth-0/1/1");
  std::vector<std::string> names;
  for (const auto& [name, atom] : tree.atoms()) names.push_back(atom.name());
  EXPECT_EQ(names, (std::vector<std::string>{"eth-0/1/1", "eth-0/2/1", "lag1"}));
  EXPECT_EQ(*tree.find("lag1")->members().begin(), "eth-0/1/1");
}

TEST(SifMgrIfTree, ANameIsInTheTreeOnce) {
  SifMgrIfTree tree = tree_of({"lag1"});
  SifMgrIfAtom other("lag1");
  other.add_member("eth-0/1/1");
  EXPECT_FALSE(tree.add(other));
  EXPECT_TRUE(tree.find("lag1")->members().empty());
}

TEST(SifMgrIfTree, RemovingAnUnknownNameChangesNothing) {
  SifMgrIfTree tree = tree_of({"lag1"});
  EXPECT_FALSE(tree.remove("lag2"));
  EXPECT_TRUE(tree.remove("lag1"));
  EXPECT_TRUE(tree.empty());
}

TEST(SifMgrIfTree, ACopyIsIndependentAndComparesByContent) {
  SifMgrIfTree tree = tree_of({"eth-0/1/1", "lag1"});
  SifMgrIfTree copy = tree;
  EXPECT_EQ(copy, tree);
  copy.find("eth-0/1/1")->set_lag(true, "lag1");
  EXPECT_NE(copy, tree);
  EXPECT_FALSE(tree.find("eth-0/1/1")->lagmember());
}

TEST(SifMgrIfTree, TreesThatDifferInAMemberAloneDiffer) {
  SifMgrIfTree tree = tree_of({"lag1"});
  SifMgrIfTree other = tree;
  other.find("lag1")->add_member("eth-0/1/1");
  EXPECT_NE(other, tree);
  EXPECT_TRUE(other.find("lag1")->remove_member("eth-0/1/1"));
  EXPECT_FALSE(other.find("lag1")->remove_member("eth-0/1/1"));
  EXPECT_EQ(other, tree);
}

TEST(SifTreeLists, WhatWasAppendedReadsBackEqual) {
  SifMgrIfTree tree = tree_of({"eth-0/1/1", "eth-0/1/2", "lag1", "lag2"});
  tree.find("lag1")->add_member("eth-0/1/2");
  tree.find("lag1")->add_member("eth-0/1/1");
  tree.find("eth-0/1/1")->set_lag(true, "lag1");
  tree.find("eth-0/1/2")->set_lag(true, "lag1");
  SampleLists lists;
  append_sif_tree(
      tree, {lists.names, lists.lagmembers, lists.lagnames, lists.member_lags, lists.member_names});
  SifMgrIfTree read;
  EXPECT_EQ(read_sif_tree(lists.refs(), read), "");
  EXPECT_EQ(read, tree);
}

TEST(SifTreeLists, EmptyListsAreTheEmptyTree) {
  SifMgrIfTree read = tree_of({"lag1"});
  EXPECT_EQ(read_sif_tree(SampleLists().refs(), read), "");
  EXPECT_TRUE(read.empty());
}

namespace {

// What is wrong with the lists; the tree must not have been touched then.
std::string problem_of(const SampleLists& lists) {
  const SifMgrIfTree before = tree_of({"old"});
  SifMgrIfTree tree = before;
  const std::string problem = read_sif_tree(lists.refs(), tree);
  return tree == before ? problem : "the tree was changed";
}

}  // namespace

TEST(SifTreeLists, UnalignedListsOfInterfacesAreRefused) {
  SampleLists fewer_lagmembers = sample_lists();
  fewer_lagmembers.lagmembers = numbers({1, 0});
  EXPECT_EQ(problem_of(fewer_lagmembers), "the lists of interfaces differ in length");
  SampleLists more_lagnames = sample_lists();
  more_lagnames.lagnames.append("lag1");
  EXPECT_EQ(problem_of(more_lagnames), "the lists of interfaces differ in length");
}

TEST(SifTreeLists, UnalignedListsOfMembersAreRefused) {
  SampleLists lists = sample_lists();
  lists.member_names.append("eth-0/1/2");
  EXPECT_EQ(problem_of(lists), "the lists of members differ in length");
}

TEST(SifTreeLists, AMemberOfAnUnknownAggregateIsRefused) {
  SampleLists lists = sample_lists();
  lists.member_lags = texts({"lag2"});
  EXPECT_EQ(problem_of(lists), "'eth-0/1/1' is a member of the unknown aggregate 'lag2'");
}

TEST(SifTreeLists, RepeatedInterfacesAndMembersAreRefused) {
  SampleLists interfaces = sample_lists();
  interfaces.names = texts({"eth-0/1/1", "eth-0/1/1", "lag1"});
  EXPECT_EQ(problem_of(interfaces), "interface 'eth-0/1/1' is there twice");
  SampleLists members = sample_lists();
  members.member_lags.append("lag1");
  members.member_names.append("eth-0/1/1");
  EXPECT_EQ(problem_of(members), "'eth-0/1/1' is a member of 'lag1' twice");
}

TEST(SifTreeLists, ALagmemberIsZeroOrOne) {
  SampleLists lists = sample_lists();
  lists.lagmembers = numbers({1, 2, 0});
  EXPECT_EQ(problem_of(lists), "lagmember of 'eth-0/1/2' is neither 0 nor 1");
}

TEST(SifTreeLists, ListsOfAnotherElementTypeAreRefused) {
  SampleLists names = sample_lists();
  names.names = numbers({1, 2, 3});
  EXPECT_EQ(problem_of(names), "a list of names holds something else");
  SampleLists lagmembers = sample_lists();
  lagmembers.lagmembers = texts({"1", "0", "0"});
  EXPECT_EQ(problem_of(lagmembers), "lagmembers are no numbers");
}
