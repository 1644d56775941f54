#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/support/temporary_folder.h"
#include "tests/unit/policyctl/whole_switch.h"
#include "tools/policyctl/change/checkpoints.h"
#include "tools/policyctl/change/journal.h"
#include "tools/policyctl/change/open_file.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

// What the kernel is asked to put on the disk, and whether it can.
struct Disk {
  bool is_broken = false;
  int folders_settled = 0;
};
Disk disk;

const SwitchPlace PLACE{"127.0.0.1", 19999};

template <typename Run>
std::string refused_with(Run run) {
  try {
    run();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), ExitStatus::REFUSED);
    return failure.what();
  }
  return "not refused";
}

Touched write_some_journal(const StateDirectory& directory);

class Keep : public testing::Test {
 protected:
  Keep() {
    disk = {};
    setenv("POLICYCTL_STATE_DIR", (folder + "/s").c_str(), 1);
  }
  ~Keep() override { unsetenv("POLICYCTL_STATE_DIR"); }

  [[nodiscard]] std::string path(const std::string& name) const {
    return folder + "/s/127.0.0.1_19999/" + name;
  }

  const TemporaryFolder own;
  const std::string folder = own.path();
};

TEST_F(Keep, ReplacesAFileForItsOwnerAlone) {
  const StateDirectory directory(PLACE);
  EXPECT_EQ(directory.read("x"), std::nullopt);
  directory.write("x", "old");
  directory.write("x", std::string("new\0!", 5));
  EXPECT_EQ(directory.read("x"), std::string("new\0!", 5));
  EXPECT_EQ(directory.list("x"), std::vector<std::string>{"x"});
  struct stat status {};
  ASSERT_EQ(stat(path("x").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  ASSERT_EQ(stat(path("").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(Keep, LeavesTheOldFileWhereTheNewOneCannotBeWritten) {
  const StateDirectory directory(PLACE);
  directory.write("x", "old");
  std::filesystem::create_directory(path("x.new"));
  EXPECT_THROW(directory.write("x", "new"), Failure);
  EXPECT_EQ(directory.read("x"), "old");
}

TEST_F(Keep, RemovesWhatIsThereOrNot) {
  const StateDirectory directory(PLACE);
  directory.write("x", "");
  directory.remove("x");
  directory.remove("x");
  EXPECT_EQ(directory.read("x"), std::nullopt);
}

TEST_F(Keep, HasOnTheDiskThatAFileIsThereOrGone) {
  const StateDirectory directory(PLACE);
  directory.write("x", "");
  EXPECT_EQ(disk.folders_settled, 1);
  directory.remove("x");
  EXPECT_EQ(disk.folders_settled, 2);
}

TEST_F(Keep, SaysWhenTheDiskDoesNotTakeThatAFileIsGone) {
  const StateDirectory directory(PLACE);
  directory.write("x", "");
  disk.is_broken = true;
  EXPECT_EQ(refused_with([&] { directory.remove("x"); }),
            "could not write " + directory.path() + ": Input/output error.");
}

TEST_F(Keep, SaysWhichFileCannotBeRead) {
  const StateDirectory directory(PLACE);
  std::filesystem::create_directories(path("x"));
  const std::string text = "could not read " + directory.path() + "/x: Is a directory.";
  EXPECT_EQ(refused_with([&] { (void)directory.read("x"); }), text);
  EXPECT_EQ(refused_with([&] { (void)directory.first_line("x"); }), text);
}

TEST_F(Keep, RefusesAPipeAtOnceAndFollowsNoLink) {
  const StateDirectory directory(PLACE);
  directory.write("x", "text");
  ASSERT_EQ(mkfifo(path("journal").c_str(), 0600), 0);
  EXPECT_EQ(refused_with([&] { (void)read_journal(directory); }),
            "could not read " + directory.path() + "/journal: it is no plain file.");
  std::filesystem::create_symlink(path("x"), path("link"));
  EXPECT_EQ(refused_with([&] { (void)directory.read("link"); }),
            "could not read " + directory.path() + "/link: Too many levels of symbolic links.");
}

TEST_F(Keep, LocksNoFileButAPlainOneOfItsOwn) {
  const StateDirectory directory(PLACE);
  directory.write("x", "text");
  ASSERT_EQ(mkfifo(path("lock").c_str(), 0600), 0);
  EXPECT_EQ(refused_with([&] { (void)directory.try_lock(); }),
            "could not lock " + directory.path() + "/lock: it is no plain file.");
  std::filesystem::remove(path("lock"));
  std::filesystem::create_symlink(path("x"), path("lock"));
  EXPECT_EQ(refused_with([&] { (void)directory.try_lock(); }),
            "could not open " + directory.path() + "/lock: Too many levels of symbolic links.");
  EXPECT_EQ(directory.read("x"), "text");
}

TEST_F(Keep, WritesIntoNothingThatLiesWhereADraftIsMade) {
  const StateDirectory directory(PLACE);
  directory.write("x", "old");
  ASSERT_EQ(mkfifo(path("x.new").c_str(), 0600), 0);
  const OpenFile reader(open(path("x.new").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  directory.write("x", "new");
  EXPECT_EQ(directory.read("x"), "new");
  std::filesystem::create_symlink(path("other"), path("x.new"));
  directory.write("x", "newer");
  EXPECT_EQ(directory.read("x"), "newer");
  EXPECT_FALSE(std::filesystem::exists(path("other")));
}

TEST_F(Keep, RefusesADirectoryThatOthersMayWriteTo) {
  const StateDirectory directory(PLACE);
  directory.write("x", "text");
  ASSERT_EQ(chmod(path("").c_str(), 0777), 0);
  const std::string text = "could not use " + directory.path() +
                           ": it is not a directory that is yours alone to write to.";
  EXPECT_EQ(refused_with([&] { (void)directory.read("x"); }), text);
  EXPECT_EQ(refused_with([&] { directory.write("x", "other"); }), text);
  EXPECT_EQ(refused_with([&] { (void)directory.try_lock(); }), text);
  ASSERT_EQ(chmod(path("").c_str(), 0700), 0);
  EXPECT_EQ(directory.read("x"), "text");
}

TEST_F(Keep, KnowsOfAChangeThatNobodyWatches) {
  const StateDirectory directory(PLACE);
  EXPECT_EQ(unwatched_change(directory), "");
  (void)write_some_journal(directory);
  EXPECT_EQ(unwatched_change(directory), "");
  confirm_journal_by(directory, 7);
  EXPECT_NE(unwatched_change(directory), "");
  const std::optional<ChangeLock> guard = hold_guard(directory);
  EXPECT_EQ(unwatched_change(directory), "");
}

TEST_F(Keep, ReadsTheFirstLineOfAFileThatHasOneOrNot) {
  const StateDirectory directory(PLACE);
  const std::string line(3000, 'x');
  for (const std::string& text : {line + "\nmore\n", line + "\n", line}) {
    directory.write("x", text);
    EXPECT_EQ(directory.first_line("x"), line);
  }
  EXPECT_EQ(directory.first_line("y"), std::nullopt);
}

TEST_F(Keep, LetsOneChangeASwitchAtATime) {
  const StateDirectory directory(PLACE);
  {
    const ChangeLock lock = directory.lock({}, "apply edge.conf");
    EXPECT_FALSE(directory.try_lock());
    EXPECT_TRUE(StateDirectory({"127.0.0.1", 20000}).try_lock());
  }
  EXPECT_TRUE(directory.try_lock());
}

// What a change says that finds the switch locked.
std::string says_locked(const StateDirectory& directory) {
  try {
    (void)directory.lock(std::chrono::milliseconds(1), "another");
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), ExitStatus::TIMED_OUT);
    return failure.message();
  }
  return "it was not held";
}

TEST_F(Keep, SaysWhoIsChangingTheSwitch) {
  const StateDirectory directory(PLACE);
  std::optional<ChangeLock> lock = directory.lock({}, "apply a rather\nlong name.conf");
  const std::string text = says_locked(directory);
  const std::string begin =
      "another policyctl is changing this switch and has not finished: process " +
      std::to_string(getpid()) + " of ";
  EXPECT_TRUE(text.starts_with(begin)) << text;
  EXPECT_NE(text.find(", since 2"), std::string::npos) << text;
  EXPECT_TRUE(text.ends_with(": apply a rather long name.conf. Nothing was changed.")) << text;
  lock->tell("undo");
  EXPECT_TRUE(says_locked(directory).ends_with(": undo. Nothing was changed."));
}

TEST_F(Keep, NamesNobodyWhoLetGoOfTheSwitch) {
  const StateDirectory directory(PLACE);
  { const ChangeLock lock = directory.lock({}, "apply edge.conf"); }
  const std::optional<ChangeLock> silent = directory.try_lock();
  EXPECT_EQ(says_locked(directory),
            "another policyctl is changing this switch and has not finished. Nothing was changed.");
}

TEST_F(Keep, KnowsASwitchByEachNameOfItsHost) {
  EXPECT_EQ(StateDirectory({"localhost", 19999}).path(), StateDirectory(PLACE).path());
  EXPECT_EQ(StateDirectory({"no such/host", 1}).path(), folder + "/s/no such_host_1");
}

TEST_F(Keep, MakesARelativeDirectoryOfOneLetter) {
  const std::filesystem::path here = std::filesystem::current_path();
  std::filesystem::current_path(folder);
  setenv("POLICYCTL_STATE_DIR", "r", 1);
  const StateDirectory directory(PLACE);
  std::filesystem::current_path(here);
  directory.write("x", "y");
  EXPECT_TRUE(std::filesystem::exists(folder + "/r/127.0.0.1_19999/x"));
}

TEST_F(Keep, NumbersCheckpointsFromTheNewestAndDropsTheOldest) {
  const StateDirectory directory(PLACE);
  for (std::uint32_t i = 1; i <= MOST_CHECKPOINTS + 5; ++i) {
    keep_checkpoint(directory,
                    whole_switch("cos schedule mode " + std::to_string(i % 5) + "\n").whole(),
                    "change " + std::to_string(i) + "\nof two, lines");
  }
  const std::vector<Checkpoint> checkpoints = list_checkpoints(directory);
  ASSERT_EQ(checkpoints.size(), MOST_CHECKPOINTS);
  EXPECT_EQ(checkpoints.front().why, "change 55 of two, lines");
  EXPECT_EQ(checkpoints.back().why, "change 6 of two, lines");
  EXPECT_NE(read_checkpoint(directory, 2).find("cos schedule mode 4\n"), std::string::npos);
  EXPECT_THROW((void)read_checkpoint(directory, 0), Failure);
  EXPECT_THROW((void)read_checkpoint(directory, MOST_CHECKPOINTS + 1), Failure);
}

TEST_F(Keep, CountsNoCheckpointThatSomebodyElseNamed) {
  const StateDirectory directory(PLACE);
  keep_checkpoint(directory, whole_switch("").whole(), "first");
  for (const char* const name :
       {"checkpoint-", "checkpoint-backup", "checkpoint-3", "checkpoint-00000000077",
        "checkpoint-0000000009x", "checkpoint-99999999999999999999"}) {
    directory.write(name, "# checkpoint of then, somebody's\n");
  }
  keep_checkpoint(directory, whole_switch("").whole(), "second");
  const std::vector<Checkpoint> checkpoints = list_checkpoints(directory);
  ASSERT_EQ(checkpoints.size(), 2U);
  EXPECT_EQ(checkpoints[0].why, "second");
  EXPECT_EQ(checkpoints[0].serial, 2U);
  EXPECT_EQ(checkpoints[1].why, "first");
}

TEST_F(Keep, SaysInACheckpointThatBindingsWereNotKnown) {
  const StateDirectory directory(PLACE);
  keep_checkpoint(directory, bare_switch(), "without managers");
  EXPECT_TRUE(lacks_bindings(read_checkpoint(directory, 1)));
  keep_checkpoint(directory, whole_switch("").whole(), "with them");
  EXPECT_FALSE(lacks_bindings(read_checkpoint(directory, 1)));
}

TEST_F(Keep, HasNoCheckpointOfAFileThatIsNone) {
  const StateDirectory directory(PLACE);
  directory.write("checkpoint-0000000001", "cos flag on\n");
  EXPECT_TRUE(list_checkpoints(directory).empty());
}

const Journal JOURNAL{"4711-1", "policy-00", "apply \"a b\".conf\n", 0, {}};

// From one configuration to another, written to the disk.
Touched write_some_journal(const StateDirectory& directory) {
  const SwitchConfiguration before =
      whole_switch("acl 10 type 0 description \"\\xff\"\n  rule 1 permit\n").whole();
  const Plan plan(before, whole_switch("cos flag on\nacl 20 type 1\n  rule 2 deny protocol 6\n"
                                       "vlan 100\n  filter acl 20 rule 2\n")
                              .whole());
  write_journal(directory, JOURNAL, plan);
  return touched_by(plan);
}

TEST_F(Keep, ReadsAJournalAsItWasWritten) {
  const StateDirectory directory(PLACE);
  EXPECT_FALSE(has_journal(directory));
  const Touched touched = write_some_journal(directory);
  confirm_journal_by(directory, 1234567890123);
  const std::optional<Journal> read = read_journal(directory);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->id, JOURNAL.id);
  EXPECT_EQ(read->policyd, JOURNAL.policyd);
  EXPECT_EQ(read->what, JOURNAL.what);
  EXPECT_EQ(read->confirm_by, 1234567890123);
  EXPECT_EQ(read->touched.before, touched.before);
  EXPECT_EQ(read->touched.after, touched.after);
  remove_journal(directory);
  EXPECT_FALSE(has_journal(directory));
}

TEST_F(Keep, TellsWhatBecameOfAChangeUntilTheNextBegins) {
  const StateDirectory directory(PLACE);
  EXPECT_EQ(undo_note(directory), "");
  keep_undo_note(directory, "It was undone.");
  EXPECT_EQ(undo_note(directory), "It was undone.");
  (void)write_some_journal(directory);
  EXPECT_EQ(undo_note(directory), "");
}

TEST_F(Keep, ADiskThatIsBrokenKeepsNoChangeFromBeingUndone) {
  const StateDirectory directory(PLACE);
  (void)write_some_journal(directory);
  confirm_journal_by(directory, 7);
  disk.is_broken = true;
  mark_journal_undone(directory);
  keep_undo_note(directory, "It was undone.");
  EXPECT_EQ(read_journal(directory)->confirm_by, 7);
}

TEST_F(Keep, RefusesAJournalThatEndsAnywhereElse) {
  const StateDirectory directory(PLACE);
  (void)write_some_journal(directory);
  const std::string whole = directory.read("journal").value_or("");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    // Not through write(), which waits for the disk.
    std::ofstream(path("journal"), std::ios::binary | std::ios::trunc) << whole.substr(0, size);
    try {
      (void)read_journal(directory);
      ADD_FAILURE() << "the first " << size << " bytes were read";
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.status(), ExitStatus::BAD_FILE);
    }
  }
}

}  // namespace

// The C library's own would need a disk that can be broken.
extern "C" int fsync(int fd) {
  if (disk.is_broken) {
    errno = EIO;
    return -1;
  }
  struct stat status {};
  if (fstat(fd, &status) == 0 && S_ISDIR(status.st_mode)) ++disk.folders_settled;
  return 0;
}
