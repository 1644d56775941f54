#include "framework/base/xlog.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <wchar.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "framework/base/comm.h"
#include "tests/support/log_capture.h"

namespace {

// The default output as the process's standard error gets it.
class XlogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    xlog_init("/usr/sbin/policyd", nullptr);
    xlog_add_default_output();
    ::testing::internal::CaptureStderr();
  }
  void TearDown() override {
    if (!_taken) (void)written();
  }

  // All that was written; once a test.
  std::string written() {
    _taken = true;
    return ::testing::internal::GetCapturedStderr();
  }
  // The same without the time that each line begins with.
  std::string written_after_time() {
    constexpr std::size_t TIME_LENGTH = 28;
    std::string rest;
    const std::string text = written();
    for (std::size_t begin = 0; begin < text.size();) {
      const std::size_t end = text.find('\n', begin) + 1;
      rest += text.substr(begin + TIME_LENGTH, end - begin - TIME_LENGTH);
      begin = end;
    }
    return rest;
  }

  LogCapture _capture;
  bool _taken = false;
};

// Standard error is a pipe of four pages that the test reads when it wants to.
class XlogPipeTest : public ::testing::Test {
 protected:
  static constexpr std::size_t PIPE_BYTES = 16384;

  XlogPipeTest() : _old_stderr(::dup(STDERR_FILENO)) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0 ||
        ::fcntl(ends[1], F_SETPIPE_SZ, PIPE_BYTES) != PIPE_BYTES) {
      throw std::system_error(errno, std::generic_category(), "no pipe");
    }
    _read_end = ends[0];
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[1]);
    xlog_init("policyd", nullptr);
    xlog_add_default_output();
  }
  ~XlogPipeTest() override {
    ::dup2(_old_stderr, STDERR_FILENO);
    ::close(_old_stderr);
    if (_read_end >= 0) ::close(_read_end);
  }

  static void fill() {
    const std::string filling(PIPE_BYTES, 'f');
    ASSERT_EQ(::write(STDERR_FILENO, filling.data(), filling.size()),
              static_cast<ssize_t>(PIPE_BYTES));
  }
  // What is in the pipe; it must not be empty.
  std::string read() {
    std::string text(2 * PIPE_BYTES, '\0');
    const ssize_t count = ::read(_read_end, text.data(), text.size());
    EXPECT_GT(count, 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return text;
  }
  void nobody_reads() { ::close(std::exchange(_read_end, -1)); }

  LogCapture _capture;

 private:
  int _old_stderr;
  int _read_end = -1;
};

// A death test reads the standard error of its process by itself.
class XlogDeathTest : public ::testing::Test {
 protected:
  XlogDeathTest() { xlog_init("/usr/sbin/policyd", nullptr); }
  LogCapture _capture;
};

const std::string WHERE = xlog_where(71, "policy/policytree.cc", "is_acl_used");

TEST_F(XlogTest, ALineIsTimeLevelProcessModuleLocationAndMessage) {
  xlog_warning("POLICY", WHERE, "acl %d is still used in port %s.", 10, "eth-0/1/1");
  EXPECT_EQ(written_after_time(),
            "WARNING policyd POLICY +71 policytree is_acl_used: "
            "acl 10 is still used in port eth-0/1/1.\n");
}

TEST_F(XlogTest, TheTimeIsUtcWithMicroseconds) {
  xlog_info("POLICY", WHERE, "x");
  const std::string text = written();
  ASSERT_GT(text.size(), 28U);
  const std::string pattern = "dddd-dd-ddTdd:dd:dd.ddddddZ ";
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == 'd') {
      EXPECT_TRUE(text[i] >= '0' && text[i] <= '9') << text;
    } else {
      EXPECT_EQ(text[i], pattern[i]) << text;
    }
  }
}

TEST_F(XlogTest, EachLevelHasItsName) {
  xlog_error("M", "w", "e");
  xlog_warning("M", "w", "w");
  xlog_info("M", "w", "i");
  EXPECT_EQ(written_after_time(),
            "ERROR policyd M w: e\nWARNING policyd M w: w\nINFO policyd M w: i\n");
}

