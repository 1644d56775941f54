// Changes that undo themselves unless they are confirmed.
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/integration/policyctl_fixture.h"
#include "tools/policyctl/change/journal.h"

namespace {

class Confirmation : public PolicyctlFixture {
 protected:
  // A change that nobody undoes for an hour.
  void apply_to_confirm(const std::string& text) {
    const auto applied = start_policyctl({"apply", "--confirm", "3600", file("a.conf", text)});
    ASSERT_EQ(applied->wait(), 0) << applied->errors();
  }
  [[nodiscard]] StateDirectory directory() const {
    return StateDirectory({plane.host(), plane.port()});
  }
  // Left behind by the process that made the change, it is a child of this one.
  static void kill_guard() {
    std::ifstream children("/proc/self/task/" + std::to_string(getpid()) + "/children");
    for (int child = 0; children >> child;) {
      std::ifstream in("/proc/" + std::to_string(child) + "/cmdline", std::ios::binary);
      const std::string words{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
      const bool is_guard = words.find(std::string("\0guard\0", 7)) != std::string::npos;
      if (!is_guard) continue;
      ASSERT_EQ(kill(child, SIGKILL), 0);
      return;
    }
    FAIL() << "there is no guard";
  }
  // What `status` says of changes.
  std::string standing() {
    const Result status = policyctl({"status"});
    EXPECT_EQ(status.status, 0);
    EXPECT_TRUE(status.out.starts_with("policyd runs as policy-")) << status.out;
    return status.out.substr(status.out.find("; ") + 2);
  }
  [[nodiscard]] std::string the_change() const {
    return "the change 'apply " + folder + "/a.conf'";
  }
};

TEST_F(Confirmation, AChangeThatIsNotConfirmedUndoesItself) {
  const auto applied =
      start_policyctl({"apply", "--confirm", "1", file("a.conf", rules(10, 1, 5))});
  EXPECT_EQ(applied->wait(), 0) << applied->errors();
  EXPECT_NE(
      applied->output().find("It is undone within 1 s, unless 'policyctl confirm' comes before.\n"),
      std::string::npos);
  EXPECT_TRUE(plane.client().until([this] { return acls().empty(); }));
}

TEST_F(Confirmation, OneThatComesAfterTheChangeUndidItselfTellsHowThatEnded) {
  const auto applied =
      start_policyctl({"apply", "--confirm", "1", file("a.conf", rules(10, 1, 5))});
  ASSERT_EQ(applied->wait(), 0) << applied->errors();
  EXPECT_TRUE(plane.client().until([this] { return acls().empty(); }));
  const Result late = policyctl({"confirm"});
  EXPECT_EQ(late.status, 1);
  const std::string begin =
      "policyctl: no change waits for its confirmation.\n"
      "  The change 'apply " +
      folder + "/a.conf' was not confirmed in time. ";
  EXPECT_TRUE(late.err.starts_with(begin)) << late.err;
  EXPECT_TRUE(late.err.ends_with(": Everything was undone; the switch is as it was.\n"))
      << late.err;
}

TEST_F(Confirmation, NothingElseIsChangedBeforeTheConfirmation) {
  const auto applied =
      start_policyctl({"apply", "--confirm", "3600", file("a.conf", rules(10, 1, 2))});
  ASSERT_EQ(applied->wait(), 0);
  const Result meanwhile = policyctl({"apply", file("b.conf", rules(20, 1, 2))});
  EXPECT_EQ(meanwhile.status, 1);
  EXPECT_EQ(meanwhile.err, "policyctl: the change 'apply " + folder +
                               "/a.conf' waits for its confirmation. Nothing was changed.\n"
                               "  Keep it with 'policyctl confirm', or undo it with 'policyctl "
                               "recover'.\n");
  EXPECT_EQ(policyctl({"recover"}).out, "Everything was undone; the switch is as it was.\n");
  EXPECT_EQ(acls(), "");
}

TEST_F(Confirmation, AConfirmedChangeStays) {
  const auto applied =
      start_policyctl({"apply", "--confirm", "3600", file("a.conf", rules(10, 1, 2))});
  ASSERT_EQ(applied->wait(), 0);
  const Result confirmed = policyctl({"confirm"});
  EXPECT_EQ(confirmed.status, 0);
  EXPECT_EQ(confirmed.out, "The change 'apply " + folder + "/a.conf' is kept.\n");
  EXPECT_EQ(acls(), rules(10, 1, 2));
  EXPECT_EQ(policyctl({"recover"}).out, "There is nothing to recover.\n");
}

TEST_F(Confirmation, AChangeThatWaitsForItsConfirmationOutlivesAKilledPolicyctl) {
  const std::string fifo = folder + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const auto tool = start_policyctl({"apply", "--confirm", "1", fifo});
  std::ofstream feed(fifo);
  arm("kill_peer", 4, tool->pid());
  feed << rules(10, 1, 9) << std::flush;
  feed.close();
  EXPECT_EQ(tool->wait(), 128 + SIGKILL);
  EXPECT_TRUE(plane.client().until([this] { return acls().empty(); }));
}

TEST_F(Confirmation, IsNotWaitedForInAFolderThatIsGone) {
  EXPECT_EQ(policyctl({"guard", "4711-1", "9999999999999"}).status, 0);
  EXPECT_FALSE(std::filesystem::exists(folder + "/state"));
}

TEST_F(Confirmation, AGuardThatIsGoneIsToldOf) {
  apply_to_confirm(rules(10, 1, 2));
  ASSERT_TRUE(plane.client().until([&] { return !hold_guard(directory()); }));
  const Result watched = policyctl({"show"});
  EXPECT_EQ(watched.status, 0);
  EXPECT_EQ(watched.err, "");
  EXPECT_EQ(standing(),
            the_change() +
                " waits for its confirmation.\n"
                "Keep it with 'policyctl confirm', or undo it with 'policyctl recover'.\n");
  // The one process of the change, as a kernel short of memory ends it.
  kill_guard();
  ASSERT_TRUE(plane.client().until([&] { return hold_guard(directory()).has_value(); }));
  const Result shown_then = policyctl({"show"});
  EXPECT_EQ(shown_then.status, 0);
  EXPECT_EQ(shown_then.err, "policyctl: " + the_change() +
                                " waits for its confirmation, and what was to undo it is gone: it "
                                "stays until somebody confirms or recovers it.\n");
  EXPECT_EQ(standing(),
            the_change() +
                " waits for its confirmation, and what was to undo it is gone: it stays "
                "until somebody confirms or recovers it.\n"
                "Keep it with 'policyctl confirm', or undo it with 'policyctl recover'.\n");
  EXPECT_EQ(policyctl({"confirm"}).status, 0);
  EXPECT_EQ(policyctl({"show"}).err, "");
  EXPECT_EQ(standing(), "no change waits for its confirmation or was left unfinished.\n");
}

// Its process was killed, say.
TEST_F(Confirmation, KeepsAChangeThatNobodyUndidInTime) {
  apply_to_confirm(rules(10, 1, 2));
  confirm_journal_by(directory(), 1);
  const Result another = policyctl({"apply", file("b.conf", "cos flag on\n")});
  EXPECT_EQ(another.status, 1);
  EXPECT_EQ(another.err,
            "policyctl: " + the_change() +
                " was not confirmed in time and is not undone yet. Nothing was changed.\n"
                "  Undo it with 'policyctl recover', or keep it with 'policyctl confirm'.\n");
  EXPECT_EQ(policyctl({"confirm"}).status, 0);
  EXPECT_EQ(acls(), rules(10, 1, 2));
}

TEST_F(Confirmation, DoesNotKeepAChangeOfWhichSomethingMayBeUndone) {
  apply_to_confirm(rules(10, 1, 2));
  EXPECT_TRUE(with_growing_patience([&](const std::string& patience_s) {
    arm("freeze", 1);
    EXPECT_EQ(policyctl({"--timeout", patience_s, "recover"}).status, 75);
    plane.policyd->signal(SIGCONT);
    return read_journal(directory())->confirm_by == 0;
  }));
  const Result kept = policyctl({"confirm"});
  EXPECT_EQ(kept.status, 1);
  EXPECT_EQ(kept.err, "policyctl: " + the_change() +
                          " was not finished, or is undone in part, and cannot be kept.\n"
                          "  Undo it with 'policyctl recover'.\n");
}

TEST_F(Confirmation, DoesNotKeepWhatWentWithItsPolicyd) {
  apply_to_confirm("cos flag on\n");
  ControlPlane::kill(plane.policyd);
  ASSERT_TRUE(plane.client().until([this] {
    return plane.client().ask("finder/finder/0.2/get_xrl_targets").find("policy") ==
           std::string::npos;
  }));
  const Result without = policyctl({"confirm"});
  EXPECT_EQ(without.status, 69);
  EXPECT_TRUE(without.err.starts_with("policyctl: policyd is not running: ")) << without.err;
  start_policyd();
  const Result anew = policyctl({"confirm"});
  EXPECT_EQ(anew.status, 1);
  EXPECT_EQ(anew.err,
            "policyctl: confirm: " + the_change() +
                " cannot be kept.\n"
                "  policyd was started anew meanwhile and began from its defaults: nothing "
                "of the change is left, nor of what was before.\n"
                "  Apply a saved configuration, or go back with 'policyctl rollback'.\n");
  EXPECT_EQ(policyctl({"recover"}).out, "There is nothing to recover.\n");
}

TEST_F(Confirmation, IsAskedForAlsoWhenTheLineCardsDoNotConfirmTheMapping) {
  for (const char* const slot : {"0", "1", "2"}) {
    ASSERT_EQ(plane.client().ask(std::string("chassis/chassis/0.1/set_line_card_fault?slot:u32=") +
                                 slot + "&fault:txt=refuse"),
              "100");
  }
  const std::string not_confirmed =
      "policyctl: apply " + folder +
      "/a.conf: the mapping did not read back in time.\n"
      "  The change is made, but the line cards have not confirmed the mapping: priority "
      "3 reads back as queue 3, not 6.\n"
      "  It is undone within 3600 s, unless 'policyctl confirm' comes before. See the log "
      "of policyd, and 'policyctl show cos' later.\n";
  std::string errors;
  EXPECT_TRUE(with_growing_patience([&](const std::string& patience_s) {
    EXPECT_EQ(policyctl({"recover"}).status, 0);
    const auto applied = start_policyctl({"--timeout", patience_s, "apply", "--confirm", "3600",
                                          file("a.conf", "cos mapping 3 queue 6\n")});
    EXPECT_EQ(applied->wait(), 75);
    errors = applied->errors();
    return errors == not_confirmed;
  })) << errors;
  EXPECT_EQ(policyctl({"confirm"}).status, 0);
}

}  // namespace
