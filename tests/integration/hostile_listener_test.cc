// How many strangers a listener bears, who has to go when there are too many,
// and what each costs in lines of the log.
#include "framework/xrl/router/xrl_listener.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "framework/xrl/limits.h"
#include "framework/xrl/router/xrl_dispatcher.h"
#include "framework/xrl/well_known_cmd_map.h"
#include "tests/integration/hostile_bytes.h"
#include "tests/integration/hostile_stranger.h"
#include "tests/simulation/sim_world.h"
#include "tests/support/echo_target.h"
#include "tests/support/log_capture.h"

namespace {

using namespace hostile_bytes;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Lines = std::vector<std::string>;

const NetAddress HERE = NetAddress::tcp(IPv4::loopback(), 4711);
constexpr std::size_t MAX_CONNECTIONS = 8;
constexpr std::size_t MAX_HANDSHAKES = 3;
constexpr std::size_t MAX_BUFFERED_BYTES = 1U << 20U;

class HostileListener : public testing::Test {
 protected:
  HostileListener() {
    dispatcher.set_commands(commands);
    EXPECT_EQ(listener.listen(HERE), 0);
  }
  XrlListener::Options options() {
    return {.hello = {"echo-1", cookie},
            .admit = [this](const NetAddress& /*peer*/) { return admits; },
            .keep = [this](const XrlConnection& peer) { return peer.peer_instance() == kept; },
            .max_connections = MAX_CONNECTIONS,
            .max_handshakes = MAX_HANDSHAKES,
            .max_buffered_bytes = MAX_BUFFERED_BYTES};
  }
  // Connects and says this; then a moment passes.
  Stranger& stranger(const std::string& bytes = {}) {
    strangers.push_back(std::make_unique<Stranger>(world.loop(), HERE));
    strangers.back()->say(bytes);
    world.run_for(milliseconds(100));
    return *strangers.back();
  }
  void expect_refused(const std::vector<bool>& expected) {
    std::vector<bool> refused;
    for (const auto& each : strangers) refused.push_back(each->is_refused());
    EXPECT_EQ(refused, expected);
  }
  void expect_service() {
    Stranger& honest =
        stranger(hello("honest-1", cookie) + request(1, "echo/0.1/say", args("text:txt=there")));
    EXPECT_EQ(honest.heard(), (Lines{"hello echo-1", "reply 1 100 said:txt=there"}));
  }

