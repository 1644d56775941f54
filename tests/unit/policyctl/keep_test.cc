#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/support/temporary_folder.h"
#include "tests/unit/policyctl/whole_switch.h"
#include "tools/policyctl/keep/checkpoints.h"
#include "tools/policyctl/keep/journal.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

const SwitchPlace PLACE{"127.0.0.1", 19999};

class Keep : public testing::Test {
 protected:
  Keep() { setenv("POLICYCTL_STATE_DIR", (folder + "/s").c_str(), 1); }
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

TEST_F(Keep, LetsOneChangeASwitchAtATime) {
  const StateDirectory directory(PLACE);
  {
    const ChangeLock lock = directory.lock({});
    EXPECT_FALSE(directory.try_lock());
    EXPECT_TRUE(StateDirectory({"127.0.0.1", 20000}).try_lock());
    try {
      (void)directory.lock(std::chrono::milliseconds(1));
      FAIL() << "it was held";
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.status(), ExitStatus::TIMED_OUT);
    }
  }
  EXPECT_TRUE(directory.try_lock());
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
    keep_checkpoint(directory, whole_switch("cos schedule mode " + std::to_string(i % 5) + "\n"),
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

TEST_F(Keep, HasNoCheckpointOfAFileThatIsNone) {
  const StateDirectory directory(PLACE);
  directory.write("checkpoint-0000000001", "cos flag on\n");
  EXPECT_TRUE(list_checkpoints(directory).empty());
}

const Journal JOURNAL{"4711-1", "policy-00", "apply \"a b\".conf\n", 0, {}};

// From one configuration to another, written to the disk.
Touched write_some_journal(const StateDirectory& directory) {
  const Configuration before =
      whole_switch("acl 10 type 0 description \"\\xff\"\n  rule 1 permit\n");
  const Plan plan(before, whole_switch("cos flag on\nacl 20 type 1\n  rule 2 deny protocol 6\n"
                                       "vlan 100\n  filter acl 20 rule 2\n"));
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
