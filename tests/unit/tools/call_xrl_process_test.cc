// call_xrl as a process, beside a finder: what goes to which stream, and with
// which status it leaves.
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>

#include "tests/support/child_process.h"
#include "tests/support/finder_process.h"
#include "tests/support/reserved_port.h"

namespace {

const std::string BIN = POLICYD_BIN;

class CallXrlProcess : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(address_of_finder(finder), address); }

  [[nodiscard]] ProcessResult call(const std::vector<std::string>& words) const {
    std::vector<std::string> argv = {BIN + "/call_xrl", "-F", address};
    argv.insert(argv.end(), words.begin(), words.end());
    return run_process(std::move(argv));
  }
  // With the output of a shell command as its input.
  [[nodiscard]] ProcessResult call_after(const std::string& command) const {
    return run_process({"/bin/sh", "-c", command + " | " + BIN + "/call_xrl -F " + address + " -"});
  }

  // Nobody else's, also when the finder is dead.
  const ReservedPort port;
  const std::string address = "127.0.0.1:" + std::to_string(port.number());
  ChildProcess finder{{BIN + "/finder", "-p", std::to_string(port.number())}};
};

TEST_F(CallXrlProcess, WritesResultsToStandardOutput) {
  const ProcessResult result = call({"finder://finder/finder/0.2/get_xrl_targets"});
  EXPECT_EQ(result.output, "targets:list=:txt=finder\n");
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.status, 0);
}

TEST_F(CallXrlProcess, WritesAnErrorToStandardErrorAndLeavesWithStatusOne) {
  const ProcessResult result = call({"finder://findr/finder/0.2/get_xrl_targets"});
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors,
            "call_xrl: RESOLVE_FAILED no target 'findr' is registered; is 'finder' meant?\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(CallXrlProcess, OffersTheNearestMethod) {
  const ProcessResult result = call({"finder://finder/finder/0.2/get_methds"});
  EXPECT_EQ(result.errors,
            "call_xrl: NO_SUCH_METHOD 'finder/0.2' of 'finder' has no method 'get_methds'; is "
            "'get_methods' meant?\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(CallXrlProcess, OneRefusalAmongManySetsTheStatus) {
  const ProcessResult result =
      call({"finder://nobody/a/0.1/b", "finder://finder/finder/0.2/get_xrl_targets"});
  EXPECT_EQ(result.output, "targets:list=:txt=finder\n");
  EXPECT_EQ(result.errors, "call_xrl: RESOLVE_FAILED no target 'nobody' is registered.\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(CallXrlProcess, LeavesWithStatusTwoWhenTheCommandLineIsWrong) {
  const ProcessResult result = call({"finder://finder/finder/0.2/get_methods?target=finder"});
  EXPECT_EQ(result.output, "");
  EXPECT_NE(result.errors.find("\n  finder://finder/finder/0.2/get_methods?target=finder\n"),
            std::string::npos);
  EXPECT_NE(result.errors.find("^\n"), std::string::npos);
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(call({}).status, 2);
}

TEST_F(CallXrlProcess, WritesHelpToStandardOutput) {
  const ProcessResult result = call({"--help"});
  EXPECT_NE(result.output.find("Usage: call_xrl"), std::string::npos);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.status, 0);
}

TEST_F(CallXrlProcess, SaysThatThereIsNoFinder) {
  finder.signal(SIGKILL);
  finder.wait();
  const ProcessResult result = call({"-t", "0.1", "finder://finder/finder/0.2/get_xrl_targets"});
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors, "call_xrl: NO_FINDER no finder answers at " + address + ".\n");
  EXPECT_EQ(result.status, 1);
}

TEST_F(CallXrlProcess, AnswersThousandsOfPipedRequestsInOrder) {
  constexpr int COUNT = 10000;
  const ProcessResult result =
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
  const ProcessResult result = call_after("echo finder://finder/finder/0.2/get_xrl_targets");
  EXPECT_EQ(result.output, "100 targets:list=:txt=finder\n");
  EXPECT_EQ(result.status, 0);
}

}  // namespace
