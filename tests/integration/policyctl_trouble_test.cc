// policyctl when something does not answer, somebody else is at work, or the
// person changes their mind.
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "framework/base/event_loop.h"
#include "tests/integration/policyctl_fixture.h"
#include "tests/support/patience.h"

namespace {

constexpr const char* WAIT_LONGER =
    "  It is there but does not answer; wait longer with --timeout SECONDS.\n";
constexpr const char* UNDONE = "  Everything was undone; the switch is as it was.\n";

class Trouble : public PolicyctlFixture {
 protected:
  // With the journal of another machine, say: no lock is between the two.
  std::unique_ptr<ChildProcess> start_elsewhere(const std::vector<std::string>& arguments) {
    ChildProcess::Options options;
    options.argv = {program("policyctl"), "-F", plane.finder_address(), "--timeout", PATIENCE_S};
    options.argv.insert(options.argv.end(), arguments.begin(), arguments.end());
    options.environment = {{"POLICYCTL_STATE_DIR", folder + "/elsewhere"}};
    return std::make_unique<ChildProcess>(options);
  }
  Result impatiently(const std::string& timeout, const std::vector<std::string>& command) {
    std::vector<std::string> arguments{"--timeout", timeout};
    arguments.insert(arguments.end(), command.begin(), command.end());
    return policyctl(arguments);
  }
  std::string finder_name() { return plane.finder_address(); }
};

TEST_F(Trouble, ADeadFinderIsNotReachable) {
  ControlPlane::kill(plane.finder);
  const Result result = policyctl({"show"});
  EXPECT_EQ(result.status, 69);
  EXPECT_EQ(result.err, "policyctl: no finder listens at " + finder_name() +
                            ": connection refused.\n"
                            "  Start the finder, or name another with -F HOST[:PORT].\n");
}

TEST_F(Trouble, AFinderThatTurnsUsAwayIsToldFromOneThatIsNotThere) {
  ControlPlane::kill(plane.finder);
  const std::string secret = file("secret", "0123456789abcdef");
  ASSERT_EQ(chmod(secret.c_str(), 0600), 0);
  ChildProcess::Options options;
  options.argv = {program("finder"), "-p", std::to_string(plane.port())};
  options.environment = {{"XRL_COOKIE_FILE", secret}};
  ChildProcess finder(options);
  ASSERT_TRUE(finder.wait_for_output("\n"));
  const Result result = policyctl({"show"});
  EXPECT_EQ(result.status, 69);
  EXPECT_EQ(result.err,
            "policyctl: who listens at " + finder_name() +
                " does not let policyctl in: the connection was closed.\n"
                "  A finder does so with hosts that it does not serve (see its option --allow) and "
                "with who does not show its secret (see XRL_COOKIE_FILE). Or is that none? Name "
                "another with -F HOST[:PORT].\n");
  options.argv = {program("policyctl"), "-F", finder_name(), "show"};
  ChildProcess with_secret(options);
  EXPECT_EQ(with_secret.wait(), 69);
  EXPECT_TRUE(with_secret.errors().starts_with("policyctl: policyd is not running: the finder at "))
      << with_secret.errors();
}

TEST_F(Trouble, WithoutItsManagersASwitchShowsAndTakesWhatBindsNothing) {
  ControlPlane::kill(plane.chassis);
  const std::string lists = file("lists.conf", rules(10, 1, 2));
  // The finder takes a moment to see that they are gone.
  EXPECT_TRUE(plane.client().until([&] { return !policyctl({"show"}).err.empty(); }));
  EXPECT_EQ(policyctl({"plan", lists}).status, 2);
  const Result applied = policyctl({"apply", lists});
  EXPECT_EQ(applied.status, 0) << applied.err;
  EXPECT_EQ(applied.out, "The change is made. 3 added, 0 changed, 0 removed; 3 requests.\n");
  const Result all = policyctl({"show"});
  EXPECT_EQ(all.status, 0);
  EXPECT_NE(all.out.find(rules(10, 1, 2)), std::string::npos) << all.out;
  EXPECT_EQ(all.err,
            "policyctl: the interface manager 'sif' and the VLAN manager 'vlan' are not there. "
            "What is bound there is left out.\n");
  EXPECT_EQ(acls(), rules(10, 1, 2));
  const Result saved = policyctl({"save", folder + "/saved.conf"});
  EXPECT_EQ(saved.status, 0) << saved.err;
  EXPECT_EQ(policyctl({"plan", folder + "/saved.conf"}).out,
            "0 added, 0 changed, 0 removed; 0 requests.\n");
  const Result bound = policyctl({"apply", file("vlan.conf", "vlan 10\n  filter acl 10 rule 1\n")});
  EXPECT_EQ(bound.status, 69);
  EXPECT_EQ(policyctl({"delete", "acl", "10"}).status, 0);
  EXPECT_EQ(acls(), "");
}

TEST_F(Trouble, AFinderIsReachedByTheNameOfItsHost) {
  const std::string finder = "localhost:" + std::to_string(plane.port());
  EXPECT_EQ(policyctl({"-F", finder, "show"}).status, 0);
  ControlPlane::kill(plane.finder);
  EXPECT_EQ(policyctl({"-F", finder, "show"}).status, 69);
}

TEST_F(Trouble, AHostWithoutAddressIsNotReachable) {
  const Result result = policyctl({"-F", "no such host", "show"});
  EXPECT_EQ(result.status, 69);
  EXPECT_EQ(result.err,
            "policyctl: there is no host 'no such host'.\n"
            "  Name the finder's with -F HOST[:PORT].\n");
}

TEST_F(Trouble, AFileThatIsNoneIsNamed) {
  const Result result = policyctl({"check", folder});
  EXPECT_EQ(result.status, 65);
  EXPECT_EQ(result.err, "policyctl: " + folder + ": Is a directory.\n");
}

TEST_F(Trouble, AStandardInputThatCannotBeReadIsNoEmptyConfiguration) {
  become(rules(10, 1, 2));
  const std::string tool = "exec " + program("policyctl") + " -F " + plane.finder_address() + " ";
  for (const auto& [command, reason] : {std::pair("check - < /", "Is a directory"),
                                        {"plan - <&-", "Bad file descriptor"},
                                        {"apply --prune - < /", "Is a directory"},
                                        {"shell < /", "Is a directory"}}) {
    ChildProcess run({"/bin/sh", "-c", tool + command});
    EXPECT_EQ(run.wait(), 65) << command;
    EXPECT_EQ(run.errors(), std::string("policyctl: standard input: ") + reason + ".\n") << command;
  }
  EXPECT_EQ(acls(), rules(10, 1, 2));
}

TEST_F(Trouble, AFrozenFinderIsWaitedForUntilTheDeadline) {
  plane.finder->signal(SIGSTOP);
  const Result result = policyctl({"--timeout", "0.2", "show"});
  EXPECT_EQ(result.status, 75);
  EXPECT_EQ(result.err,
            "policyctl: no answer from the finder at " + finder_name() +
                " for 0.2 s, waiting to be let in.\n"
                "  Is that a finder, and does it run? Name another with -F HOST[:PORT], or wait "
                "longer with --timeout SECONDS.\n");
}

TEST_F(Trouble, AFinderThatOnlyListensIsWaitedForUntilTheDeadline) {
  EventLoop loop;
  NetAddress here;
  ASSERT_TRUE(NetAddress::parse("127.0.0.1:0", here));
  const int listener = loop.network().listen(here);
  ASSERT_GE(listener, 0);
  const std::string finder = loop.network().local_address(listener).str();
  const Result result = policyctl({"-F", finder, "--timeout", "0.2", "show"});
  EXPECT_EQ(result.status, 75);
  loop.network().close(listener);
}

TEST_F(Trouble, ADeadPolicydIsNotReachable) {
  ControlPlane::kill(plane.policyd);
  ASSERT_TRUE(plane.client().until([this] {
    return plane.client().ask("finder/finder/0.2/get_xrl_targets").find("policy") ==
           std::string::npos;
  }));
  const Result result = policyctl({"show"});
  EXPECT_EQ(result.status, 69);
  EXPECT_EQ(result.err, "policyctl: policyd is not running: the finder at " + finder_name() +
                            " knows no target 'policy'.\n"
                            "  Start policyd with -F " +
                            finder_name() + ".\n");
}

TEST_F(Trouble, AFrozenPolicydIsWaitedForUntilTheDeadline) {
  const std::string conf = file("a.conf", "cos flag on\n");
  plane.policyd->signal(SIGSTOP);
  for (const std::vector<std::string>& command : {std::vector<std::string>{"plan", conf},
                                                  {"save", "-"},
                                                  {"who-uses", "acl", "1"},
                                                  {"checkpoint"}}) {
    EXPECT_EQ(impatiently("0.2", command).status, 75) << command[0];
  }
  plane.policyd->signal(SIGCONT);
}

TEST_F(Trouble, ATimeoutNamesWhoIsSilentAndWhetherAnythingWasChanged) {
  struct Case {
    std::vector<std::string> command;
    std::string rest;
  };
  const std::string reading = "the configuration of the switch.";
  plane.policyd->signal(SIGSTOP);
  for (const Case& each :
       {Case{{"show"}, reading},
        Case{{"apply", file("a.conf", "cos flag on\n")}, reading + " Nothing was changed."},
        Case{{"delete", "acl", "1"}, reading + " Nothing was changed."},
        Case{{"dscp-queue", "1", "1"},
             "the queue of a DSCP to be set. Whether it was set is not known."}}) {
    Result result;
    EXPECT_TRUE(with_growing_patience([&](const std::string& patience_s) {
      result = impatiently(patience_s, each.command);
      return result.status == 75 && result.err == "policyctl: no answer from policyd for " +
                                                      patience_s + " s, waiting for " + each.rest +
                                                      "\n" + WAIT_LONGER;
    })) << each.command[0]
        << ": " << result.err;
  }
  plane.policyd->signal(SIGCONT);
}

TEST_F(Trouble, AFrozenChassisIsToldFromAFrozenPolicyd) {
  plane.chassis->signal(SIGSTOP);
  Result result;
  EXPECT_TRUE(with_growing_patience([&](const std::string& patience_s) {
    result = impatiently(patience_s, {"show"});
    return result.status == 75 &&
           result.err ==
               "policyctl: no answer from the interface manager 'sif' and the VLAN manager 'vlan' "
               "for " +
                   patience_s + " s, waiting for the configuration of the switch.\n" + WAIT_LONGER;
  })) << result.err;
  plane.chassis->signal(SIGCONT);
}

TEST_F(Trouble, AChangeThatReachesNobodySaysThatNothingWasChanged) {
  ControlPlane::kill(plane.finder);
  const std::string rest =
      ": connection refused. Nothing was changed.\n"
      "  Start the finder, or name another with -F HOST[:PORT].\n";
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"apply", file("a.conf", "cos flag on\n")},
        {"delete", "acl", "1"},
        {"dscp-queue", "1", "1"}}) {
    EXPECT_EQ(policyctl(command).err, "policyctl: no finder listens at " + finder_name() + rest);
  }
}

