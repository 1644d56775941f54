#include "policy/store/port_reconciliation.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "framework/base/event_loop.h"
#include "tests/unit/policy/store_samples.h"

namespace {

SifMgrIfAtom interface(const std::string& name) {
  return SifMgrIfAtom(name);
}
SifMgrIfAtom member(const std::string& name, const std::string& lag) {
  SifMgrIfAtom atom(name);
  atom.set_lag(true, lag);
  return atom;
}
SifMgrIfAtom aggregate(const std::string& name, std::initializer_list<const char*> members) {
  SifMgrIfAtom atom(name);
  for (const char* each : members) atom.add_member(each);
  return atom;
}

class Reconciliation : public ::testing::Test {
 protected:
  void follow(std::initializer_list<SifMgrIfAtom> atoms) {
    SifMgrIfTree live;
    for (const SifMgrIfAtom& atom : atoms) live.add(atom);
    EXPECT_TRUE(reconcile_ports(_tree, live, _snapshot, "+1 here follow"));
    EXPECT_EQ(_snapshot, live);
  }
  PolicyPortInfo& port(const char* name) {
    PolicyPortInfo* found = _tree.find_port(name);
    if (found == nullptr) throw std::runtime_error(std::string("no port ") + name);
    return *found;
  }
  Texts names() {
    Texts all;
    _tree.get_port_names(all);
    return all;
  }

