#include "tools/policyctl/language/statement_match.h"

#include <gtest/gtest.h>

#include "tests/unit/policyctl/faults_of.h"
#include "tools/policyctl/entries/rule.h"

namespace {

using Faults = std::vector<std::string>;

struct Case {
  const char* line;
  const char* fault;
};

// Each line below `above`, with the one fault it has, which is of that line.
template <std::size_t N>
void expect_faults(const std::string& above, const Case (&cases)[N]) {
  const std::string number = std::to_string(std::count(above.begin(), above.end(), '\n') + 1);
  for (const Case& each : cases) {
    EXPECT_EQ(faults_of(above + each.line), Faults{number + ":" + each.fault}) << each.line;
  }
}

TEST(StatementMatch, EveryStatementHasAGoodLine) {
  EXPECT_EQ(faults_of("cos flag on\n"
                      "cos schedule mode 4\n"
                      "cos schedule algorithm 3 weights 0 1 2 4294967295\n"
                      "cos priority 7 queue 7\n"
                      "cos mapping 0 queue 0\n"
                      "time-range night 22 6 on 0 4294967295\n"
                      "acl 4294967295 type 1 description \"\"\n"
                      "rule 0 deny\n"
                      "rule 1 permit 7 anything src-mac 00:00:00:00:00:01 description web\n"
                      "interface eth-0/3/1\n"
                      "cos-value 4294967295\n"
                      "filter acl 10 rule 1\n"
                      "remark acl 10 rule 1 dscp 63\n"
                      "remark acl 10 rule 2 priority 7\n"
                      "remark acl 10 rule 3 two-bit 3\n"
                      "vlan 4094\n"
                      "filter acl 10 rule 1\n"),
            Faults{});
}

TEST(StatementMatch, AMissingWordIsNamedWithTheForm) {
  expect_faults(
      "",
      {
          {"cos", "4+1 the line ends too early. | Expected: flag, schedule, priority, mapping."},
          {"cos schedule ", "13+1 the line ends too early. | Expected: mode, algorithm."},
          {"cos flag", "9+1 SWITCH is missing. | The form is: cos flag SWITCH"},
          {"cos schedule mode", "18+1 MODE is missing. | The form is: cos schedule mode MODE"},
          {"cos schedule algorithm 1 weights 1 2 3",
           "39+1 WEIGHT is missing. | The form is: "
           "cos schedule algorithm ALGORITHM weights WEIGHT WEIGHT WEIGHT WEIGHT"},
          {"cos priority 1",
           "15+1 queue is missing. | The form is: cos priority PRIORITY queue QUEUE"},
          {"cos mapping 1 queue",
           "20+1 QUEUE is missing. | The form is: cos mapping PRIORITY queue QUEUE"},
          {"time-range",
           "11+1 NAME is missing. | The form is: time-range NAME NUMBER NUMBER SWITCH NUMBER "
           "NUMBER"},
          {"acl 1", "6+1 type is missing. | The form is: acl ACL type TYPE [description TEXT]"},
          {"acl 1 type 0 description # none",
           "25+1 TEXT is missing. | The form is: acl ACL type TYPE [description TEXT]"},
          {"interface", "10+1 INTERFACE is missing. | The form is: interface INTERFACE"},
          {"vlan", "5+1 VLAN is missing. | The form is: vlan VLAN"},
      });
  expect_faults(
      "acl 1 type 0\n",
      {
          {"rule 1",
           "7+1 ACTION is missing. | The form is: rule RULE ACTION FIELD... [description TEXT]"},
          {"rule 1 deny description",
           "24+1 TEXT is missing. | The form is: rule RULE ACTION FIELD... [description TEXT]"},
          {"rule 1 deny src-ip",
           "19+1 the value of 'src-ip' is missing. | "
           "src-ip is written: ADDRESS/LENGTH, for example 10.1.0.0/16"},
          {"rule 1 deny 7", "14+1 the value of '7' is missing. | Any text will do."},
      });
  expect_faults(
      "interface a\n",
      {
          {"cos-value", "10+1 VALUE is missing. | The form is: cos-value VALUE"},
          {"filter acl 1", "13+1 rule is missing. | The form is: filter acl ACL rule RULE"},
          {"remark acl 1 rule",
           "18+1 RULE is missing. | The form is: remark acl ACL rule RULE dscp DSCP"},
          {"remark acl 1 rule 2",
           "20+1 the line ends too early. | Expected: dscp, priority, two-bit."},
          {"remark acl 1 rule 2 dscp",
           "25+1 DSCP is missing. | The form is: remark acl ACL rule RULE dscp DSCP"},
      });
}

TEST(StatementMatch, ASurplusWordIsNamedWithTheForm) {
  expect_faults(
      "",
      {
          {"cos flag on on", "13+2 'on' is one word too many. | The form is: cos flag SWITCH"},
          {"acl 1 type 0 description a b",
           "28+1 'b' is one word too many. | The form is: acl ACL type TYPE [description TEXT]"},
          {"vlan 1 2", "8+1 '2' is one word too many. | The form is: vlan VLAN"},
      });
  expect_faults("acl 1 type 0\n", {
                                      {"rule 1 deny description a vlan 2",
                                       "27+4 'vlan' is one word too many. | "
                                       "The form is: rule RULE ACTION FIELD... [description TEXT]"},
                                  });
}

TEST(StatementMatch, AMisspeltKeywordIsAskedFor) {
  expect_faults(
      "", {
              {"coss flag on", "1+4 'coss' begins no statement here. | Is 'cos' meant?"},
              {"interfce a", "1+8 'interfce' begins no statement here. | Is 'interface' meant?"},
              {"cos flga on", "5+4 'flga' is not expected here. | Is 'flag' meant?"},
              {"cos schedule algorithm 1 weight 1 2 3 4",
               "26+6 'weight' is not expected here. | Is 'weights' meant?"},
              {"acl 1 tpye 0", "7+4 'tpye' is not expected here. | Is 'type' meant?"},
              {"acl 1 type 0 describtion a",
               "14+11 'describtion' is not expected here. | Is 'description' meant?"},
              {"cos flag onn", "10+3 'onn' is none of: off, on. | Is 'on' meant?"},
          });
  expect_faults(
      "interface a\n",
      {
          {"remark acl 1 rule 1 prioritiy 3",
           "21+9 'prioritiy' is not expected here. | Is 'priority' meant?"},
          {"filtr acl 1 rule 1", "1+5 'filtr' begins no statement here. | Is 'filter' meant?"},
      });
  expect_faults(
      "acl 1 type 0\n",
      {
          {"rule 1 permti", "8+6 'permti' is none of: deny, permit. | Is 'permit' meant?"},
      });
}

TEST(StatementMatch, AKeywordThatIsNothingLikeItIsToldWhatIsExpected) {
  expect_faults(
      "", {
              {"frobnicate",
               "1+10 'frobnicate' begins no statement here. | "
               "Expected: cos, time-range, acl, interface, vlan."},
              {"cos colour 1",
               "5+6 'colour' is not expected here. | Expected: flag, schedule, priority, mapping."},
              {"acl 1 kind 0", "7+4 'kind' is not expected here. | Expected: type."},
              {"cos flag maybe", "10+5 'maybe' is none of: off, on. | SWITCH: off or on."},
          });
}

TEST(StatementMatch, AKeywordInQuotesIsNone) {
  expect_faults(
      "", {
              {"\"cos\" flag on", "1+5 a statement begins with a word that is not in quotes."},
              {"cos \"flag\" on", "5+6 'flag' is a keyword and stands without quotes."},
          });
  expect_faults(
      "acl 1 type 0\n",
      {
          {"rule 1 deny \"vlan\" 3", "13+6 'vlan' is a keyword and stands without quotes."},
          {"rule 1 deny \"description\" a",
           "13+13 'description' is a keyword and stands without quotes."},
          {"rule 1 deny \"7\" a",
           "13+3 '7' is no field of a rule. | The fields are listed by 'policyctl help fields'."},
      });
}

TEST(StatementMatch, ANumberOutOfRangeIsToldItsRange) {
  expect_faults(
      "",
      {
          {"cos schedule mode 5",
           "19+1 '5' is no number 0..4. | MODE: scheduling mode of the queues."},
          {"cos schedule algorithm 4 weights 1 2 3 4",
           "24+1 '4' is no number 0..3. | ALGORITHM: scheduling algorithm of the queues."},
          {"cos schedule algorithm 3 weights 1 2 3 4294967296",
           "40+10 '4294967296' is no number 0..4294967295. | "
           "WEIGHT: weight of a queue, for queues 0 to 3."},
          {"cos priority 8 queue 1", "14+1 '8' is no number 0..7. | PRIORITY: 802.1p priority."},
          {"cos mapping 1 queue 8", "21+1 '8' is no number 0..7. | QUEUE: egress queue."},
          {"time-range a 1 -2 on 3 4",
           "16+2 '-2' is no number 0..4294967295. | "
           "NUMBER: a number; the daemon gives it no meaning."},
          {"acl 01 type 0", "5+2 '01' has a leading zero. | Is '1' meant?"},
          {"acl 1 type 2", "12+1 '2' is no number 0..1. | TYPE: type of an access control list."},
          {"vlan 0", "6+1 '0' is no number 1..4094. | VLAN: VLAN id."},
          {"vlan 4095", "6+4 '4095' is no number 1..4094. | VLAN: VLAN id."},
      });
  expect_faults(
      "acl 1 type 0\n",
      {
          {"rule x deny",
           "6+1 'x' is no number 0..4294967295. | RULE: number of a rule; lower ones come first."},
      });
  expect_faults(
      "interface a\n",
      {
          {"cos-value +1",
           "11+2 '+1' is no number 0..4294967295. | VALUE: value kept for the interface."},
          {"remark acl 1 rule 1 dscp 64",
           "26+2 '64' is no number 0..63. | DSCP: differentiated services code point."},
          {"remark acl 1 rule 1 priority 8",
           "30+1 '8' is no number 0..7. | PRIORITY: 802.1p priority."},
          {"remark acl 1 rule 1 two-bit 4",
           "29+1 '4' is no number 0..3. | TWO-BIT: two-bit value."},
      });
}

TEST(StatementMatch, AStatementInTheWrongPlaceIsToldItsOwn) {
  const std::string below_acl = " begins no statement here. | It stands below an 'acl' line.";
  const std::string below_bindings =
      " begins no statement here. | It stands below an 'interface' or 'vlan' line.";
  EXPECT_EQ(faults_of("rule 1 deny"), Faults{"1:1+4 'rule'" + below_acl});
  EXPECT_EQ(faults_of("interface a\nrule 1 deny"), Faults{"2:1+4 'rule'" + below_acl});
  EXPECT_EQ(faults_of("acl 1 type 0\ncos flag on\nrule 1 deny"),
            Faults{"3:1+4 'rule'" + below_acl});
  EXPECT_EQ(faults_of("filter acl 1 rule 1"), Faults{"1:1+6 'filter'" + below_bindings});
  EXPECT_EQ(faults_of("remark acl 1 rule 1 dscp 1"), Faults{"1:1+6 'remark'" + below_bindings});
  EXPECT_EQ(faults_of("acl 1 type 0\ncos-value 1"), Faults{"2:1+9 'cos-value'" + below_bindings});
}

TEST(StatementMatch, AMisspeltFieldIsAskedFor) {
  expect_faults("acl 1 type 0\n",
                {
                    {"rule 1 deny srcip 10.0.0.0/8",
                     "13+5 'srcip' is no field of a rule. | Is 'src-ip' meant?"},
                    {"rule 1 deny vlan 3 dst-prt 8",
                     "20+7 'dst-prt' is no field of a rule. | Is 'dst-port' meant?"},
                    {"rule 1 deny descripton a",
                     "13+10 'descripton' is no field of a rule. | Is 'description' meant?"},
                    {"rule 1 deny colour red",
                     "13+6 'colour' is no field of a rule. | The fields are listed by 'policyctl "
                     "help fields'."},
                    {"rule 1 deny 37 a",
                     "13+2 '37' is no field number 0..36. | The fields are listed by 'policyctl "
                     "help fields'."},
                });
}

TEST(StatementMatch, AValueOfANamedFieldIsStrict) {
  expect_faults("acl 1 type 0\n",
                {
                    {"rule 1 deny src-ip 10.0.0.999/8",
                     "20+12 '10.0.0.999' is no IPv4 address. | "
                     "src-ip is written: ADDRESS/LENGTH, for example 10.1.0.0/16"},
                    {"rule 1 deny src-ip 10.0.0.1/8",
                     "20+10 host bits must be zero, written 10.0.0.0/8. | "
                     "src-ip is written: ADDRESS/LENGTH, for example 10.1.0.0/16"},
                    {"rule 1 deny dst-port 70000",
                     "22+5 '70000' is no number 0..65535. | "
                     "dst-port is written: LOW or LOW-HIGH, 0..65535, for example 443"},
                    {"rule 1 deny fragment \"\"",
                     "22+2 '' is none of no, any, first, not-first. | "
                     "fragment is written: no, any, first, not-first, for example not-first"},
                });
}

TEST(StatementMatch, AFieldByNumberTakesAnyText) {
  const ReadConfiguration read =
      read_configuration("acl 1 type 0\nrule 1 deny 36 \"\" 7 10.0.0.999 33 \"\\x00\\xff\"");
  EXPECT_EQ(shown_faults(read.faults), Faults{});
  RuleFields expected;
  expected.append(7, "10.0.0.999");
  expected.append(33, std::string_view("\0\xff", 2));
  expected.append(36, "");
  EXPECT_EQ(rule_of(*read.configuration.find(RULE, key_of(RuleKey{1, 1}))).fields, expected);
}

TEST(StatementMatch, AFieldIsGivenOnce) {
  expect_faults("acl 1 type 0\n", {
                                      {"rule 1 deny vlan 3 vlan 3",
                                       "20+4 the field 'vlan' is given twice. | "
                                       "A rule has each field once."},
                                      {"rule 1 deny src-ip 10.0.0.0/8 7 a",
                                       "31+1 the field '7' is given twice. | "
                                       "A rule has each field once."},
                                      {"rule 1 deny 7 a src-ip 10.0.0.0/8",
                                       "17+6 the field 'src-ip' is given twice. | "
                                       "A rule has each field once."},
                                  });
}

TEST(StatementMatch, AKeywordIsAValueWhereAValueStands) {
  const ReadConfiguration read =
      read_configuration("acl 1 type 0\nrule 1 deny time-range description description vlan");
  EXPECT_EQ(shown_faults(read.faults), Faults{});
  EXPECT_EQ(rule_of(*read.configuration.find(RULE, key_of(RuleKey{1, 1}))).description, "vlan");
}

TEST(StatementMatch, ALongWordIsCutInTheMessage) {
  const std::string message = faults_of("cos " + std::string(1000, 'x') + " 1")[0];
  EXPECT_TRUE(message.starts_with("1:5+1000 '" + std::string(60, 'x') + "...' is not expected"))
      << message;
}

TEST(StatementMatch, NumbersAreDecimalWithoutSignAndLeadingZeros) {
  EXPECT_EQ(decimal_number("0"), 0U);
  EXPECT_EQ(decimal_number("4294967295"), 4294967295U);
  for (const char* const text : {"", "00", "+1", "-1", " 1", "1 ", "0x1", "4294967296", "1e3"}) {
    EXPECT_EQ(decimal_number(text), std::nullopt) << text;
  }
}

}  // namespace
