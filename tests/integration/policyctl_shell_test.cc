// policyctl's shell as scripts use it.
#include "tests/integration/policyctl_fixture.h"
#include "tests/support/patience.h"

namespace {

class ShellScript : public PolicyctlFixture {
 protected:
  // What it prints, without what goes wrong.
  std::string run(const std::string& lines) {
    ChildProcess shell({"/bin/sh", "-c",
                        "exec " + program("policyctl") + " -F " + plane.finder_address() +
                            " --timeout " + PATIENCE_S + " shell < " + file("script", lines)});
    EXPECT_EQ(shell.wait(), 0) << shell.errors();
    return shell.output();
  }
};

TEST_F(ShellScript, ShowsOfTheCandidateWhatItIsAskedFor) {
  const std::string edits =
      "cos flag on\ntime-range night 22 6 on 0 0\nacl 10 type 0\nrule 1 deny vlan 7\nexit\n"
      "interface eth-0/1/1\ncos-value 3\nexit\nvlan 10\nfilter acl 10 rule 1\nexit\n";
  const auto shows = [&](const std::string& what) {
    return run(edits + "show " + what + "\nrollback\n");
  };
  const std::string back = "The candidate is what the switch is.\n";
  EXPECT_EQ(shows("acls"), "acl 10 type 0\n  rule 1 deny vlan 7\n" + back);
  EXPECT_EQ(shows("time-ranges"), "time-range night 22 6 on 0 0\n" + back);
  EXPECT_EQ(shows("interface eth-0/1/1"), "interface eth-0/1/1\n  cos-value 3\n" + back);
  EXPECT_EQ(shows("vlan 10"), "vlan 10\n  filter acl 10 rule 1\n" + back);
  EXPECT_TRUE(shows("cos").starts_with("cos flag on\ncos schedule "));
}

}  // namespace
