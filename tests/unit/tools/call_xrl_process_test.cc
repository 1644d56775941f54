// call_xrl as a process, beside a finder: what goes to which stream, and with
// which status it leaves.
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>

#include "tests/support/child_process.h"

namespace {

const std::string BIN = POLICYD_BIN;
const std::string LISTENING = "finder: listening on ";

class CallXrlProcess : public testing::Test {
 protected:
  struct Result {
    int status;
    std::string output;
    std::string errors;
  };

  void SetUp() override {
    ASSERT_TRUE(finder.wait_for_output("\n"));
    const std::string line = finder.output();
    ASSERT_EQ(line.substr(0, LISTENING.size()), LISTENING);
    address = line.substr(LISTENING.size(), line.find('\n') - LISTENING.size());
  }

  static Result run(std::vector<std::string> argv) {
    ChildProcess process(std::move(argv));
    const int status = process.wait();
    return {status, process.output(), process.errors()};
  }
  [[nodiscard]] Result call(const std::vector<std::string>& words) const {
    std::vector<std::string> argv = {BIN + "/call_xrl", "-F", address};
    argv.insert(argv.end(), words.begin(), words.end());
    return run(std::move(argv));
  }
  // With the output of a shell command as its input.
  [[nodiscard]] Result call_after(const std::string& command) const {
    return run({"/bin/sh", "-c", command + " | " + BIN + "/call_xrl -F " + address + " -"});
  }

  ChildProcess finder{{BIN + "/finder", "-p", "0"}};
  std::string address;
};

TEST_F(CallXrlProcess, WritesResultsToStandardOutput) {
  const Result result = call({"finder://finder/finder/0.2/get_xrl_targets"});
  EXPECT_EQ(result.output, "targets:list=:txt=finder\n");
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.status, 0);
}

TEST_F(CallXrlProcess, WritesAnErrorToStandardErrorAndLeavesWithStatusOne) {
  const Result result = call({"finder://findr/finder/0.2/get_xrl_targets"});
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors,
            "call_xrl: RESOLVE_FAILED no target 'findr' is registered; is 'finder' meant?\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(CallXrlProcess, OffersTheNearestMethod) {
  const Result result = call({"finder://finder/finder/0.2/get_methds"});
  EXPECT_EQ(result.errors,
            "call_xrl: NO_SUCH_METHOD 'finder/0.2' of 'finder' has no method 'get_methds'; is "
            "'get_methods' meant?\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(CallXrlProcess, OneRefusalAmongManySetsTheStatus) {
  const Result result =
      call({"finder://nobody/a/0.1/b", "finder://finder/finder/0.2/get_xrl_targets"});
  EXPECT_EQ(result.output, "targets:list=:txt=finder\n");
  EXPECT_EQ(result.errors, "call_xrl: RESOLVE_FAILED no target 'nobody' is registered.\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(CallXrlProcess, LeavesWithStatusTwoWhenTheCommandLineIsWrong) {
  const Result result = call({"finder://finder/finder/0.2/get_methods?target=finder"});
  EXPECT_EQ(result.output, "");
  EXPECT_NE(result.errors.find("\n  finder://finder/finder/0.2/get_methods?target=finder\n"),
            std::string::npos);
  EXPECT_NE(result.errors.find("^\n"), std::string::npos);
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(call({}).status, 2);
}

TEST_F(CallXrlProcess, WritesHelpToStandardOutput) {
  const Result result = call({"--help"});
  EXPECT_NE(result.output.find("Usage: call_xrl"), std::string::npos);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.status, 0);
}

TEST_F(CallXrlProcess, SaysThatThereIsNoFinder) {
  finder.signal(SIGKILL);
  finder.wait();
  const Result result = call({"-t", "0.1", "finder://finder/finder/0.2/get_xrl_targets"});
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors, "call_xrl: NO_FINDER no finder answers at " + address + ".\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(CallXrlProcess, AnswersThousandsOfPipedRequestsInOrder) {
  constexpr int COUNT = 10000;
  const Result result =
      call_after("seq " + std::to_string(COUNT) + " | sed 's|.*|finder://nobody&/a/0.1/b|'");
  std::istringstream lines(result.output);
  std::string line;
  for (int i = 1; i <= COUNT; ++i) {
    ASSERT_TRUE(std::getline(lines, line));
    ASSERT_EQ(line, "201 no target 'nobody" + std::to_string(i) + "' is registered.");
  }
  EXPECT_FALSE(std::getline(lines, line));
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.status, 1);
}

TEST_F(CallXrlProcess, PipedRequestsThatAreAllAnsweredOkayLeaveWithStatusZero) {
  const Result result = call_after("echo finder://finder/finder/0.2/get_xrl_targets");
  EXPECT_EQ(result.output, "100 targets:list=:txt=finder\n");
  EXPECT_EQ(result.status, 0);
}

}  // namespace