TEST_F(XlogTest, TheMacrosTellModuleAndPlace) {
  const int line = __LINE__ + 1;
  XLOG_INFO("here");
  EXPECT_EQ(written_after_time(),
            "INFO policyd TEST +" + std::to_string(line) + " xlog_test TestBody: here\n");
}

TEST_F(XlogTest, AtHighVerbosityTheProcessIdFollowsTheName) {
  xlog_set_verbose(XLOG_VERBOSE_LOW);
  xlog_level_set_verbose(XLOG_LEVEL_ERROR, XLOG_VERBOSE_HIGH);
  xlog_error("M", "w", "e");
  xlog_warning("M", "w", "w");
  EXPECT_EQ(written_after_time(),
            "ERROR policyd[" + std::to_string(::getpid()) + "] M w: e\nWARNING policyd M w: w\n");
}

TEST_F(XlogTest, AtMediumVerbosityItDoesNot) {
  xlog_set_verbose(XLOG_VERBOSE_MEDIUM);
  xlog_error("M", "w", "e");
  EXPECT_EQ(written_after_time(), "ERROR policyd M w: e\n");
}

TEST_F(XlogTest, ThePreambleStandsInFrontOfEveryMessage) {
  xlog_init("policyd", "unit 1: ");
  xlog_info("M", "w", "up");
  EXPECT_EQ(written_after_time(), "INFO policyd M w: unit 1: up\n");
}

TEST_F(XlogTest, AMessageIsCutAtItsLimit) {
  const std::string longest(XLOG_MAX_TEXT, 'x');
  xlog_info("M", "w", "%s", longest.c_str());
  xlog_info("M", "w", "%sy", longest.c_str());
  EXPECT_EQ(written_after_time(),
            "INFO policyd M w: " + longest + "\nINFO policyd M w: " + longest + "\n");
}

TEST_F(XlogTest, ALocationIsCutAtItsLimit) {
  const std::string longest(XLOG_MAX_TEXT, 'x');
  xlog_info("M", longest + "y", "up");
  EXPECT_EQ(written_after_time(), "INFO policyd M " + longest + ": up\n");
}

TEST_F(XlogTest, ControlCharactersAreEscapedSoThatALineStaysOne) {
  xlog_info("M", "w", "%s", "a\nb\tc\x1b[1m\x7f \xc3\xa4");
  EXPECT_EQ(written_after_time(), "INFO policyd M w: a\\x0Ab\\x09c\\x1B[1m\\x7F \xc3\xa4\n");
}

TEST_F(XlogTest, WhatATerminalObeysOrDoesNotShowIsEscaped) {
  // A control character of two bytes, one that turns the direction of writing, and what
  // is no character.
  xlog_info("M", "w", "%s",
            "\xc2\x9b"
            "2J \xe2\x80\xae \xff\xe2\x82");
  EXPECT_EQ(written_after_time(),
            "INFO policyd M w: \\xC2\\x9B2J \\xE2\\x80\\xAE \\xFF\\xE2\\x82\n");
}

TEST_F(XlogTest, OutputsGetTheMessageAsGiven) {
  xlog_info("POLICY", WHERE, "a\nb");
  const std::vector<XlogRecord> records = _capture.take();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].level, XLOG_LEVEL_INFO);
  EXPECT_EQ(records[0].module, "POLICY");
  EXPECT_EQ(records[0].where, "+71 policytree is_acl_used");
  EXPECT_EQ(records[0].message, "a\nb");
}

TEST_F(XlogTest, AStoppedLogWritesNothing) {
  xlog_stop();
  xlog_error("M", "w", "unseen");
  EXPECT_EQ(written(), "");
  EXPECT_TRUE(_capture.take().empty());
}

TEST_F(XlogTest, WithoutTheDefaultOutputOnlyTheOthersGetRecords) {
  xlog_exit();
  xlog_start();
  xlog_info("M", "w", "x");
  EXPECT_EQ(written(), "");
  EXPECT_EQ(_capture.take().size(), 1U);
}