TEST_F(Trouble, ALostReplyIsReadBackAndUndone) {
  Result result;
  EXPECT_TRUE(with_growing_patience([&](const std::string& patience_s) {
    EXPECT_EQ(policyctl({"recover"}).status, 0);
    arm("ignore", 3);
    result = impatiently(patience_s, {"apply", file("a.conf", rules(10, 1, 5))});
    return result.status == 75 &&
           result.err == "policyctl: apply " + folder + "/a.conf: no answer from policyd for " +
                             patience_s + " s, waiting for the answer to a change.\n" + UNDONE;
  })) << result.err;
  EXPECT_EQ(acls(), "");
}

TEST_F(Trouble, AJournalThatIsGoneKeepsNoChangeFromBeingUndone) {
  std::string errors;
  EXPECT_TRUE(with_growing_patience([&](const std::string& patience_s) {
    become("");
    arm("ignore", 3);
    const auto tool =
        start_policyctl({"--timeout", patience_s, "apply", file("a.conf", rules(10, 1, 5))});
    const bool was_ignored =
        plane.client().until([&] { return changes() >= 3 || !tool->errors().empty(); });
    std::filesystem::remove_all(folder + "/state");
    const bool is_over = tool->wait() == 75;
    errors = tool->errors();
    return was_ignored && is_over && errors.ends_with(UNDONE);
  })) << errors;
  EXPECT_EQ(acls(), "");
}

