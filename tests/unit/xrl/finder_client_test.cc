// What a session with the finder bears when more is asked of the finder than it
// answers.
#include "framework/xrl/router/finder_client.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "framework/finder/finder_server.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/router/xrl_buffer_budget.h"
#include "framework/xrl/router/xrl_std_router.h"
#include "framework/xrl/well_known_cmd_map.h"
#include "tests/simulation/sim_world.h"
#include "tests/support/echo_target.h"
#include "tests/support/log_capture.h"
#include "tests/support/raw_reply.h"

namespace {

using std::chrono::seconds;

const NetAddress FINDER = NetAddress::tcp(IPv4::loopback(), 19999);

class SessionWithTheFinder : public testing::Test, private FinderClient::Owner {
 protected:
  SessionWithTheFinder() {
    FinderClient::Owner& self = *this;
    client.emplace(world.loop(),
                   FinderClient::Identity{"127.0.0.1", FINDER.port, "watcher", {"watcher-1", ""}},
                   commands, dispatcher, self, budget);
    start_finder();
    settle([this] { return client->is_ready(); });
  }

  void start_finder() { finder.emplace(world.loop(), FINDER, AllowList(), ""); }
  void stop_finder() {
    finder.reset();
    settle([this] { return !client->is_ready(); });
  }
  void settle(const std::function<bool()>& done) {
    ASSERT_TRUE(world.run_until(done, seconds(10))) << world.report();
  }
  // Asks what takes `bytes` of arguments, and counts the answer.
  bool ask(std::size_t bytes = 0) {
    return client->send("finder/0.2/get_xrl_targets", std::vector<std::uint8_t>(bytes),
                        raw_reply([this](const XrlError&) { ++answers; }));
  }

  SimWorld world{11};
  std::optional<FinderServer> finder;
  WellKnownCmdMap commands{"watcher-1"};
  WatcherTarget target{&commands};
  XrlDispatcher dispatcher;
  XrlBufferBudget budget{xrl_limits::MAX_BUFFERED_BYTES};
  std::optional<FinderClient> client;
  std::size_t answers = 0;

 private:
  std::vector<NetAddress> listen_for_peers(const NetAddress& local) override {
    return {NetAddress::tcp(local.host, 4711)};
  }
  void session_began() override {}
  void target_died(std::string_view /*instance*/) override {}
};

TEST_F(SessionWithTheFinder, IsLookedForUnderItsNameUntilThatIsFoundAndNeverAgain) {
  XrlStdRouter router(world.loop(), "", "control", FINDER.port, false);
  LogCapture log;
  world.run_for(seconds(20));
  EXPECT_FALSE(router.ready());
  EXPECT_EQ(router.finder_address(), IPv4());
  EXPECT_EQ(log.take_lines().at(0),
            "WARNING XRL connect: the finder's host 'control' has no address; trying again");
  world.network().set_host_name("control", IPv4::loopback());
  settle([&] { return router.ready(); });
  EXPECT_EQ(router.finder_address(), IPv4::loopback());

  const std::size_t look_ups = world.network().look_ups();
  world.network().forget_host_name("control");
  stop_finder();
  world.run_for(seconds(20));
  start_finder();
  settle([&] { return client->is_ready() && world.network().connections().size() == 2; });
  EXPECT_EQ(world.network().look_ups(), look_ups);
}

TEST_F(SessionWithTheFinder, IsTriedForAgainWhenAConnectFailsAtOnce) {
  // No descriptor but the finder's listener's.
  world.network().set_descriptor_limit(1);
  LogCapture log;
  ASSERT_TRUE(world.network().cut_random());
  world.run_for(seconds(20));
  EXPECT_FALSE(client->is_ready());
  const std::vector<std::string> lines = log.take_lines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[0].starts_with("WARNING XRL connection_down: lost the finder at ")) << lines[0];
  EXPECT_EQ(lines[1], "INFO XRL tell_what_it_waits_for: waiting for the finder at " + FINDER.str() +
                          ": Too many open files");
  world.network().set_descriptor_limit(10);
  settle([this] { return client->is_ready(); });
}

TEST_F(SessionWithTheFinder, TellsOnceOfCommandsThatChangeInItsHandshake) {
  LogCapture log;
  stop_finder();
  start_finder();
  settle([this] { return !world.network().connections().empty(); });
  const std::uint64_t handshake = world.network().connections().at(0).id;
  ASSERT_TRUE(world.network().hold(handshake));
  client->commands_changed();
  world.run_for(seconds(1));
  world.network().release(handshake);
  settle([this] { return client->is_ready(); });
  static_cast<void>(log.take());
  world.run_for(2 * xrl_limits::REPLY_TIMEOUT);
  EXPECT_EQ(log.take_lines(), std::vector<std::string>());
  EXPECT_TRUE(client->is_ready());
}

TEST_F(SessionWithTheFinder, BeginsBesideAsManyRequestsOfUsersAsMayWait) {
  LogCapture log;
  stop_finder();
  for (std::size_t i = 0; i < xrl_limits::MAX_FINDER_REQUESTS; ++i) ASSERT_TRUE(ask()) << i;
  EXPECT_FALSE(ask());
  start_finder();
  settle([this] { return client->is_ready(); });
  settle([this] { return answers == xrl_limits::MAX_FINDER_REQUESTS; });
}

TEST_F(SessionWithTheFinder, QueuesNoMoreBytesThanMayWaitForAnAnswer) {
  LogCapture log;
  stop_finder();
  constexpr std::size_t PART = 1U << 20U;
  for (std::size_t bytes = 0; bytes < xrl_limits::MAX_REQUEST_BYTES_QUEUED; bytes += PART) {
    ASSERT_TRUE(ask(PART)) << bytes;
  }
  EXPECT_FALSE(ask(1));
  EXPECT_TRUE(ask(0));
}

TEST_F(SessionWithTheFinder, HasRoomForBytesAgainOnceTheyAreAnswered) {
  ASSERT_TRUE(ask(xrl_limits::MAX_REQUEST_BYTES_QUEUED / 4));
  settle([this] { return answers == 1; });
  for (int part = 0; part < 4; ++part) {
    EXPECT_TRUE(ask(xrl_limits::MAX_REQUEST_BYTES_QUEUED / 4)) << part;
  }
  EXPECT_FALSE(ask(1));
}

TEST_F(SessionWithTheFinder, HasRoomForBytesAgainOnceTheyTimedOut) {
  LogCapture log;
  stop_finder();
  ASSERT_TRUE(ask(xrl_limits::MAX_REQUEST_BYTES_QUEUED));
  ASSERT_FALSE(ask(1));
  world.run_for(xrl_limits::REPLY_TIMEOUT + seconds(1));
  EXPECT_TRUE(ask(1));
}

TEST_F(SessionWithTheFinder, EndsAndBeginsAnewWhenItOwesTooManyAnswers) {
  world.network().set_buffer_size(8U << 20U);
  const std::uint64_t first = world.network().connections().at(0).id;
  world.network().hold(first);
  LogCapture log;
  for (std::size_t i = 0; i < 2 * xrl_limits::MAX_FINDER_REQUESTS; ++i) {
    client->commands_changed();
    world.loop().run();
    ASSERT_TRUE(client->is_ready()) << i;
  }
  client->commands_changed();
  world.loop().run();
  EXPECT_FALSE(client->is_ready());
  EXPECT_EQ(log.take_lines().at(0),
            "WARNING XRL connection_down: lost the finder at 127.0.0.1:19999: it owes too many "
            "answers; trying again");
  world.network().release(first);
  settle([this] { return client->is_ready(); });
}

}  // namespace
