// What policyctl says of a command line that is wrong, letter by letter.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/support/run_policyctl.h"

namespace {

struct Wrong {
  std::vector<std::string> words;
  std::string said;
};

void PrintTo(const Wrong& wrong, std::ostream* out) {
  for (const std::string& word : wrong.words) *out << word << ' ';
}

class WrongCommandLine : public testing::TestWithParam<Wrong> {};

TEST_P(WrongCommandLine, IsToldInOurWords) {
  const PolicyctlResult result = run_policyctl(GetParam().words);
  EXPECT_EQ(result.status, 64);
  EXPECT_EQ(result.err, "policyctl: " + GetParam().said);
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, WrongCommandLine,
    testing::Values(
        Wrong{{"--timeout", "abc", "show"},
              "--timeout: 'abc' is no number 0.001..86400.\n  See 'policyctl help show'.\n"},
        Wrong{{"--timeout", "nan", "show"},
              "--timeout: 'nan' is no number 0.001..86400.\n  See 'policyctl help show'.\n"},
        Wrong{{"watch", "--interval", "nan"},
              "--interval: 'nan' is no number 0.01..86400.\n  See 'policyctl help watch'.\n"},
        Wrong{{"watch", "--interval", "inf"},
              "--interval: 'inf' is no number 0.01..86400.\n  See 'policyctl help watch'.\n"},
        Wrong{{"watch", "--count", "0"},
              "--count: '0' is no number 1..4294967295.\n  See 'policyctl help watch'.\n"},
        Wrong{{"apply", "--confirm", "-1", "-"},
              "--confirm: '-1' is no number 1..86400.\n  See 'policyctl help apply'.\n"},
        Wrong{{"rollback", "x"},
              "N: 'x' is no number 1..4294967295.\n  See 'policyctl help rollback'.\n"},
        Wrong{{"dscp-queue", "64", "7"},
              "DSCP: '64' is no number 0..63.\n  See 'policyctl help dscp-queue'.\n"},
        Wrong{{"import", "classbench", "-", "--acl", "x"},
              "--acl: 'x' is no number 0..4294967295.\n  See 'policyctl help import'.\n"}));

INSTANTIATE_TEST_SUITE_P(
    Words, WrongCommandLine,
    testing::Values(Wrong{{}, "a command is missing.\n  See 'policyctl help'.\n"},
                    Wrong{{"-F"}, "-F needs HOST[:PORT].\n  See 'policyctl help'.\n"},
                    Wrong{{"show", "--timeout"},
                          "--timeout needs SECONDS.\n  See 'policyctl help show'.\n"},
                    Wrong{{"aply"}, "'aply' is not expected here.\n  Is 'apply' meant?\n"},
                    Wrong{{"apply"},
                          "'apply' needs FILE (a file of configuration, - for standard input).\n"
                          "  See 'policyctl help apply'.\n"},
                    Wrong{{"save"},
                          "'save' needs FILE (the file, - for standard output).\n"
                          "  See 'policyctl help save'.\n"},
                    Wrong{{"delete"},
                          "'delete' needs OBJECT (acl ACL, acl ACL rule RULE, time-range NAME).\n"
                          "  See 'policyctl help delete'.\n"},
                    Wrong{{"who-uses"},
                          "'who-uses' needs LIST (acl ACL, acl ACL rule RULE).\n"
                          "  See 'policyctl help who-uses'.\n"}));

INSTANTIATE_TEST_SUITE_P(
    Objects, WrongCommandLine,
    testing::Values(
        Wrong{{"show", "acl", "ten"},
              "'ten' is no number 0..4294967295.\n"
              "  ACL: number of an access control list.\n"},
        Wrong{{"show", "acl"}, "something is missing behind 'acl'.\n  Expected: ACL.\n"},
        Wrong{{"show", "vlan", "x"}, "'x' is no number 1..4094.\n  VLAN: VLAN id.\n"},
        Wrong{{"show", "vlan", "5000"}, "'5000' is no number 1..4094.\n  VLAN: VLAN id.\n"},
        Wrong{{"watch", "alc", "10"}, "'alc' is not expected here.\n  Is 'acl' meant?\n"},
        Wrong{{"delete", "acl", "10", "rule"},
              "something is missing behind 'rule'.\n  Expected: RULE.\n"},
        Wrong{{"who-uses", "time-range", "night"},
              "'time-range' is not expected here.\n  Expected: acl.\n"}));

TEST(CommandLine, ASideOfAComparisonThatIsMisspeltIsNoted) {
  const PolicyctlResult result = run_policyctl({"diff", "swich", "edge.conf"});
  EXPECT_EQ(result.status, 65);
  EXPECT_EQ(result.err, "policyctl: swich: No such file or directory.\n  Is 'switch' meant?\n");
}

TEST(CommandLine, HelpAloneListsEveryCommand) {
  const PolicyctlResult result = run_policyctl({"help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.out.find("Usage: policyctl ") != std::string::npos) << result.out;
  for (const std::string command : {"show", "apply", "rollback", "completion"}) {
    EXPECT_NE(result.out.find("\n  " + command + " "), std::string::npos) << result.out;
  }
}

TEST(CommandLine, HelpOnACommandCallsItAsItIsCalled) {
  const std::string usage = "Usage: policyctl apply [OPTIONS] FILE";
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"help", "apply"}, {"apply", "--help"}}) {
    EXPECT_NE(run_policyctl(words).out.find(usage), std::string::npos) << run_policyctl(words).out;
  }
}

TEST(CommandLine, TheManualHasTypesOfOptionsWhole) {
  const std::string page = run_policyctl({"manual"}).out;
  EXPECT_NE(page.find(".B \\-F HOST[:PORT]\n"), std::string::npos);
  EXPECT_NE(page.find(".B \\-\\-timeout SECONDS\n"), std::string::npos);
  EXPECT_NE(page.find(".SS delete OBJECT...\n"), std::string::npos);
}

}  // namespace
