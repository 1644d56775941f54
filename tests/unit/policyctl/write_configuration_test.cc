#include "tools/policyctl/language/write_configuration.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "common/match_fields.h"
#include "tests/support/typed_configuration.h"
#include "tests/unit/policyctl/faults_of.h"
#include "tests/unit/policyctl/random_configuration.h"
#include "tools/policyctl/language/read_configuration.h"

namespace {

// Everything the language has, as it is written.
constexpr std::string_view WHOLE = R"(cos flag on
cos schedule mode 1
cos schedule algorithm 2 weights 12 8 4 4294967295
cos priority 5 queue 5
cos mapping 0 queue 2
cos mapping 7 queue 7
time-range "late night" 23 5 off 1 2
time-range night 22 6 on 0 0
acl 10 type 0 description "edge in"
  rule 1 permit src-ip 10.0.0.0/8 dst-port 80 description "web"
  rule 2 deny
  rule 4294967295 permit 33 "reserved" 36 "\x00"
acl 11 type 1
interface eth-0/3/1
  cos-value 3
  filter acl 10 rule 2
  filter acl 10 rule 1
  remark acl 10 rule 1 dscp 46
interface "port 2"
  remark acl 10 rule 1 priority 7
vlan 100
  filter acl 10 rule 1
  remark acl 10 rule 1 two-bit 3
)";

TEST(WriteConfiguration, WhatWasReadIsWrittenAsItWas) {
  const ReadConfiguration read = read_configuration(WHOLE);
  EXPECT_EQ(shown_faults(read.faults), std::vector<std::string>{});
  EXPECT_EQ(write_configuration(read.configuration), WHOLE);
}

TEST(WriteConfiguration, NothingIsWrittenAsNothing) {
  EXPECT_EQ(write_configuration(Entries()), "");
}

TEST(WriteConfiguration, OrderAndSpacingOfTheFileDoNotMatter) {
  const ReadConfiguration read = read_configuration(
      "vlan 2\r\n filter   acl 1 rule 2\r\n\r\nacl 1 type 0 # the list\r\nrule 2 permit dst-port 9 "
      "src-port 8\nrule 1 deny\ncos flag off");
  EXPECT_EQ(shown_faults(read.faults), std::vector<std::string>{});
  EXPECT_EQ(write_configuration(read.configuration),
            "cos flag off\n"
            "acl 1 type 0\n"
            "  rule 1 deny\n"
            "  rule 2 permit src-port 8 dst-port 9\n"
            "vlan 2\n"
            "  filter acl 1 rule 2\n");
}

TEST(WriteConfiguration, RecordsWithNothingBoundAreLeftOut) {
  const ReadConfiguration read = read_configuration("interface a\n  cos-value 0\nvlan 7\n");
  EXPECT_EQ(shown_faults(read.faults), std::vector<std::string>{});
  EXPECT_EQ(write_configuration(read.configuration), "");
}

TEST(WriteConfiguration, AnEmptyDescriptionIsNone) {
  EXPECT_EQ(write_configuration(read_configuration("acl 1 type 0 description \"\"").configuration),
            "acl 1 type 0\n");
}

TEST(WriteConfiguration, AFieldIsNamedWhenItsValueIsOneOfItsOwn) {
  const auto field = [](std::uint32_t number, std::string_view value) {
    std::string line;
    append_field(line, number, value);
    return line;
  };
  EXPECT_EQ(field(7, "10.0.0.0/8"), "src-ip 10.0.0.0/8");
  EXPECT_EQ(field(7, "10.0.0.1/8"), R"(7 "10.0.0.1/8")");
  EXPECT_EQ(field(7, ""), R"(7 "")");
  EXPECT_EQ(field(33, "a"), R"(33 "a")");
  EXPECT_EQ(field(32, "late night"), R"(time-range "late night")");
}

TEST(WriteConfiguration, EachFieldOfTheTableComesBackByName) {
  for (const MatchField& field : match_fields()) {
    const std::string text = "acl 1 type 0\n  rule 1 permit " + std::string(field.name) + " " +
                             std::string(field.example) + "\n";
    const ReadConfiguration read = read_configuration(text);
    EXPECT_EQ(shown_faults(read.faults), std::vector<std::string>{});
    EXPECT_EQ(write_configuration(read.configuration), text);
  }
}

TEST(WriteConfiguration, AnyConfigurationComesBackByteForByte) {
  EXPECT_TRUE(rc::check([] {
    const Configuration configuration = any_configuration();
    const std::string text = write_configuration(configuration);
    const ReadConfiguration read = read_configuration(text);
    RC_ASSERT(shown_faults(read.faults) == std::vector<std::string>{});
    RC_ASSERT(write_configuration(read.configuration) == text);
    const Configuration back(read.configuration);
    RC_ASSERT(back.acls == configuration.acls);
    RC_ASSERT(back.cos == configuration.cos);
    RC_ASSERT(back.time_ranges == configuration.time_ranges);
  }));
}

TEST(WriteConfiguration, SingleStatementsAreTheLinesOfTheWhole) {
  const EntryKey vlan = key_of(20);
  const EntryKey bound = key_at(vlan, {1, 2});
  EXPECT_EQ(statement_text(ACL, key_of(3), acl_value(1, "a\nb")),
            R"(acl 3 type 1 description "a\nb")");
  EXPECT_EQ(statement_text(RULE, key_of(RuleKey{1, 4}), value_of(Rule{PERMIT, {}, "web"})),
            R"(rule 4 permit description "web")");
  EXPECT_EQ(statement_text(TIME_RANGE, key_of(std::string_view("n")),
                           value_of(TimeRange{1, 2, true, 3, 4})),
            "time-range n 1 2 on 3 4");
  EXPECT_EQ(statement_text(INTERFACE, key_of(std::string_view("a b"))), R"(interface "a b")");
  EXPECT_EQ(statement_text(VLAN, key_of(4094)), "vlan 4094");
  EXPECT_EQ(statement_text(FILTER, bound), "filter acl 1 rule 2");
  const auto remark = [&](RemarkKind kind, std::uint32_t value) {
    return statement_text(REMARK, bound, value_of(Remark{kind, value}));
  };
  EXPECT_EQ(remark(REMARK_DSCP, 63), "remark acl 1 rule 2 dscp 63");
  EXPECT_EQ(remark(REMARK_PRIORITY, 7), "remark acl 1 rule 2 priority 7");
  EXPECT_EQ(remark(REMARK_TWO_BIT, 3), "remark acl 1 rule 2 two-bit 3");
  EXPECT_EQ(statement_text(COS_VALUE, vlan, {9}), "cos-value 9");
  EXPECT_EQ(statement_text(COS_FLAG, {}, {0}), "cos flag off");
  EXPECT_EQ(statement_text(COS_SCHEDULE_MODE, {}, {4}), "cos schedule mode 4");
  EXPECT_EQ(statement_text(COS_SCHEDULE_ALGORITHM, {}, {3, 1, 2, 3, 4}),
            "cos schedule algorithm 3 weights 1 2 3 4");
  EXPECT_EQ(statement_text(COS_PRIORITY, key_of(1), {2}), "cos priority 1 queue 2");
  EXPECT_EQ(statement_text(COS_MAPPING, key_of(1), {2}), "cos mapping 1 queue 2");
}

}  // namespace