  PolicyTree _tree;
  SifMgrIfTree _snapshot;
};

TEST(CardIdOf, APhysicalPortIsTheOneOfItsName) {
  EXPECT_EQ(card_id_of(interface("eth-1/2/3")), 16U + 256U + 2U);
}

TEST(CardIdOf, AnAggregateIsTheOneOfItsFirstMemberByName) {
  EXPECT_EQ(card_id_of(aggregate("lag1", {"0/5/1", "0/3/9"})), 16U + 3U);
}

TEST(CardIdOf, AnAggregateWithoutMembersIsTwo) {
  EXPECT_EQ(card_id_of(aggregate("lag1", {})), 2U);
}

TEST(CardIdOf, AnAggregateWhoseFirstMemberHasNoCardIsTwo) {
  EXPECT_EQ(card_id_of(aggregate("lag1", {"lag0", "zzz"})), 2U);
}

TEST(CardIdOf, APhysicalPortsMembersDoNotMatter) {
  EXPECT_EQ(card_id_of(aggregate("0/1/1", {"0/9/1"})), 17U);
}

TEST_F(Reconciliation, MakesARecordForEveryInterface) {
  follow({interface("0/1/1"), interface("0/1/2"), aggregate("lag1", {})});
  EXPECT_EQ(names(), (Texts{"0/1/1", "0/1/2", "lag1"}));
}

TEST_F(Reconciliation, DeletesTheRecordOfAnInterfaceThatIsGoneWithItsBindings) {
  add_rule(_tree, 10, 1);
  follow({interface("0/1/1"), interface("0/1/2")});
  ASSERT_EQ(port("0/1/1").add_filter({10, 1}), 0);
  follow({interface("0/1/2")});
  EXPECT_EQ(names(), (Texts{"0/1/2"}));
  EXPECT_FALSE(_tree.is_acl_used(10));
}

TEST_F(Reconciliation, KeepsTheRecordOfAnInterfaceThatStays) {
  add_rule(_tree, 10, 1);
  follow({interface("0/1/1")});
  ASSERT_EQ(port("0/1/1").add_filter({10, 1}), 0);
  follow({interface("0/1/1"), interface("0/1/2")});
  EXPECT_EQ(filters_of(port("0/1/1")), (Keys{{10, 1}}));
}

TEST_F(Reconciliation, ANewMemberOfAnAggregateIsMarked) {
  follow({member("0/1/1", "lag1")});
  EXPECT_TRUE(port("0/1/1").lag_member);
  EXPECT_EQ(port("0/1/1").lag_name, "lag1");
}

TEST_F(Reconciliation, ANewInterfaceThatIsNoMemberKeepsTheDefaultsOfARecord) {
  SifMgrIfAtom atom("0/1/1");
  atom.set_lag(false, "leftover");
  follow({atom});
  EXPECT_FALSE(port("0/1/1").lag_member);
  EXPECT_EQ(port("0/1/1").lag_name, "");
}

TEST_F(Reconciliation, AnInterfaceThatLeavesItsAggregateTakesWhateverNameIsTold) {
  follow({member("0/1/1", "lag1")});
  SifMgrIfAtom atom("0/1/1");
  atom.set_lag(false, "leftover");
  follow({atom});
  EXPECT_FALSE(port("0/1/1").lag_member);
  EXPECT_EQ(port("0/1/1").lag_name, "leftover");
}

TEST_F(Reconciliation, AKnownInterfaceThatJoinsAnAggregateIsMarked) {
  follow({interface("0/1/1")});
  follow({member("0/1/1", "lag1")});
  EXPECT_TRUE(port("0/1/1").lag_member);
  EXPECT_EQ(port("0/1/1").lag_name, "lag1");
}

TEST_F(Reconciliation, ANewAggregateTakesTheCardOfItsFirstMemberAndStaysSpecial) {
  follow({aggregate("lag1", {"0/4/1"})});
  EXPECT_EQ(port("lag1").card_id, 20U);
  EXPECT_TRUE(port("lag1").special_card);
}

TEST_F(Reconciliation, AnAggregateFollowsItsFirstMemberToAnotherCardButNotItsReadiness) {
  ASSERT_EQ(_tree.set_card_up(20), 0);
  follow({aggregate("lag1", {"0/4/1"})});
  EXPECT_TRUE(port("lag1").card_ready);
  follow({aggregate("lag1", {"0/5/1"})});
  EXPECT_EQ(port("lag1").card_id, 21U);
  EXPECT_TRUE(port("lag1").card_ready);
  // Only a card state event of the new card is heeded.
  _tree.set_card_down(20);
  EXPECT_TRUE(port("lag1").card_ready);
  ASSERT_EQ(_tree.set_card_up(21), 0);
  _tree.set_card_down(21);
  EXPECT_FALSE(port("lag1").card_ready);
}

TEST_F(Reconciliation, AnAggregateThatLosesItsMembersHasCardTwoAgain) {
  follow({aggregate("lag1", {"0/4/1"})});
  follow({aggregate("lag1", {})});
  EXPECT_EQ(port("lag1").card_id, 2U);
}

TEST_F(Reconciliation, AnAggregatesOwnMembershipIsNotLookedAt) {
  follow({member("lag1", "lag2")});
  EXPECT_FALSE(port("lag1").lag_member);
  follow({member("lag1", "lag3")});
  EXPECT_EQ(port("lag1").lag_name, "");
}

TEST_F(Reconciliation, ANewInterfaceOfACardThatIsUpIsReady) {
  ASSERT_EQ(_tree.set_card_up(17), 0);
  follow({interface("0/1/1"), interface("0/2/1"), aggregate("lag1", {"0/1/1"})});
  EXPECT_TRUE(port("0/1/1").card_ready);
  EXPECT_FALSE(port("0/2/1").card_ready);
  EXPECT_TRUE(port("lag1").card_ready);
}

TEST_F(Reconciliation, TheSameTreeTwiceChangesNothing) {
  follow({interface("0/1/1"), aggregate("lag1", {"0/1/1"})});
  const PolicyPortInfo* before = _tree.find_port("0/1/1");
  follow({interface("0/1/1"), aggregate("lag1", {"0/1/1"})});
  EXPECT_EQ(_tree.find_port("0/1/1"), before);
}

TEST_F(Reconciliation, AnInterfaceThatComesBackGetsANewRecord) {
  follow({interface("0/1/1")});
  port("0/1/1").port_cos_value = 5;
  follow({});
  EXPECT_EQ(names(), Texts{});
  follow({interface("0/1/1")});
  EXPECT_EQ(port("0/1/1").port_cos_value, 0U);
}

TEST_F(Reconciliation, ARecordThatIsMissingBehindItsBackStopsTheProcess) {
  follow({interface("0/1/1")});
  ASSERT_EQ(_tree.delete_port("0/1/1"), 0);
  EXPECT_DEATH(follow({interface("0/1/1")}),
               R"(\+1 here follow: Assertion failed: ifp != 0 \(interface 0/1/1\))");
}

TEST_F(Reconciliation, UpdatesMadeIsWhereTheLogSaysThatARecordIsMissing) {
  EventLoop loop;
  SifMgrIfTree live;
  live.add(interface("0/1/1"));
  PortReconciliation reconciliation(loop, _tree, live, _snapshot, [] {});
  reconciliation.updates_made();
  ASSERT_EQ(_tree.delete_port("0/1/1"), 0);
  EXPECT_DEATH(reconciliation.updates_made(),
               R"(\+[0-9]+ port_reconciliation updates_made: Assertion failed: ifp != 0 )");
}

}  // namespace