TEST_F(XlogTest, ExitForgetsWhatWasSet) {
  xlog_set_verbose(XLOG_VERBOSE_HIGH);
  xlog_exit();
  xlog_info("M", "w", "unseen");
  xlog_start();
  xlog_add_default_output();
  xlog_info("M", "w", "seen");
  EXPECT_EQ(written_after_time(), "INFO unknown M w: seen\n");
}

TEST_F(XlogTest, ARemovedOutputGetsNothingMore) {
  int records = 0;
  const int number = xlog_add_output([&](const XlogRecord&) { ++records; });
  xlog_info("M", "w", "one");
  xlog_remove_output(number);
  xlog_info("M", "w", "two");
  EXPECT_EQ(records, 1);
}

TEST_F(XlogTest, AMessageThatCannotBeFormattedIsItsFormat) {
  xlog_error("M", "w", "%lc", wint_t{0xd800});  // no character
  EXPECT_EQ(written_after_time(), "ERROR policyd M w: %lc\n");
}

TEST_F(XlogTest, AnOutputMayRemoveItself) {
  int records = 0;
  int number = 0;
  number = xlog_add_output([&](const XlogRecord&) {
    xlog_remove_output(number);
    ++records;
  });
  xlog_info("M", "w", "one");
  xlog_info("M", "w", "two");
  EXPECT_EQ(records, 1);
}

TEST_F(XlogTest, WhatAnOutputLogsGoesToTheDefaultOutputAlone) {
  const int number = xlog_add_output([](const XlogRecord&) { xlog_info("M", "w", "inner"); });
  xlog_info("M", "w", "outer");
  xlog_remove_output(number);
  EXPECT_EQ(written_after_time(), "INFO policyd M w: outer\nINFO policyd M w: inner\n");
}

TEST_F(XlogTest, AFloodFromOnePlaceIsHeldBackAndCounted) {
  xlog_exit();  // and what other tests wrote from there
  xlog_init("policyd", nullptr);
  xlog_add_default_output();
  xlog_start();
  for (int i = 0; i < 5000; ++i) xlog_warning("M", "flood", "x");
  xlog_info("M", "elsewhere", "y");
  xlog_stop();
  const std::string text = written_after_time();
  EXPECT_TRUE(text.ends_with(
      "INFO policyd M elsewhere: y\nWARNING policyd M flood: and 4900 more in 10 s\n"))
      << text;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 102);
  EXPECT_EQ(_capture.take().size(), 5001U) << "other outputs get all";
  xlog_start();
}

TEST_F(XlogTest, LoggingLeavesErrnoAlone) {
  const int number = xlog_add_output([](const XlogRecord&) { errno = EPIPE; });
  errno = ENOENT;
  xlog_info("M", "w", "x");
  EXPECT_EQ(errno, ENOENT);
  xlog_remove_output(number);
}

TEST_F(XlogPipeTest, AFullPipeTakesNothingAndStopsNobody) {
  fill();
  xlog_error("M", "w", "dropped");
  EXPECT_EQ(read(), std::string(PIPE_BYTES, 'f'));
}

TEST_F(XlogPipeTest, WhatWasDroppedIsCountedInFrontOfTheNextMessage) {
  fill();
  for (int i = 0; i < 3; ++i) xlog_error("M", "w", "dropped");
  static_cast<void>(read());
  xlog_info("M", "w", "first");
  xlog_info("M", "w", "second");
  const std::string text = read();
  const std::size_t count = text.find("messages that nobody read were dropped: 3\n");
  const std::size_t first = text.find("INFO policyd M w: first\n");
  EXPECT_EQ(text.find("WARNING policyd BASE +"), 28U) << text;
  EXPECT_LT(count, first) << text;
  EXPECT_NE(first, std::string::npos) << text;
  EXPECT_EQ(text.find("dropped", first), std::string::npos) << text;
}