TEST_F(Trouble, APolicydThatFreezesWithinAChangeLeavesItToRecover) {
  const std::string fifo = folder + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::string errors;
  EXPECT_TRUE(with_growing_patience([&](const std::string& patience_s) {
    const auto tool = start_policyctl({"--timeout", patience_s, "apply", fifo});
    std::ofstream feed(fifo);
    arm("freeze", 3);
    feed << rules(10, 1, 5) << std::flush;
    feed.close();
    EXPECT_EQ(tool->wait(), 75);
    plane.policyd->signal(SIGCONT);
    errors = tool->errors();
    return errors.find(
               "Whether any of the change is on the switch is not known.\n  Run "
               "'policyctl recover' to undo it once the switch answers.\n") != std::string::npos;
  })) << errors;
  const Result recovered = policyctl({"recover"});
  EXPECT_EQ(recovered.status, 0) << recovered.err;
  EXPECT_EQ(acls(), "");
}

TEST_F(Trouble, CtrlCUndoesAChange) {
  const std::string fifo = folder + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const auto tool = start_policyctl({"apply", fifo});
  std::ofstream feed(fifo);
  arm("interrupt_peer", 100, tool->pid());
  feed << rules(10, 1, 20000) << std::flush;
  feed.close();
  EXPECT_EQ(tool->wait(), 1);
  EXPECT_EQ(tool->errors(), "policyctl: apply " + fifo + ": interrupted.\n" + UNDONE);
  EXPECT_EQ(acls(), "");
}

