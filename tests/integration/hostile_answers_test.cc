// Answers of one connection to a stranger that does not take them, leaves before
// them, or asks for what its handler gets into trouble with.
#include "framework/xrl/limits.h"
#include "framework/xrl/router/xrl_connection.h"
#include "tests/integration/hostile_connection.h"

namespace {

using namespace hostile_bytes;
using namespace hostile_connection;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST_F(HostileConnection, ClosesAPeerThatTakesNoAnswersForThirtySeconds) {
  LogCapture log;
  Stranger peer(world.loop(), HERE);
  peer.say(hello("peer-1"));
  settle([&] { return peer.frames().size() == 1; });
  peer.set_reading(false);
  peer.say(request(1, FILL, args("bytes:u32=500000")));
  world.run_for(seconds(29));
  EXPECT_FALSE(peer.is_refused());
  EXPECT_TRUE(log.take_lines().empty());
  world.run_for(seconds(2));
  EXPECT_EQ(closings(log), Lines{"the peer takes no data"});
  EXPECT_EQ(listener.budget().held(), 0U);
}

TEST_F(HostileConnection, WaitsForAPeerThatTakesItsAnswerALittleAtATime) {
  Stranger peer(world.loop(), HERE);
  peer.say(hello("peer-1") + request(1, FILL, args("bytes:u32=500000")));
  for (int i = 0; i < 100 && peer.frames().size() < 2; ++i) {
    peer.set_reading(true);
    world.run_for(milliseconds(1));
    peer.set_reading(false);
    world.run_for(seconds(20));
  }
  EXPECT_FALSE(peer.is_refused());
  EXPECT_EQ(peer.frames().size(), 2U);
}

TEST_F(HostileConnection, HoldsNoMoreAnswersForAPeerThanTheHighWaterMarkAndOne) {
  Stranger peer(world.loop(), HERE);
  peer.set_reading(false);
  std::string bytes = hello("peer-1");
  for (std::uint32_t i = 0; i < 100; ++i) bytes += request(i, FILL, args("bytes:u32=100000"));
  peer.say(bytes);
  world.run_for(seconds(5));
  // Buffers grow to twice what they hold.
  EXPECT_LE(listener.budget().held(),
            2 * (xrl_limits::REPLY_BYTES_HIGH_WATER + 100100) + xrl_limits::MAX_READ_PER_TURN * 2);
  peer.set_reading(true);
  settle([&] { return peer.frames().size() == 101; }, seconds(60));
}

TEST_F(HostileConnection, RunsTheRequestsOfAPeerThatLeavesBeforeItsAnswers) {
  {
    Stranger peer(world.loop(), HERE);
    std::string bytes = hello("peer-1");
    for (std::uint32_t i = 0; i < 100; ++i) bytes += request(i, SAY, args("text:txt=hello"));
    peer.say(bytes);
    settle([&] { return peer.has_said_all(); });
  }
  world.run_for(seconds(1));
  EXPECT_EQ(listener.connections(), 0U);
  EXPECT_EQ(target.heard().size(), 100U);
  expect_service();
}

TEST_F(HostileConnection, LetsAHandlerAskOnTheConnectionItAnswers) {
  const XrlKey key = well_known_xrl_key("peer/0.1/news");
  Handler handler(commands, "test/0.1/ask_back",
                  [&] { dispatcher.current()->send_request(77, key, {}); });
  dispatcher.set_commands(commands);
  Stranger peer(world.loop(), HERE);
  peer.say(hello("peer-1") + request(1, "test/0.1/ask_back"));
  settle([&] { return peer.frames().size() == 3; });
  EXPECT_EQ(peer.heard(), (Lines{"hello echo-1", "reply 1 100 done:u32=1", "request 77"}));
}

TEST_F(HostileConnection, AnswersWholeWhenAHandlerTurnsTheLoop) {
  Handler handler(commands, "test/0.1/turn", [&] { world.run_for(milliseconds(10)); });
  dispatcher.set_commands(commands);
  const std::string say = request(1, SAY, args("text:txt=first"));
  EXPECT_EQ(answers_to(hello("peer-1") + say + request(2, "test/0.1/turn") +
                       request(3, SAY, args("text:txt=last"))),
            (Lines{"hello echo-1", "reply 1 100 said:txt=first", "reply 2 100 done:u32=1",
                   "reply 3 100 said:txt=last"}));
}

TEST_F(HostileConnection, NoticesOnlyAfterwardsThatAPeerLeftWhileItsHandlerTurnedTheLoop) {
  std::optional<Stranger> peer(std::in_place, world.loop(), HERE);
  bool ran = false;
  Handler handler(commands, "test/0.1/turn", [&] {
    peer.reset();
    world.run_for(seconds(40));
    ran = true;
  });
  dispatcher.set_commands(commands);
  peer->say(hello("peer-1") + request(1, "test/0.1/turn") + request(2, SAY, args("text:txt=on")));
  settle([&] { return ran; });
  world.run_for(seconds(1));
  EXPECT_EQ(target.heard(), Lines{"on"});
  EXPECT_EQ(listener.connections(), 0U);
  expect_service();
}

TEST_F(HostileConnection, MayBeClosedWhileItsHandlerTurnsTheLoop) {
  LogCapture log;
  bool ran = false;
  Handler handler(commands, "test/0.1/turn", [&] {
    world.run_for(seconds(40));
    ran = true;
  });
  dispatcher.set_commands(commands);
  Stranger peer(world.loop(), HERE);
  peer.set_reading(false);
  peer.say(hello("peer-1") + request(1, FILL, args("bytes:u32=500000")));
  world.run_for(seconds(1));
  peer.say(request(2, "test/0.1/turn") + request(3, SAY, args("text:txt=never")));
  settle([&] { return ran; }, seconds(60));
  world.run_for(seconds(1));
  EXPECT_EQ(closings(log), Lines{"the peer takes no data"});
  EXPECT_TRUE(target.heard().empty());
  EXPECT_EQ(listener.connections(), 0U);
  expect_service();
}

}  // namespace