  SimWorld world{7};
  bool admits = true;
  std::string kept = "nobody";
  std::string cookie = "0123456789abcdef";
  WellKnownCmdMap commands{"echo"};
  EchoTarget target{&commands};
  XrlDispatcher dispatcher;
  XrlListener listener{world.loop(), dispatcher, options()};
  std::vector<std::unique_ptr<Stranger>> strangers;
};

TEST_F(HostileListener, TakesThoseWhoWaitedWhenTheKernelLetsItAgain) {
  LogCapture log;
  for (const int error : {-ENOBUFS, -ENOMEM, -EPERM, -EMFILE, -ENFILE}) {
    world.network().set_accept_error(error);
    Stranger& waiting = stranger(hello("waiting", cookie));
    world.run_for(seconds(1));
    EXPECT_TRUE(waiting.heard().empty());
    EXPECT_EQ(log.take_lines(), Lines{"WARNING XRL pause: cannot take connections: " +
                                      std::string(std::strerror(-error)) + "; trying again"});
    world.network().set_accept_error(0);
    world.run_for(seconds(1));
    EXPECT_EQ(waiting.heard(), Lines{"hello echo-1"});
    waiting.leave();
    world.run_for(milliseconds(100));
  }
  expect_service();
}

TEST_F(HostileListener, TakesOthersWhenTheKernelTellsThatOneWhoWaitedIsGone) {
  LogCapture log;
  for (const int error : {ECONNABORTED, EHOSTDOWN, EHOSTUNREACH, ENETDOWN, ENETUNREACH, ENONET,
                          ENOPROTOOPT, EOPNOTSUPP, EPROTO, ETIMEDOUT}) {
    world.network().set_accept_error(-error);
    EXPECT_TRUE(stranger(hello("gone", cookie)).is_refused()) << error;
    world.network().set_accept_error(0);
    Stranger& next = stranger(hello("next", cookie));
    EXPECT_EQ(next.heard(), Lines{"hello echo-1"}) << error;
    next.leave();
  }
  EXPECT_EQ(log.take_lines(), Lines{});
}

TEST_F(HostileListener, ClosesTheOldestHandshakeWhenThereIsNoDescriptorForANewOne) {
  LogCapture log;
  for (const int error : {EMFILE, ENFILE}) {
    Stranger& silent = stranger();
    EXPECT_FALSE(silent.is_refused());
    world.network().set_accept_error(-error);
    Stranger& waiting = stranger(hello("waiting", cookie));
    EXPECT_TRUE(silent.is_refused());
    EXPECT_TRUE(waiting.heard().empty());
    world.network().set_accept_error(0);
    world.run_for(milliseconds(200));
    EXPECT_EQ(waiting.heard(), Lines{"hello echo-1"});
    waiting.leave();
    const Lines lines = log.take_lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[0].find("made room for another connection"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("cannot take connections"), std::string::npos) << lines[1];
  }
}

TEST_F(HostileListener, ClosesWhoHasBeenSilentLongestWhereNobodyIsKept) {
  LogCapture log;
  XrlListener::Options nobody_kept = options();
  nobody_kept.keep = nullptr;
  nobody_kept.max_connections = 1;
  const NetAddress there = NetAddress::tcp(IPv4::loopback(), 4712);
  XrlListener open(world.loop(), dispatcher, nobody_kept);
  ASSERT_EQ(open.listen(there), 0);
  Stranger first(world.loop(), there);
  first.say(hello("first", cookie));
  world.run_for(milliseconds(100));
  Stranger second(world.loop(), there);
  second.say(hello("second", cookie));
  world.run_for(milliseconds(100));
  EXPECT_TRUE(first.is_refused());
  EXPECT_EQ(second.heard(), Lines{"hello echo-1"});
  EXPECT_EQ(log.take_lines().size(), 1U);
}

TEST_F(HostileListener, ClosesTheOldestHandshakeForANewOneWithOneLine) {
  LogCapture log;
  for (int i = 0; i < 5; ++i) stranger();
  expect_refused({true, true, false, false, false});
  EXPECT_EQ(log.take_lines().size(), 2U);
  expect_service();
  EXPECT_EQ(log.take_lines().size(), 1U);
}

TEST_F(HostileListener, ClosesWhoHasBeenSilentLongestWhenAllHaveShownThemselves) {
  LogCapture log;
  for (std::size_t i = 0; i < MAX_CONNECTIONS; ++i) stranger(hello("peer-1", cookie));
  strangers[0]->say(request(1, "echo/0.1/say", args("text:txt=not%20silent")));
  world.run_for(milliseconds(100));
  stranger(hello("peer-1", cookie));
  expect_refused({false, true, false, false, false, false, false, false, false});
  const Lines lines = log.take_lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("made room for another connection"), std::string::npos) << lines[0];
}

TEST_F(HostileListener, ClosesHandshakesBeforeThoseThatHaveShownThemselves) {
  LogCapture log;
  for (std::size_t i = 1; i < MAX_CONNECTIONS; ++i) stranger(hello("peer-1", cookie));
  stranger();
  stranger();
  expect_refused({false, false, false, false, false, false, false, true, false});
  EXPECT_EQ(log.take_lines().size(), 1U);
}

TEST_F(HostileListener, RefusesANewPeerWithOneLineWhenNoneMayGo) {
  kept = "peer-1";
  for (std::size_t i = 0; i < MAX_CONNECTIONS; ++i) stranger(hello("peer-1", cookie));
  LogCapture log;
  EXPECT_TRUE(stranger(hello("peer-2", cookie)).is_refused());
  const Lines lines = log.take_lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find(": 8 connections are open"), std::string::npos) << lines[0];
}

