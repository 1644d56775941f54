#include "tools/policyctl/language/read_configuration.h"
#include "tools/policyctl/entries/scopes.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "tests/unit/policyctl/faults_of.h"
#include "tests/unit/policyctl/random_configuration.h"

namespace {

using Faults = std::vector<std::string>;

TEST(ReadConfiguration, WhatIsSaidTwiceIsAFault) {
  EXPECT_EQ(faults_of("cos flag on\ncos flag on\n"),
            Faults{"2:10+2 this was said above already. | Say it once."});
  EXPECT_EQ(faults_of("cos schedule mode 1\ncos schedule mode 2\n"),
            Faults{"2:19+1 this was said above already. | Say it once."});
  EXPECT_EQ(faults_of("cos schedule algorithm 1 weights 1 2 3 4\n"
                      "cos schedule algorithm 1 weights 1 2 3 4\n"),
            Faults{"2:24+1 this was said above already. | Say it once."});
  EXPECT_EQ(faults_of("cos priority 1 queue 1\ncos priority 1 queue 2\n"),
            Faults{"2:14+1 the queue of this priority was said above already. | Say it once."});
  EXPECT_EQ(faults_of("cos mapping 1 queue 1\ncos mapping 1 queue 1\n"),
            Faults{"2:13+1 the queue of this priority was said above already. | Say it once."});
  EXPECT_EQ(faults_of("time-range a 1 2 on 3 4\ntime-range \"a\" 1 2 on 3 5\n"),
            Faults{"2:12+3 a time range of this name stands above already. | Say it once."});
  EXPECT_EQ(faults_of("acl 1 type 0\nacl 1 type 0\n"),
            Faults{"2:5+1 this access control list stands above already. | Move its rules there."});
  EXPECT_EQ(faults_of("acl 1 type 0\nrule 5 deny\nrule 4 deny\nrule 5 permit\n"),
            Faults{"4:6+1 this rule stands above already. | Say it once."});
  EXPECT_EQ(faults_of("interface a\ncos-value 0\nvlan 1\ninterface a\ncos-value 1\n"),
            Faults{"5:11+1 this was said above already. | Say it once."});
  EXPECT_EQ(faults_of("vlan 1\nfilter acl 1 rule 2\nvlan 2\nfilter acl 1 rule 2\nvlan 1\n"
                      "filter acl 1 rule 2\n"),
            Faults{"6:19+1 this rule is bound here already. | Say it once."});
  EXPECT_EQ(faults_of("vlan 1\nremark acl 1 rule 2 dscp 3\nremark acl 1 rule 2 priority 3\n"),
            Faults{"3:19+1 this rule has a remark here already. | "
                   "A rule has one remark for each interface or VLAN."});
}

TEST(ReadConfiguration, AVlanHasNoClassOfServiceValue) {
  EXPECT_EQ(faults_of("vlan 1\ncos-value 1\n"),
            Faults{"2:11+1 a VLAN has no class-of-service value. | "
                   "It stands below an 'interface' line."});
}

TEST(ReadConfiguration, AByteOrderMarkIsNamed) {
  EXPECT_EQ(faults_of("\xef\xbb\xbf"
                      "cos flag on\n"),
            Faults{"1:1+3 the text begins with a byte order mark. | "
                   "Save it as UTF-8 without one."});
}

TEST(ReadConfiguration, AnInterfaceHasAName) {
  EXPECT_EQ(faults_of("interface \"\"\n"), Faults{"1:11+2 an interface has a name."});
}

TEST(ReadConfiguration, ARemarkOfARuleThatDeniesIsAFault) {
  EXPECT_EQ(faults_of("vlan 1\nremark acl 1 rule 2 dscp 3\nacl 1 type 0\nrule 2 deny\n"),
            Faults{"2:19+1 acl 1 rule 2 denies; only packets of a permit rule can be remarked. | "
                   "Make it a permit rule, or leave this out."});
}

TEST(ReadConfiguration, ABindingOfARuleThatIsNowhereIsAFaultOfTheWholeSwitch) {
  const ReadConfiguration read = read_configuration("vlan 1\nfilter acl 1 rule 2\n");
  EXPECT_EQ(shown_faults(read.faults), Faults{});
  EXPECT_EQ(shown_faults(use_faults(read.places, read.configuration, true)),
            Faults{"2:19+1 there is no acl 1 rule 2, neither here nor on the switch. | "
                   "Add the rule, or leave this out."});
  Configuration whole(read.configuration);
  whole.acls[1].rules[2] = {};
  EXPECT_EQ(shown_faults(use_faults(read.places, whole.entries(), true)), Faults{});
}

TEST(ReadConfiguration, AllFaultsOfAFileAreFoundInOnePassInOrder) {
  EXPECT_EQ(faults_of("cos flga on\n"
                      "vlan 1\n"
                      "  remark acl 1 rule 1 dscp 1\n"
                      "acl 1 type 0 description \"open\n"
                      "acl 2 type 0\n"
                      "  rule 1 permit srcip 10.0.0.0/8\n"
                      "  rule 2 permit src-ip 10.0.0.0/33\n"
                      "acl 1 type 0\n"
                      "  rule 1 deny\n"),
            (Faults{"1:5+4 'flga' is not expected here. | Is 'flag' meant?",
                    "3:21+1 acl 1 rule 1 denies; only packets of a permit rule can be remarked. | "
                    "Make it a permit rule, or leave this out.",
                    "4:26+5 the closing quote is missing.",
                    "6:17+5 'srcip' is no field of a rule. | Is 'src-ip' meant?",
                    "7:24+11 '33' is no prefix length 0..32. | "
                    "src-ip is written: ADDRESS/LENGTH, for example 10.1.0.0/16"}));
}

TEST(ReadConfiguration, LinesBelowABadLineAreNotCalledWrongForIt) {
  EXPECT_EQ(faults_of("acl 1 tpye 0\n  rule 1 deny\n  rule 1 deny\n"),
            (Faults{"1:7+4 'tpye' is not expected here. | Is 'type' meant?",
                    "3:8+1 this rule stands above already. | Say it once."}));
  EXPECT_EQ(faults_of("alc 1 type 0\n  rule 1 deny\n"),
            Faults{"1:1+3 'alc' begins no statement here. | Is 'acl' meant?"});
  EXPECT_EQ(faults_of("interfaces a\n  cos-value 1\n  filter acl 1 rule 1\n"),
            Faults{"1:1+10 'interfaces' begins no statement here. | Is 'interface' meant?"});
  EXPECT_EQ(
      faults_of("acl 1 type 0\n  rule 1 deny\nacl x type 0\n  rule 1 deny\n"),
      Faults{"3:5+1 'x' is no number 0..4294967295. | ACL: number of an access control list."});
  EXPECT_EQ(faults_of("acl 1 type 0\n  rul 1 deny\n  rule 2 deny\n"),
            Faults{"2:3+3 'rul' begins no statement here. | Is 'rule' meant?"});
}

TEST(ReadConfiguration, AtAPromptARefusedLineOpensNothing) {
  ReadConfiguration read;
  ConfigurationReader reader(read);
  reader.read_line("acl 1 tpye 0", 1);
  EXPECT_EQ(read.faults.size(), 1U);
  EXPECT_EQ(reader.context(), &TOP_LEVEL);
  reader.read_line("acl 1 type 0", 2);
  EXPECT_EQ(reader.context(), &IN_A_LIST);
  EXPECT_EQ(read.faults.size(), 1U);
}

TEST(ReadConfiguration, NamesTheRecordsThatHaveToExistWhereTheyStand) {
  const ReadConfiguration read = read_configuration("interface a\n vlan 17\n");
  ASSERT_EQ(read.places.size(), 2U);
  EXPECT_EQ(read.places[0].kind, &INTERFACE);
  EXPECT_EQ(read.places[0].key, key_of(std::string_view("a")));
  EXPECT_EQ(std::pair(read.places[0].line, read.places[0].column), std::pair(1U, 11U));
  EXPECT_EQ(read.places[1].kind, &VLAN);
  EXPECT_EQ(read.places[1].key, key_of(17));
  EXPECT_EQ(std::pair(read.places[1].line, read.places[1].column), std::pair(2U, 7U));
}

TEST(ReadConfiguration, FiltersKeepTheOrderInWhichTheyAreWritten) {
  const ReadConfiguration read = read_configuration(
      "interface a\nfilter acl 2 rule 1\nfilter acl 1 rule 9\ninterface a\nfilter acl 1 rule 3\n");
  EXPECT_EQ(shown_faults(read.faults), Faults{});
  EXPECT_EQ(Configuration(read.configuration).interfaces.at("a").filters,
            (std::vector<RuleKey>{{2, 1}, {1, 9}, {1, 3}}));
}

TEST(ReadConfiguration, ADamagedTextIsReadOrRefusedWithinItsBounds) {
  EXPECT_TRUE(rc::check([] {
    std::string text =
        "acl 10 type 0 description \"a\"\n  rule 1 permit src-ip 10.0.0.0/8\n"
        "interface eth-0/3/1\n  remark acl 10 rule 1 dscp 46\n";
    for (int damage = *rc::gen::inRange(1, 4); damage > 0; --damage) {
      const auto at = *rc::gen::inRange<std::size_t>(0, text.size());
      text.replace(at, *rc::gen::inRange<std::size_t>(0, 9), *gen_text());
    }
    for (const Fault& fault : read_configuration(text).faults) {
      RC_ASSERT(fault.line >= 1 && fault.column >= 1 && fault.length >= 1);
      RC_ASSERT(!fault.message.empty());
    }
  }));
}

}  // namespace
