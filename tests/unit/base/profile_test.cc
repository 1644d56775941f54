#include "framework/base/profile.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class ProfileTest : public ::testing::Test {
 protected:
  ProfileTest() { _profile.create("p", "a comment"); }

  // Everything a reader of the locked log gets.
  std::vector<std::string> read_all() {
    std::vector<std::string> texts;
    ProfileLogEntry entry;
    while (_profile.read_log("p", entry)) {
      texts.push_back(std::to_string(entry.time.seconds) + "." +
                      std::to_string(entry.time.microseconds) + " " + entry.text);
    }
    return texts;
  }

  void log(const std::string& text) { _profile.log("p", {1, 2}, text); }

  Profile _profile;
};

using Texts = std::vector<std::string>;

template <typename Exception, typename Call>
std::string text_thrown_by(Call call) {
  try {
    call();
  } catch (const Exception& exception) {
    EXPECT_EQ(exception.str(), exception.what());
    return exception.str();
  }
  return "nothing thrown";
}

TEST_F(ProfileTest, EveryOperationOnAnUnknownNameSaysSo) {
  const std::string expected = "The profile variable x does not exist.";
  ProfileLogEntry entry;
  EXPECT_EQ(text_thrown_by<PVariableUnknown>([&] { _profile.enable("x"); }), expected);
  EXPECT_EQ(text_thrown_by<PVariableUnknown>([&] { _profile.disable("x"); }), expected);
  EXPECT_EQ(text_thrown_by<PVariableUnknown>([&] { _profile.clear("x"); }), expected);
  EXPECT_EQ(text_thrown_by<PVariableUnknown>([&] { (void)_profile.is_enabled("x"); }), expected);
  EXPECT_EQ(text_thrown_by<PVariableUnknown>([&] { _profile.log("x", {}, "t"); }), expected);
  EXPECT_EQ(text_thrown_by<PVariableUnknown>([&] { _profile.lock_log("x"); }), expected);
  EXPECT_EQ(text_thrown_by<PVariableUnknown>([&] { (void)_profile.read_log("x", entry); }),
            expected);
  EXPECT_EQ(text_thrown_by<PVariableUnknown>([&] { _profile.release_log("x"); }), expected);
}

TEST_F(ProfileTest, ALockedVariableRefusesEnablingClearingAndLocking) {
  _profile.lock_log("p");
  const std::string expected = "The profile variable p is locked.";
  EXPECT_EQ(text_thrown_by<PVariableLocked>([&] { _profile.enable("p"); }), expected);
  EXPECT_EQ(text_thrown_by<PVariableLocked>([&] { _profile.clear("p"); }), expected);
  EXPECT_EQ(text_thrown_by<PVariableLocked>([&] { _profile.lock_log("p"); }), expected);
  EXPECT_FALSE(_profile.is_enabled("p"));
}

TEST_F(ProfileTest, ALockedVariableMayBeDisabled) {
  _profile.enable("p");
  _profile.lock_log("p");
  _profile.disable("p");
  EXPECT_FALSE(_profile.is_enabled("p"));
}

TEST_F(ProfileTest, AnUnlockedLogIsNeitherReadNorReleased) {
  const std::string expected = "The profile variable p is not locked.";
  ProfileLogEntry entry;
  EXPECT_EQ(text_thrown_by<PVariableNotLocked>([&] { (void)_profile.read_log("p", entry); }),
            expected);
  EXPECT_EQ(text_thrown_by<PVariableNotLocked>([&] { _profile.release_log("p"); }), expected);
}

TEST_F(ProfileTest, AVariableIsCreatedOnceAndKeepsItsFirstComment) {
  EXPECT_EQ(text_thrown_by<PVariableExists>([&] { _profile.create("p", "another"); }),
            "The profile variable p exists already.");
  EXPECT_EQ(_profile.list(), "p\t0\tdisabled\ta comment\n");
}

TEST_F(ProfileTest, OnlyAnEnabledVariableTakesTexts) {
  log("unseen");
  _profile.enable("p");
  log("seen");
  _profile.disable("p");
  log("unseen");
  _profile.lock_log("p");
  EXPECT_EQ(read_all(), (Texts{"1.2 seen"}));
}

TEST_F(ProfileTest, ALockedLogTakesNoTexts) {
  _profile.enable("p");
  log("one");
  _profile.lock_log("p");
  log("two");
  EXPECT_EQ(read_all(), (Texts{"1.2 one"}));
}

TEST_F(ProfileTest, EntriesAreReadOldestFirstAndStay) {
  _profile.enable("p");
  log("one");
  log("two");
  _profile.lock_log("p");
  EXPECT_EQ(read_all(), (Texts{"1.2 one", "1.2 two"}));
  _profile.release_log("p");
  _profile.lock_log("p");
  EXPECT_EQ(read_all(), (Texts{"1.2 one", "1.2 two"}));
}

TEST_F(ProfileTest, AReadPastTheEndLeavesTheEntryAlone) {
  _profile.lock_log("p");
  ProfileLogEntry entry{{3, 4}, "before"};
  EXPECT_FALSE(_profile.read_log("p", entry));
  EXPECT_EQ(entry.text, "before");
}

TEST_F(ProfileTest, ClearingEmptiesTheLogAndKeepsTheSwitch) {
  _profile.enable("p");
  log("one");
  _profile.clear("p");
  EXPECT_EQ(_profile.list(), "p\t0\tenabled\ta comment\n");
}

TEST_F(ProfileTest, TheListHasALineAVariableInAscendingOrder) {
  _profile.create("b", "");
  _profile.create("a", "first");
  _profile.enable("p");
  log("one");
  EXPECT_EQ(_profile.list(), "a\t0\tdisabled\tfirst\nb\t0\tdisabled\t\np\t1\tenabled\ta comment\n");
}

TEST_F(ProfileTest, AFullLogDropsItsOldestEntry) {
  _profile.enable("p");
  for (std::size_t i = 0; i <= Profile::MAX_LOG_ENTRIES; ++i) log(std::to_string(i));
  _profile.lock_log("p");
  const Texts texts = read_all();
  ASSERT_EQ(texts.size(), Profile::MAX_LOG_ENTRIES);
  EXPECT_EQ(texts.front(), "1.2 1");
  EXPECT_EQ(texts.back(), "1.2 10000");
}

TEST(Profile, WithoutVariablesListsNothing) {
  EXPECT_EQ(Profile().list(), "");
}

}  // namespace
