#include "tools/policyctl/shell/shell_help.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/typed_configuration.h"
#include "tools/policyctl/shell/shell_forms.h"

namespace {

class HelpInTheShell : public testing::Test {
 protected:
  HelpInTheShell() {
    Configuration present;
    present.acls[10].description = "edge";
    present.acls[10].rules[1].action = PERMIT;
    present.acls[10].rules[22];
    present.acls[17];
    present.time_ranges["the night"] = {};
    present.interfaces["eth-0/1/1"];
    present.interfaces["eth-0/1/2"];
    present.interfaces["lag1"];
    present.vlans[20];
    candidate.start_from(present.whole());
  }

  std::string inserted(const std::string& before) { return help.complete(before).insert; }
  std::string listed(const std::string& before) { return help.complete(before).listing; }

  std::ostringstream out;
  Context context{{out, out}};
  Candidate candidate;
  ShellHelp help{context, candidate};
};

TEST_F(HelpInTheShell, CompletesKeywordsOfStatementsAndCommands) {
  EXPECT_EQ(inserted("com"), "");
  EXPECT_EQ(listed("com"), "  compare\n  commit\n");
  EXPECT_EQ(inserted("comm"), "it ");
  EXPECT_EQ(inserted("cos sch"), "edule ");
  EXPECT_EQ(inserted("cos flag of"), "f ");
  EXPECT_EQ(inserted("commit "), "confirm ");
}

TEST_F(HelpInTheShell, CompletesNamesOfWhatThereIs) {
  EXPECT_EQ(inserted("interface e"), "th-0/1/");
  EXPECT_EQ(listed("interface eth-0/1/"), "  eth-0/1/1\n  eth-0/1/2\n");
  EXPECT_EQ(inserted("delete interface l"), "ag1 ");
  EXPECT_EQ(listed("acl 1"), "  10  edge\n  17\n");
  EXPECT_EQ(inserted("delete acl 17"), " ");
  EXPECT_EQ(inserted("vlan "), "20 ");
  EXPECT_EQ(inserted("delete time-range "), "\"the night\" ");
  EXPECT_EQ(listed("who-uses acl 10 rule "), "  1\n  22\n");
}

TEST_F(HelpInTheShell, CompletesRulesOfTheOpenList) {
  candidate.open(ACL, key_of(10));
  EXPECT_EQ(listed("delete rule "), "  1\n  22\n");
  EXPECT_EQ(inserted("rule 22 de"), "ny ");
}

TEST_F(HelpInTheShell, CompletesMatchFieldsAndShowsHowTheirValuesLook) {
  candidate.open(ACL, key_of(10));
  EXPECT_EQ(inserted("rule 2 permit src-po"), "rt ");
  EXPECT_EQ(inserted("rule 2 permit src-ip "), "");
  EXPECT_EQ(listed("rule 2 permit src-ip "), "  10.1.0.0/16  for example; ADDRESS/LENGTH\n");
  EXPECT_EQ(inserted("rule 2 permit fragment not"), "-first ");
}

TEST_F(HelpInTheShell, OffersNothingInQuotesAndComments) {
  EXPECT_EQ(inserted("acl 1 type 0 description \"co"), "");
  EXPECT_EQ(listed("acl 1 type 0 description \"co"), "");
  EXPECT_EQ(help.explain("acl 1 type 0 description \"why"), "");
  EXPECT_EQ(help.explain("# why"), "");
  EXPECT_EQ(listed("# "), "");
}

TEST_F(HelpInTheShell, TellsWhatMayFollowWithItsHelp) {
  EXPECT_EQ(help.explain("cos mapping 1 queue "), "  QUEUE  0..7; egress queue\n");
  EXPECT_EQ(help.explain("cos flag "), "  SWITCH  off, on; off or on\n  off\n  on\n");
  EXPECT_EQ(help.explain("commit "),
            "  confirm  make the switch the candidate; with 'confirm' it undoes itself unless "
            "confirmed in time\n  Enter    the line may end here\n");
  EXPECT_EQ(help.explain("cos "),
            "  flag      the switch-wide class-of-service flag\n"
            "  schedule  mode, algorithm\n"
            "  priority  the queue of frames of a priority, kept by the daemon\n"
            "  mapping   the queue of frames of a priority, as the line cards are programmed\n");
}

TEST_F(HelpInTheShell, TellsWhatIsWrongWhenNothingMayFollow) {
  EXPECT_EQ(help.explain("cos flag maybe "), "  'maybe' is none of: off, on. SWITCH: off or on.\n");
  EXPECT_EQ(help.explain("delete acl x "),
            "  'x' is no number 0..4294967295. ACL: number of an access control list.\n");
}

TEST_F(HelpInTheShell, KnowsEveryStatementAndCommandAtTheBeginning) {
  const std::string all = help.explain("");
  for (const Statement& each : statements()) {
    if (each.context != &TOP_LEVEL) continue;
    EXPECT_NE(all.find("  " + std::string(each.elements[0].word)), std::string::npos);
  }
  for (const CommandForm& each : shell_forms().all()) {
    EXPECT_NE(all.find("  " + each.pattern.substr(0, each.pattern.find(' '))), std::string::npos);
  }
}

}  // namespace