TEST_F(XlogPipeTest, ALineThatLostItsEndDoesNotRunIntoTheNext) {
  xlog_error("M", "w", "%s", std::string(XLOG_MAX_TEXT, '\n').c_str());
  EXPECT_EQ(read().find('\n'), std::string::npos);
  xlog_error("M", "w", "next");
  const std::string text = read();
  EXPECT_EQ(text.front(), '\n');
  EXPECT_NE(text.find("messages that nobody read were dropped: 1\n"), std::string::npos) << text;
  EXPECT_NE(text.find("ERROR policyd M w: next\n"), std::string::npos) << text;
}

TEST_F(XlogPipeTest, APipeThatNobodyReadsAnyMoreStopsNobody) {
  nobody_reads();
  const auto before = std::signal(SIGPIPE, SIG_DFL);
  xlog_error("M", "w", "dropped");
  std::signal(SIGPIPE, before);
  EXPECT_EQ(_capture.take().size(), 1U) << "other outputs get it";
}

TEST_F(XlogPipeTest, AFullPipeThatNobodyReadsAnyMoreStopsNobody) {
  ASSERT_EQ(comm_init(), 0);
  fill();
  nobody_reads();
  xlog_error("M", "w", "dropped");
  EXPECT_EQ(_capture.take().size(), 1U) << "other outputs get it";
}

TEST_F(XlogPipeTest, NothingFollowsALineThatLostItsEndWhileThereIsNoRoom) {
  xlog_error("M", "w", "%s", std::string(XLOG_MAX_TEXT, '\n').c_str());
  xlog_error("M", "w", "dropped");
  EXPECT_EQ(read().find('\n'), std::string::npos);
  xlog_error("M", "w", "next");
  EXPECT_NE(read().find("messages that nobody read were dropped: 2\n"), std::string::npos);
}

TEST(XlogWhere, DropsFolderAndExtension) {
  EXPECT_EQ(xlog_where(71, "policytree.cc", "is_acl_used"), "+71 policytree is_acl_used");
  EXPECT_EQ(xlog_where(1, "/a.b/policytree.cc", "f"), "+1 policytree f");
  EXPECT_EQ(xlog_where(1, "a.b/noextension", "f"), "+1 noextension f");
}

TEST_F(XlogDeathTest, AFatalMessageEndsTheProcess) {
  EXPECT_EXIT(xlog_fatal("POLICY", WHERE, "Cannot start PolicyConfig: %s", "no memory"),
              ::testing::KilledBySignal(SIGABRT),
              "FATAL policyd POLICY \\+71 policytree is_acl_used: "
              "Cannot start PolicyConfig: no memory\n");
}

TEST_F(XlogDeathTest, AFatalMessageIsWrittenThoughTheLogIsStopped) {
  xlog_exit();
  EXPECT_DEATH(xlog_fatal("M", "w", "the end"), "FATAL unknown M w: the end");
}

TEST_F(XlogDeathTest, AFatalMessageIsWrittenHoweverManyWere) {
  const auto flood = [] {
    xlog_add_default_output();
    for (int i = 0; i < 200; ++i) xlog_error("M", "flood", "x");
    xlog_fatal("M", "flood", "the end");
  };
  EXPECT_EXIT(flood(), ::testing::KilledBySignal(SIGABRT), "FATAL policyd M flood: the end\n");
}

TEST_F(XlogDeathTest, ABrokenInvariantStopsTheProcessWithTheValues) {
  const int* ifp = nullptr;
  EXPECT_DEATH(XLOG_ASSERT(ifp != nullptr, std::string("name eth-0/1/1")),
               "FATAL policyd TEST \\+[0-9]+ xlog_test TestBody: "
               "Assertion failed: ifp != nullptr \\(name eth-0/1/1\\)\n");
}

TEST_F(XlogDeathTest, TheValuesOfAnInvariantThatHoldsAreNotBuilt) {
  bool is_built = false;
  const auto values = [&] {
    is_built = true;
    return std::string();
  };
  XLOG_ASSERT(!is_built, values());
  EXPECT_FALSE(is_built);
}

}  // namespace
