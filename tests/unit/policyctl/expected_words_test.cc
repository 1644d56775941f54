#include <gtest/gtest.h>

#include "tools/policyctl/language/statement_match.h"

namespace {

using enum StatementContext;

// "LITERAL LITERAL ARGUMENT +field value:FIELD .", the last when the line may end.
std::string expected(StatementContext context, std::string_view line) {
  Words words;
  EXPECT_FALSE(words.split(line));
  const Expected next = expected_after(context, words.all());
  std::string text;
  for (const std::string_view literal : next.literals) text += std::string(literal) + " ";
  if (next.argument != nullptr) text += std::string(next.argument->name) + " ";
  if (next.field) text += "+field ";
  if (!next.value_of.empty()) text += "value:" + next.value_of + " ";
  if (next.may_end) text += ". ";
  return text.empty() ? text : text.substr(0, text.size() - 1);
}

TEST(ExpectedWords, ALineBeginsWithTheStatementsOfItsPlace) {
  EXPECT_EQ(expected(TOP, ""), "cos time-range acl interface vlan");
  EXPECT_EQ(expected(ACL, ""), "cos time-range acl interface vlan rule");
  EXPECT_EQ(expected(BINDINGS, ""), "cos time-range acl interface vlan cos-value filter remark");
}

TEST(ExpectedWords, EachPlaceOfTheClassOfServiceStatements) {
  EXPECT_EQ(expected(TOP, "cos"), "flag schedule priority mapping");
  EXPECT_EQ(expected(TOP, "cos flag"), "SWITCH");
  EXPECT_EQ(expected(TOP, "cos flag on"), ".");
  EXPECT_EQ(expected(TOP, "cos schedule"), "mode algorithm");
  EXPECT_EQ(expected(TOP, "cos schedule mode"), "MODE");
  EXPECT_EQ(expected(TOP, "cos schedule algorithm 1"), "weights");
  EXPECT_EQ(expected(TOP, "cos schedule algorithm 1 weights 1 2 3"), "WEIGHT");
  EXPECT_EQ(expected(TOP, "cos schedule algorithm 1 weights 1 2 3 4"), ".");
  EXPECT_EQ(expected(TOP, "cos mapping 1"), "queue");
  EXPECT_EQ(expected(TOP, "cos priority 1 queue"), "QUEUE");
}

TEST(ExpectedWords, EachPlaceOfTheOtherStatements) {
  EXPECT_EQ(expected(TOP, "time-range"), "NAME");
  EXPECT_EQ(expected(TOP, "time-range a 1 2"), "SWITCH");
  EXPECT_EQ(expected(TOP, "acl"), "ACL");
  EXPECT_EQ(expected(TOP, "acl 1 type 0"), "description .");
  EXPECT_EQ(expected(TOP, "acl 1 type 0 description"), "TEXT");
  EXPECT_EQ(expected(TOP, "acl 1 type 0 description a"), ".");
  EXPECT_EQ(expected(TOP, "interface"), "INTERFACE");
  EXPECT_EQ(expected(TOP, "vlan"), "VLAN");
  EXPECT_EQ(expected(BINDINGS, "cos-value"), "VALUE");
  EXPECT_EQ(expected(BINDINGS, "filter"), "acl");
  EXPECT_EQ(expected(BINDINGS, "filter acl 10 rule"), "RULE");
  EXPECT_EQ(expected(BINDINGS, "remark acl 10 rule 2"), "dscp priority two-bit");
  EXPECT_EQ(expected(BINDINGS, "remark acl 10 rule 2 two-bit"), "TWO-BIT");
}

TEST(ExpectedWords, EachPlaceOfARule) {
  EXPECT_EQ(expected(ACL, "rule"), "RULE");
  EXPECT_EQ(expected(ACL, "rule 1"), "ACTION");
  EXPECT_EQ(expected(ACL, "rule 1 permit"), "description +field .");
  EXPECT_EQ(expected(ACL, "rule 1 permit src-ip"), "value:src-ip");
  EXPECT_EQ(expected(ACL, "rule 1 permit src-ip 10.0.0.0/8"), "description +field .");
  EXPECT_EQ(expected(ACL, "rule 1 permit src-ip 10.0.0.0/8 36"), "value:36");
  EXPECT_EQ(expected(ACL, "rule 1 permit 36 description"), "description +field .");
  EXPECT_EQ(expected(ACL, "rule 1 permit vlan 3 description"), "TEXT");
  EXPECT_EQ(expected(ACL, "rule 1 permit vlan 3 description web"), ".");
}

TEST(ExpectedWords, NothingFollowsWhatIsWrong) {
  EXPECT_EQ(expected(TOP, "rule"), "");
  EXPECT_EQ(expected(TOP, "cos flga"), "");
  EXPECT_EQ(expected(TOP, "cos flag maybe"), "");
  EXPECT_EQ(expected(TOP, "cos \"flag\""), "");
  EXPECT_EQ(expected(TOP, "cos flag on on"), "");
  EXPECT_EQ(expected(TOP, "vlan 4095"), "");
  EXPECT_EQ(expected(TOP, "acl x"), "");
  EXPECT_EQ(expected(BINDINGS, "remark acl 1 rule 1 dscp 64"), "");
  EXPECT_EQ(expected(ACL, "rule 1 perm"), "");
  EXPECT_EQ(expected(ACL, "rule 1 permit srcip"), "");
  EXPECT_EQ(expected(ACL, "rule 1 permit src-ip 10.0.0.1/8"), "");
  EXPECT_EQ(expected(ACL, "rule 1 permit vlan 3 vlan"), "");
  EXPECT_EQ(expected(ACL, "rule 1 permit description a b"), "");
}

TEST(ExpectedWords, KnowTheListThatARuleWouldBeOf) {
  Words words;
  ASSERT_FALSE(words.split("remark acl 12 rule"));
  EXPECT_EQ(expected_after(BINDINGS, words.all()).acl, 12U);
}

TEST(ExpectedWords, KnowTheStatementOnceThereIsOnlyOne) {
  Words words;
  ASSERT_FALSE(words.split("cos"));
  EXPECT_EQ(expected_after(TOP, words.all()).statement, nullptr);
  ASSERT_FALSE(words.split("cos flag"));
  EXPECT_EQ(expected_after(TOP, words.all()).statement, &statement(StatementId::COS_FLAG));
  ASSERT_FALSE(words.split("rule 1 permit vlan 3"));
  EXPECT_EQ(expected_after(ACL, words.all()).statement, &statement(StatementId::RULE));
}

}  // namespace
