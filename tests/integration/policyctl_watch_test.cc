// policyctl watch beside real processes.
#include <algorithm>
#include <csignal>
#include <regex>
#include <sstream>

#include "tests/integration/real_daemon.h"
#include "tests/support/log_capture.h"
#include "tests/support/patience.h"

namespace {

class PolicyctlWatch : public RealDaemon {
 protected:
  void SetUp() override { start_all(); }

  // It sees what changes from the return on.
  std::unique_ptr<ChildProcess> watch(const std::vector<std::string>& what) {
    std::vector<std::string> argv{program("policyctl"), "-F",  plane.finder_address(), "watch",
                                  "--interval",         "0.01"};
    if (std::ranges::find(what, "--timeout") == what.end()) {
      argv.insert(argv.end(), {"--timeout", PATIENCE_S});
    }
    argv.insert(argv.end(), what.begin(), what.end());
    auto process = std::make_unique<ChildProcess>(std::move(argv));
    EXPECT_TRUE(process->wait_for_errors("policyctl: watching "));
    return process;
  }
  // The lines it printed, without their time.
  static Lines seen(ChildProcess& watch) {
    constexpr std::size_t TIME = 20;  // "2026-01-31 23:59:59 "
    Lines lines;
    std::istringstream text(watch.output());
    for (std::string line; std::getline(text, line);) lines.push_back(line.substr(TIME));
    return lines;
  }
};

TEST_F(PolicyctlWatch, PrintsEachChangeOfWhatItWatches) {
  const auto acls = watch({"acls"});
  hold({{"set_cos_flag?flag:bool=true", "100"}, {"create_acl?acl:u32=10&type:u32=0", "100"}});
  ASSERT_TRUE(acls->wait_for_output("\n"));
  hold({{"create_rule?acl:u32=10&rule:u32=1&action:u32=0&flags:list=:u32=11&values:list=:txt=17",
         "100"}});
  ASSERT_TRUE(acls->wait_for_output("\n", 2));
  hold({{"set_acl_description?acl:u32=10&description:txt=edge", "100"}});
  ASSERT_TRUE(acls->wait_for_output("\n", 3));
  hold({{"delete_rule?acl:u32=10&rule:u32=1", "100"}});
  ASSERT_TRUE(acls->wait_for_output("\n", 4));
  EXPECT_EQ(seen(*acls), (Lines{"+ acl 10 type 0", "+ rule 1 deny protocol 17 (acl 10 type 0)",
                                "~ acl 10 type 0 description \"edge\", was: acl 10 type 0",
                                "- rule 1 deny protocol 17 (acl 10 type 0 description \"edge\")"}));
}

TEST_F(PolicyctlWatch, WatchesWhatIsNotThereYet) {
  const auto rule = watch({"acl", "10", "rule", "2", "--count", "2"});
  hold({{"create_acl?acl:u32=10&type:u32=0", "100"},
        {"create_rule?acl:u32=10&rule:u32=1&action:u32=0&flags:list=&values:list=", "100"},
        {"create_rule?acl:u32=10&rule:u32=2&action:u32=1&flags:list=&values:list=", "100"}});
  EXPECT_EQ(rule->wait(), 0);
  EXPECT_EQ(seen(*rule), (Lines{"+ acl 10 type 0", "+ rule 2 permit (acl 10 type 0)"}));
}

TEST_F(PolicyctlWatch, EndsAtCtrlCWithoutComplaint) {
  const auto all = watch({});
  all->signal(SIGINT);
  EXPECT_EQ(all->wait(), 0);
}

TEST_F(PolicyctlWatch, SaysThatPolicydWasStartedAnewAndGoesOn) {
  hold({{"create_acl?acl:u32=10&type:u32=0", "100"}});
  const auto acls = watch({"acls"});
  kill_policyd();
  ASSERT_TRUE(
      acls->wait_for_errors(" policyctl: policyd is gone. Waiting for the switch to be back.\n"));
  plane.start_policyd();
  ASSERT_TRUE(acls->wait_for_errors(
      "policyctl: the switch is back; policyd was started anew and began from its defaults.\n"));
  ASSERT_TRUE(acls->wait_for_output("\n"));
  ASSERT_TRUE(until_answered("create_acl?acl:u32=11&type:u32=1", "100"));
  ASSERT_TRUE(acls->wait_for_output("\n", 2));
  EXPECT_EQ(seen(*acls), (Lines{"- acl 10 type 0", "+ acl 11 type 1"}));
}

TEST_F(PolicyctlWatch, SaysThatTheFinderIsLostAndGoesOn) {
  finder_may_be_lost = true;
  LogCapture log;  // the test's own client loses it, too
  const auto acls = watch({"acls"});
  ControlPlane::kill(plane.finder);
  ASSERT_TRUE(acls->wait_for_errors(" policyctl: the finder at " + plane.finder_address() +
                                    " is gone. Waiting for the switch to be back.\n"));
  plane.start_finder();
  ASSERT_TRUE(acls->wait_for_errors("policyctl: the switch is back; policyd is the same.\n"));
  ASSERT_TRUE(until_answered("create_acl?acl:u32=11&type:u32=1", "100"));
  ASSERT_TRUE(acls->wait_for_output("\n"));
  EXPECT_EQ(seen(*acls), (Lines{"+ acl 11 type 1"}));
}

TEST_F(PolicyctlWatch, SaysThatPolicydDoesNotAnswerAndGoesOn) {
  const auto acls = watch({"acls", "--timeout", "5"});
  plane.policyd->signal(SIGSTOP);
  ASSERT_TRUE(acls->wait_for_errors("Waiting for the switch to be back."));
  plane.policyd->signal(SIGCONT);
  ASSERT_TRUE(acls->wait_for_errors("policyctl: the switch is back; policyd is the same.\n"));
  hold({{"create_acl?acl:u32=11&type:u32=1", "100"}});
  ASSERT_TRUE(acls->wait_for_output("\n"));
  EXPECT_EQ(seen(*acls), (Lines{"+ acl 11 type 1"}));
}

TEST_F(PolicyctlWatch, StampsWhatItSaysAsItStampsChanges) {
  const auto all = watch({});
  kill_policyd();
  ASSERT_TRUE(all->wait_for_errors("Waiting for the switch to be back.\n"));
  std::istringstream text(all->errors());
  for (std::string line; std::getline(text, line);) {
    EXPECT_TRUE(
        std::regex_match(line, std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d policyctl: .*)")))
        << line;
  }
}

TEST_F(PolicyctlWatch, FailsWhenThereIsNoSwitchToBeginWith) {
  kill_policyd();
  ChildProcess process(
      {program("policyctl"), "-F", plane.finder_address(), "--timeout", PATIENCE_S, "watch"});
  EXPECT_EQ(process.wait(), 69);
}

}  // namespace
