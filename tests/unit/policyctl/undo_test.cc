#include "tools/policyctl/change/touched.h"

#include <gtest/gtest.h>

#include "tests/unit/policyctl/naive_policyd.h"
#include "tests/unit/policyctl/whole_switch.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

const std::string OLD_RULES = R"(acl 10 type 0 description "old"
  rule 1 permit protocol 6
  rule 2 deny protocol 17 description "udp"
)";
const std::string OLD_BINDINGS = R"(interface eth-0/1/1
  filter acl 10 rule 1
  filter acl 10 rule 2
)";
const std::string OLD = OLD_RULES + OLD_BINDINGS;
const std::string NEW = R"(cos flag on
cos mapping 0 queue 5
time-range night 22 6 on 0 0
acl 10 type 0 description "new"
  rule 1 permit protocol 50
  rule 2 deny protocol 17
  rule 3 permit protocol 1
acl 20 type 1
  rule 1 permit ttl 5
interface eth-0/1/1
  filter acl 10 rule 2
  filter acl 10 rule 1
  filter acl 10 rule 3
  remark acl 10 rule 1 dscp 46
  cos-value 3
vlan 100
  filter acl 20 rule 1
)";

// A change from OLD to NEW that was carried out, and what somebody else then did.
class UndoOfAChange : public testing::Test {
 protected:
  UndoOfAChange()
      : before(whole_switch(OLD)),
        whole(before.whole()),
        plan(whole, whole_switch(NEW).whole()),
        touched(touched_by(plan)),
        policyd(before) {
    EXPECT_TRUE(policyd.carry_out(plan));
  }

  // What the switch is after undoing, and what was left.
  std::string undone() {
    const SwitchConfiguration now = policyd.now.whole();
    const Difference back = undo(touched, now);
    left = back.clashes;
    EXPECT_TRUE(policyd.carry_out(Plan(now, back.target)));
    return named_text(policyd.now);
  }

  using Left = std::vector<std::string>;
  Configuration before;
  SwitchConfiguration whole;
  Plan plan;
  Touched touched;
  NaivePolicyd policyd;
  Left left;
};

TEST_F(UndoOfAChange, PutsAllOfItBack) {
  EXPECT_EQ(undone(), OLD);
  EXPECT_EQ(left, Left());
}

TEST_F(UndoOfAChange, ChangesNothingWhereNothingWasDone) {
  policyd.now = before;
  EXPECT_TRUE(Plan(whole, undo(touched, whole).target).empty());
}

TEST_F(UndoOfAChange, LeavesASettingThatSomebodyElseChanged) {
  policyd.now.cos.flag = false;  // as it was
  policyd.now.cos.mapping[0] = 7;
  policyd.now.interfaces.at("eth-0/1/1").cos_value = 9;
  EXPECT_EQ(undone(), "cos mapping 0 queue 7\n" + OLD_RULES +
                          "interface eth-0/1/1\n  cos-value 9\n  filter acl 10 rule 1\n"
                          "  filter acl 10 rule 2\n");
  EXPECT_EQ(left, (Left{"cos mapping 0", "interface eth-0/1/1 cos-value"}));
}

TEST_F(UndoOfAChange, LeavesATimeRangeThatSomebodyElseMadeAnew) {
  policyd.now.time_ranges.at("night").number1 = 23;
  EXPECT_EQ(undone(), "time-range night 23 6 on 0 0\n" + OLD);
  EXPECT_EQ(left, Left{"time-range night"});
}

TEST_F(UndoOfAChange, LeavesAnotherRuleInItsPlace) {
  policyd.now.acls.at(10).rules.at(3).action = DENY;
  policyd.now.interfaces.at("eth-0/1/1").remarks.clear();
  const std::string text = undone();
  EXPECT_NE(text.find("  rule 3 deny protocol 1\n"), std::string::npos) << text;
  EXPECT_EQ(left, Left{"acl 10 rule 3"});
}

TEST_F(UndoOfAChange, LeavesAListThatHoldsRulesOfSomebodyElse) {
  policyd.now.acls.at(20).rules[9] = policyd.now.acls.at(20).rules.at(1);
  const std::string text = undone();
  EXPECT_NE(text.find("acl 20 type 1\n  rule 9 permit ttl 5\n"), std::string::npos) << text;
  EXPECT_EQ(left, Left{"acl 20"});
}

TEST_F(UndoOfAChange, LeavesADescriptionOfSomebodyElse) {
  policyd.now.acls.at(10).description = "mine";
  const std::string text = undone();
  EXPECT_TRUE(text.starts_with("acl 10 type 0 description \"mine\"\n")) << text;
  EXPECT_EQ(left, Left{"acl 10"});
}

