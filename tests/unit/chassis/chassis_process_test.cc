// The chassis as a process: its command line, its line on standard output and
// how it leaves.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "framework/xrl/interfaces/common_xif.h"
#include "framework/xrl/router/xrl_std_router.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/turn_until.h"
#include "tests/unit/platform/sim_finder.h"

namespace {

std::vector<std::string> command(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), CHASSIS_BINARY);
  return arguments;
}

// Exit status, and what it wrote on standard error.
std::pair<int, std::string> run(std::vector<std::string> arguments) {
  ChildProcess chassis(command(std::move(arguments)));
  const int status = chassis.wait();
  return {status, chassis.errors()};
}

}  // namespace

TEST(ChassisProcess, HelpIsNoFault) {
  ChildProcess chassis(command({"-h"}));
  EXPECT_EQ(chassis.wait(), 0);
  EXPECT_NE(chassis.output().find("-F HOST[:PORT]"), std::string::npos);
  EXPECT_EQ(chassis.errors(), "");
}

TEST(ChassisProcess, AWrongCommandLineIsStatusTwo) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {"a.json", "b.json"},
                                             {"-x", "a.json"},
                                             {"-F"},
                                             {"-F", ":1", "a.json"},
                                             {"-F", "host:0", "a.json"},
                                             {"-F", "host:65536", "a.json"}}) {
    const auto [status, errors] = run(arguments);
    EXPECT_EQ(status, 2) << ::testing::PrintToString(arguments);
    EXPECT_NE(errors, "");
  }
}

TEST(ChassisProcess, AFileThatCannotBeReadIsStatusOne) {
  for (const std::string file : {"/nonexistent.json", "/"}) {
    EXPECT_EQ(run({file}), std::pair(1, "chassis: " + file + ": the file cannot be read.\n"));
  }
}

TEST(ChassisProcess, ABadDescriptionIsStatusOneAndSaysWhatAndWhere) {
  const TemporaryFolder folder;
  const std::string file = folder.write(
      "switch.json", R"({"interfaces": [{"name": "lag1", "members": ["eth-0/1/1"]}]})");
  EXPECT_EQ(run({file}),
            std::pair(1, "chassis: " + file +
                             ": interfaces[0].members[0] \"eth-0/1/1\": the interface does not "
                             "exist.\n"));
}

TEST(ChassisProcess, SaysWhatItRunsOnceRegisteredAndLeavesWhenAsked) {
  EventLoop loop;
  FinderServer finder(loop, NetAddress::tcp(IPv4::loopback(), 0), AllowList(), "");
  const TemporaryFolder folder;
  const std::string file =
      folder.write("switch.json",
                   R"({"interfaces": [{"name": "eth-0/1/1"}, {"name": "lag1"}], "vlans": [1, 2, 3],
          "cards": [17]})");
  const std::string place = finder.address().str();
  ChildProcess chassis(command({"-F", place, file}));

  XrlStdRouter router(loop, "", "127.0.0.1", finder.address().port, false);
  ASSERT_TRUE(turn_until(loop, [&] {
    return router.ready() && finder.registry().targets().size() >= 7;
  })) << chassis.errors();
  ASSERT_TRUE(chassis.wait_for_output("\n"));
  EXPECT_EQ(chassis.output(), "chassis: 2 interfaces, 3 VLANs, 1 cards\n");

  std::string answer;
  XrlCommonV0p1Client client(router.sender());
  ASSERT_TRUE(client.send_shutdown(
      "chassis", callback([&answer](const XrlError& error) { answer = error.str(); })));
  ASSERT_TRUE(turn_until(loop, [&answer] { return !answer.empty(); }));
  EXPECT_EQ(answer, XrlError::OKAY().str());
  EXPECT_EQ(chassis.wait(), 0);
}
