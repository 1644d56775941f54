#include <gtest/gtest.h>

#include "tests/support/typed_configuration.h"
#include "tools/policyctl/entries/scopes.h"
#include "tools/policyctl/language/statement_match.h"

namespace {

// "LITERAL LITERAL ARGUMENT +field value:FIELD .", the last when the line may end.
std::string expected(const Scope* context, std::string_view line) {
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
  EXPECT_EQ(expected(&TOP_LEVEL, ""), "cos time-range acl interface vlan");
  EXPECT_EQ(expected(&IN_A_LIST, ""), "cos time-range acl interface vlan rule");
  EXPECT_EQ(expected(&AT_A_RECORD, ""),
            "cos time-range acl interface vlan cos-value filter remark");
}

TEST(ExpectedWords, EachPlaceOfTheClassOfServiceStatements) {
  EXPECT_EQ(expected(&TOP_LEVEL, "cos"), "flag schedule priority mapping");
  EXPECT_EQ(expected(&TOP_LEVEL, "cos flag"), "SWITCH");
  EXPECT_EQ(expected(&TOP_LEVEL, "cos flag on"), ".");
  EXPECT_EQ(expected(&TOP_LEVEL, "cos schedule"), "mode algorithm");
  EXPECT_EQ(expected(&TOP_LEVEL, "cos schedule mode"), "MODE");
  EXPECT_EQ(expected(&TOP_LEVEL, "cos schedule algorithm 1"), "weights");
  EXPECT_EQ(expected(&TOP_LEVEL, "cos schedule algorithm 1 weights 1 2 3"), "WEIGHT");
  EXPECT_EQ(expected(&TOP_LEVEL, "cos schedule algorithm 1 weights 1 2 3 4"), ".");
  EXPECT_EQ(expected(&TOP_LEVEL, "cos mapping 1"), "queue");
  EXPECT_EQ(expected(&TOP_LEVEL, "cos priority 1 queue"), "QUEUE");
}

TEST(ExpectedWords, EachPlaceOfTheOtherStatements) {
  EXPECT_EQ(expected(&TOP_LEVEL, "time-range"), "NAME");
  EXPECT_EQ(expected(&TOP_LEVEL, "time-range a 1 2"), "SWITCH");
  EXPECT_EQ(expected(&TOP_LEVEL, "acl"), "ACL");
  EXPECT_EQ(expected(&TOP_LEVEL, "acl 1 type 0"), "description .");
  EXPECT_EQ(expected(&TOP_LEVEL, "acl 1 type 0 description"), "TEXT");
  EXPECT_EQ(expected(&TOP_LEVEL, "acl 1 type 0 description a"), ".");
  EXPECT_EQ(expected(&TOP_LEVEL, "interface"), "INTERFACE");
  EXPECT_EQ(expected(&TOP_LEVEL, "vlan"), "VLAN");
  EXPECT_EQ(expected(&AT_A_RECORD, "cos-value"), "VALUE");
  EXPECT_EQ(expected(&AT_A_RECORD, "filter"), "acl");
  EXPECT_EQ(expected(&AT_A_RECORD, "filter acl 10 rule"), "RULE");
  EXPECT_EQ(expected(&AT_A_RECORD, "remark acl 10 rule 2"), "dscp priority two-bit");
  EXPECT_EQ(expected(&AT_A_RECORD, "remark acl 10 rule 2 two-bit"), "TWO-BIT");
}

TEST(ExpectedWords, EachPlaceOfARule) {
  EXPECT_EQ(expected(&IN_A_LIST, "rule"), "RULE");
  EXPECT_EQ(expected(&IN_A_LIST, "rule 1"), "ACTION");
  EXPECT_EQ(expected(&IN_A_LIST, "rule 1 permit"), "description +field .");
  EXPECT_EQ(expected(&IN_A_LIST, "rule 1 permit src-ip"), "value:src-ip");
  EXPECT_EQ(expected(&IN_A_LIST, "rule 1 permit src-ip 10.0.0.0/8"), "description +field .");
  EXPECT_EQ(expected(&IN_A_LIST, "rule 1 permit src-ip 10.0.0.0/8 36"), "value:36");
  EXPECT_EQ(expected(&IN_A_LIST, "rule 1 permit 36 description"), "description +field .");
  EXPECT_EQ(expected(&IN_A_LIST, "rule 1 permit vlan 3 description"), "TEXT");
  EXPECT_EQ(expected(&IN_A_LIST, "rule 1 permit vlan 3 description web"), ".");
}

TEST(ExpectedWords, NothingFollowsWhatIsWrong) {
  EXPECT_EQ(expected(&TOP_LEVEL, "rule"), "");
  EXPECT_EQ(expected(&TOP_LEVEL, "cos flga"), "");
  EXPECT_EQ(expected(&TOP_LEVEL, "cos flag maybe"), "");
  EXPECT_EQ(expected(&TOP_LEVEL, "cos \"flag\""), "");
  EXPECT_EQ(expected(&TOP_LEVEL, "cos flag on on"), "");
  EXPECT_EQ(expected(&TOP_LEVEL, "vlan 4095"), "");
  EXPECT_EQ(expected(&TOP_LEVEL, "acl x"), "");
  EXPECT_EQ(expected(&AT_A_RECORD, "remark acl 1 rule 1 dscp 64"), "");
  EXPECT_EQ(expected(&IN_A_LIST, "rule 1 perm"), "");
  EXPECT_EQ(expected(&IN_A_LIST, "rule 1 permit srcip"), "");
  EXPECT_EQ(expected(&IN_A_LIST, "rule 1 permit src-ip 10.0.0.1/8"), "");
  EXPECT_EQ(expected(&IN_A_LIST, "rule 1 permit vlan 3 vlan"), "");
  EXPECT_EQ(expected(&IN_A_LIST, "rule 1 permit description a b"), "");
}

TEST(ExpectedWords, KnowTheListThatARuleWouldBeOf) {
  Words words;
  ASSERT_FALSE(words.split("remark acl 12 rule"));
  EXPECT_EQ(expected_after(&AT_A_RECORD, words.all()).above, 12U);
}

TEST(ExpectedWords, KnowTheStatementOnceThereIsOnlyOne) {
  Words words;
  ASSERT_FALSE(words.split("cos"));
  EXPECT_EQ(expected_after(&TOP_LEVEL, words.all()).statement, nullptr);
  ASSERT_FALSE(words.split("cos flag"));
  EXPECT_EQ(expected_after(&TOP_LEVEL, words.all()).statement, &statements_of(COS_FLAG)[0]);
  ASSERT_FALSE(words.split("rule 1 permit vlan 3"));
  EXPECT_EQ(expected_after(&IN_A_LIST, words.all()).statement, &statements_of(RULE)[0]);
}

}  // namespace