TEST_F(Trouble, TwoAtOnceOnDifferentThingsBothSucceed) {
  for (int round = 0; round < 10; ++round) {
    const auto one = start_policyctl({"apply", file("a.conf", rules(10, 1, 200))});
    const auto two = start_policyctl({"apply", file("b.conf", rules(20, 1, 200))});
    EXPECT_EQ(one->wait(), 0) << one->errors();
    EXPECT_EQ(two->wait(), 0) << two->errors();
    EXPECT_EQ(acls(), rules(10, 1, 200) + rules(20, 1, 200));
    become("");
  }
}

TEST_F(Trouble, TwoAtOnceOnTheSameListWithoutALockLoseNothingUnseen) {
  for (int round = 0; round < 20; ++round) {
    const auto one = start_policyctl({"apply", file("a.conf", rules(10, 1, 100))});
    const auto two = start_elsewhere({"apply", file("b.conf", rules(10, 101, 200))});
    const int status_one = one->wait();
    const int status_two = two->wait();
    const std::string now = acls();
    const std::string what =
        "round " + std::to_string(round) + "\n" + one->errors() + two->errors();
    EXPECT_TRUE(status_one == 0 || status_two == 0) << what;
    if (status_one == 0 && status_two == 0) {
      EXPECT_EQ(now, rules(10, 1, 200)) << what;
    } else {
      EXPECT_EQ(now, status_one == 0 ? rules(10, 1, 100) : rules(10, 101, 200)) << what;
    }
    become("");
  }
}

TEST_F(Trouble, TwoAtOnceOnDifferentPrioritiesWithoutALockBothSucceed) {
  const std::string defaults = shown();
  for (int round = 0; round < 10; ++round) {
    const std::string lines_of_one = "cos priority 1 queue 7\ncos mapping 1 queue 7\n";
    const std::string lines_of_two = "cos priority 2 queue 6\ncos mapping 2 queue 6\n";
    const auto one = start_policyctl({"apply", file("a.conf", lines_of_one)});
    const auto two = start_elsewhere({"apply", file("b.conf", lines_of_two)});
    EXPECT_EQ(one->wait(), 0) << one->errors();
    EXPECT_EQ(two->wait(), 0) << two->errors();
    const Result all = policyctl({"plan", file("c.conf", lines_of_one + lines_of_two)});
    EXPECT_EQ(all.status, 0) << all.out;
    become(defaults);
  }
}

}  // namespace