TEST_F(HostileListener, RefusesAPeerThatItDoesNotAdmitWithOneLine) {
  admits = false;
  LogCapture log;
  EXPECT_TRUE(stranger(hello("peer-1", cookie)).is_refused());
  EXPECT_EQ(log.take_lines().size(), 1U);
}

TEST_F(HostileListener, ClosesAPeerWithoutCookieOrWithAWrongOneWithOneLineThatDoesNotTellIt) {
  for (const std::string& wrong :
       {std::string(), cookie.substr(1), cookie + "0", std::string("0123456789abcdeF")}) {
    LogCapture log;
    Stranger& peer = stranger(hello("peer-1", wrong) +
                              request(1, "echo/0.1/say", args("text:txt=let%20me%20in")));
    EXPECT_TRUE(peer.is_refused()) << wrong;
    const Lines lines = log.take_lines();
    ASSERT_EQ(lines.size(), 1U) << wrong;
    EXPECT_NE(lines[0].find("wrong cookie"), std::string::npos) << lines[0];
    EXPECT_EQ(lines[0].find(cookie), std::string::npos) << lines[0];
  }
  EXPECT_TRUE(target.heard().empty());
  expect_service();
}

TEST_F(HostileListener, ClosesThePeerThatHoldsMostWhenTheyHoldTooMuchUnfinished) {
  LogCapture log;
  const auto unfinished = [&](std::size_t bytes) {
    return hello("peer-1", cookie) + u32(xrl_limits::MAX_FRAME_BYTES) + std::string(bytes, 'x');
  };
  Stranger& small = stranger(unfinished(50000));
  Stranger& large = stranger(unfinished(200000));
  Stranger& middle = stranger(unfinished(100000));
  EXPECT_TRUE(log.take_lines().empty());
  EXPECT_LE(listener.budget().held(), MAX_BUFFERED_BYTES);
  middle.say(std::string(600000, 'x'));
  world.run_for(milliseconds(100));
  EXPECT_FALSE(small.is_refused());
  EXPECT_NE(large.is_refused(), middle.is_refused());
  EXPECT_LE(listener.budget().held(), MAX_BUFFERED_BYTES);
  const Lines lines = log.take_lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("too much is buffered for it"), std::string::npos) << lines[0];
  expect_service();
}

TEST_F(HostileListener, ClosesThePeerThatLeavesMostAnswersWhenTheyLeaveTooMany) {
  LogCapture log;
  for (int i = 0; i < 6; ++i) {
    Stranger& greedy = stranger(hello("peer-1", cookie));
    greedy.set_reading(false);
    greedy.say(request(1, "echo/0.1/fill", args("bytes:u32=300000")));
    world.run_for(milliseconds(100));
    EXPECT_LE(listener.budget().held(), MAX_BUFFERED_BYTES);
  }
  EXPECT_FALSE(log.take_lines().empty());
  expect_service();
}

TEST_F(HostileListener, SparesWhoTakesWhatItHolds) {
  // Four at once ask for more than the budget, and each is given it.
  for (int i = 0; i < 4; ++i) stranger(hello("peer-1", cookie));
  world.network().set_buffer_size(4U << 20U);
  for (const auto& peer : strangers) {
    peer->say(request(1, "echo/0.1/fill", args("bytes:u32=500000")));
  }
  world.run_for(seconds(1));
  for (const auto& peer : strangers) EXPECT_EQ(peer->frames().size(), 2U);
}

TEST_F(HostileListener, ServesAnHonestPeerBesideAFloodOfHalfOpenOnes) {
  LogCapture log;
  Stranger& honest = stranger(hello("honest-1", cookie));
  for (std::uint32_t i = 0; i < 100; ++i) {
    for (int j = 0; j < 5; ++j) {
      strangers.push_back(std::make_unique<Stranger>(world.loop(), HERE));
    }
    honest.say(request(i, "echo/0.1/say", args("text:txt=still%20there")));
    world.run_for(milliseconds(10));
  }
  EXPECT_EQ(honest.frames().size(), 101U);
  EXPECT_LE(listener.connections(), MAX_HANDSHAKES + 1);
  EXPECT_LE(log.take_lines().size(), 500U);
  expect_service();
}

}  // namespace