TEST_F(UndoOfAChange, LeavesARuleThatSomebodyElseBound) {
  policyd.now.vlans.at(200).filters = {{20, 1}};
  EXPECT_EQ(undone(), OLD_RULES + "acl 20 type 1\n  rule 1 permit ttl 5\n" + OLD_BINDINGS +
                          "vlan 200\n  filter acl 20 rule 1\n");
  EXPECT_EQ(left, (Left{"acl 20 rule 1", "acl 20"}));
}

TEST_F(UndoOfAChange, LeavesABindingOfSomebodyElseBehindThoseThatWere) {
  policyd.now.acls[30] = policyd.now.acls.at(20);
  std::vector<RuleKey>& filters = policyd.now.interfaces.at("eth-0/1/1").filters;
  filters.insert(filters.begin(), RuleKey{30, 1});
  const std::string text = undone();
  EXPECT_TRUE(
      text.ends_with("  filter acl 10 rule 1\n  filter acl 10 rule 2\n"
                     "  filter acl 30 rule 1\n"))
      << text;
  EXPECT_EQ(left, Left());
}

TEST_F(UndoOfAChange, LeavesABindingOfSomebodyElseWhoseRuleCameAfterTheRulesWereRead) {
  policyd.now.acls[30] = policyd.now.acls.at(20);
  policyd.now.interfaces.at("eth-0/1/2").filters = {{30, 1}};
  policyd.now.vlans.at(200).remarks[{30, 1}] = {REMARK_DSCP, 46};
  Configuration seen = policyd.now;
  seen.acls.erase(30);
  const SwitchConfiguration read = seen.whole();
  EXPECT_TRUE(policyd.carry_out(Plan(read, undo(touched, read).target)));
  EXPECT_EQ(named_text(policyd.now), OLD_RULES + "acl 30 type 1\n  rule 1 permit ttl 5\n" +
                                         OLD_BINDINGS +
                                         "interface eth-0/1/2\n  filter acl 30 rule 1\n"
                                         "vlan 200\n  remark acl 30 rule 1 dscp 46\n");
}

TEST_F(UndoOfAChange, LeavesARemarkThatSomebodyElseChanged) {
  policyd.now.interfaces.at("eth-0/1/1").remarks[{10, 1}].value = 7;
  (void)undone();
  EXPECT_EQ(left, Left{"interface eth-0/1/1 remark acl 10 rule 1"});
}

TEST_F(UndoOfAChange, DoesWithoutAnInterfaceThatIsGone) {
  policyd.now.interfaces.erase("eth-0/1/1");
  EXPECT_EQ(undone(), OLD_RULES);
  EXPECT_EQ(left, Left());
}

TEST_F(UndoOfAChange, BringsBackARuleThatIsMissing) {
  Bindings& bound = policyd.now.interfaces.at("eth-0/1/1");
  bound.filters.clear();
  bound.remarks.clear();
  policyd.now.acls.erase(10);
  EXPECT_EQ(undone(), OLD);
  EXPECT_EQ(left, Left());
}

Step refused_creation(const EntryKind& kind, const EntryKey& key) {
  return {&kind, Verb::ADD, key, {}};
}

TEST_F(UndoOfAChange, KeepsWhatPolicydRefusedToMakeBecauseItWasThere) {
  const std::uint32_t vlan = 100;
  forget_refused(touched,
                 {refused_creation(ACL, key_of(20)), refused_creation(RULE, key_of(RuleKey{20, 1})),
                  refused_creation(FILTER, key_at(key_of(vlan), {20, 1}))});
  EXPECT_EQ(undone(), OLD_RULES + "acl 20 type 1\n  rule 1 permit ttl 5\n" + OLD_BINDINGS +
                          "vlan 100\n  filter acl 20 rule 1\n");
  EXPECT_EQ(left, Left());
}

// Somebody bound a rule of the list before, so it could not go and come again.
TEST(Undo, PutsBackTheDescriptionOfAListThatCouldNotBeReplaced) {
  const Configuration before = whole_switch("acl 10 type 0\n  rule 1 permit\n");
  const SwitchConfiguration whole = before.whole();
  const Plan plan(whole, whole_switch("acl 10 type 1 description \"x\"\n"
                                      "  rule 1 permit description \"y\"\n")
                             .whole());
  NaivePolicyd policyd(before);
  policyd.now.vlans.at(100).filters = {{10, 1}};
  const Configuration bound = policyd.now;
  std::vector<Step> refused;
  for (const Step& step : plan.steps()) {
    if (!policyd.carry_out(step)) refused.push_back(step);
  }
  EXPECT_EQ(refused.size(), 3U);
  EXPECT_EQ(policyd.now.acls.at(10).description, "x");
  Touched touched = touched_by(plan);
  forget_refused(touched, refused);
  const Difference undone = undo(touched, policyd.now.whole());
  EXPECT_EQ(write_configuration(undone.target), write_configuration(bound));
  EXPECT_TRUE(undone.clashes.empty());
}

}  // namespace
