// What one connection makes of what a stranger says to it, byte by byte;
// docs/wire-format.md tells the same as a table.
#include "tests/integration/hostile_connection.h"
#include "framework/xrl/limits.h"

namespace {

using namespace hostile_bytes;
using namespace hostile_connection;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST_F(HostileConnection, ForgetsAMessageThatIsCutShortAtAnyByte) {
  const std::string dialogue = hello("peer-1") + request(1, SAY, args("text:txt=hello"));
  for (std::size_t length = 0; length < dialogue.size(); ++length) {
    Stranger peer(world.loop(), HERE);
    peer.say(dialogue.substr(0, length));
    world.run_for(milliseconds(100));
    peer.leave();
    world.run_for(milliseconds(100));
    ASSERT_EQ(listener.connections(), 0U) << length;
  }
  EXPECT_EQ(listener.budget().held(), 0U);
  EXPECT_TRUE(target.heard().empty());
  expect_service();
}

TEST_F(HostileConnection, ReadsAMessageThatComesByteByByte) {
  Stranger peer(world.loop(), HERE);
  for (const char byte : hello("peer-1") + request(1, SAY, args("text:txt=hello"))) {
    peer.say(std::string(1, byte));
    world.run_for(milliseconds(1));
  }
  settle([&] { return peer.frames().size() == 2; });
  EXPECT_EQ(peer.heard(), (Lines{"hello echo-1", "reply 1 100 said:txt=hello"}));
}

TEST_F(HostileConnection, ClosesAtTheLengthOfAFrameThatNoHelloCanHave) {
  const std::string rest(xrl_limits::MAX_HELLO_BYTES, '\1');
  EXPECT_EQ(end_of(u32(0)), "damaged: a frame of 0 bytes");
  EXPECT_EQ(end_of(u32(1) + "\1"), "not an XRL peer");
  EXPECT_EQ(end_of(u32(xrl_limits::MAX_HELLO_BYTES)), "open");
  EXPECT_EQ(end_of(u32(xrl_limits::MAX_HELLO_BYTES) + rest), "not an XRL peer");
  EXPECT_EQ(end_of(u32(xrl_limits::MAX_HELLO_BYTES + 1)), "damaged: a frame of 1025 bytes");
  EXPECT_EQ(end_of(u32(0x80000000)), "damaged: a frame of 2147483648 bytes");
  EXPECT_EQ(end_of(u32(0xffffffff)), "damaged: a frame of 4294967295 bytes");
  expect_service();
}

TEST_F(HostileConnection, ClosesAtTheLengthOfAFrameThatNoMessageMayHave) {
  const std::string up = hello("peer-1");
  EXPECT_EQ(end_of(up + u32(0)), "damaged: a frame of 0 bytes");
  EXPECT_EQ(end_of(up + u32(1) + "\2"), "damaged: a request of 0 bytes");
  EXPECT_EQ(end_of(up + u32(1) + "\3"), "damaged: a reply of 0 bytes");
  EXPECT_EQ(end_of(up + u32(xrl_limits::MAX_FRAME_BYTES) + "\2"), "open");
  EXPECT_EQ(end_of(up + u32(xrl_limits::MAX_FRAME_BYTES + 1) + "\2"),
            "damaged: a frame of 16777217 bytes");
  EXPECT_EQ(end_of(up + u32(xrl_limits::MAX_REPLY_BYTES) + "\3"), "open");
  EXPECT_EQ(end_of(up + u32(xrl_limits::MAX_REPLY_BYTES)), "open");
  EXPECT_EQ(end_of(up + u32(xrl_limits::MAX_REPLY_BYTES + 1)),
            "damaged: a frame of 25165825 bytes");
  EXPECT_EQ(end_of(up + u32(0x80000000)), "damaged: a frame of 2147483648 bytes");
  EXPECT_EQ(end_of(up + u32(0xffffffff)), "damaged: a frame of 4294967295 bytes");
  expect_service();
}

TEST_F(HostileConnection, AnswersARequestOfTheLargestFrame) {
  world.network().set_buffer_size(4U << 20U);
  const std::size_t head = xrl_frame::REQUEST_HEAD - xrl_frame::LENGTH_BYTES;
  const std::string rest(xrl_limits::MAX_FRAME_BYTES - head, '\0');
  Stranger peer(world.loop(), HERE);
  peer.say(hello("peer-1") + request(1, SAY, rest));
  settle([&] { return peer.frames().size() == 2; });
  EXPECT_EQ(peer.heard(), (Lines{"hello echo-1", "reply 1 101 damaged arguments at byte 0."}));
  EXPECT_LE(listener.budget().held(), xrl_limits::KEPT_OUTPUT_BYTES) << "it keeps no large buffer";
}

TEST_F(HostileConnection, ClosesAfterAHelloThatIsNotQuiteOne) {
  const std::string good = hello("peer-1");
  std::string other_version = good;
  other_version[10] = 2;
  std::string other_magic = good;
  other_magic[5] = 'Y';
  std::string long_name = good;
  long_name[11] = '\xff';
  EXPECT_EQ(end_of(other_version), "unknown wire version 2");
  EXPECT_EQ(end_of(other_magic), "not an XRL peer");
  EXPECT_EQ(end_of(long_name), "damaged handshake");
  EXPECT_EQ(end_of(frame(1, good.substr(5) + "more")), "damaged handshake");
  EXPECT_EQ(end_of(request(1, SAY)), "damaged: an unexpected frame of kind 2");
  EXPECT_EQ(end_of("GET / HTTP/1.1\r\n\r\n"), "damaged: a frame of 1195725856 bytes");
  expect_service();
}

TEST_F(HostileConnection, ClosesAfterAFrameThatHasNoPlaceAfterTheHandshake) {
  const std::string up = hello("peer-1");
  EXPECT_EQ(end_of(up + hello("peer-1")), "damaged: an unexpected frame of kind 1");
  EXPECT_EQ(end_of(up + frame(0, "body")), "damaged: an unexpected frame of kind 0");
  EXPECT_EQ(end_of(up + frame(4, "body")), "damaged: an unexpected frame of kind 4");
  EXPECT_EQ(end_of(up + frame(255, "body")), "damaged: an unexpected frame of kind 255");
  EXPECT_EQ(end_of(up + frame(2, std::string(19, 'x'))), "damaged: a request of 19 bytes");
  EXPECT_EQ(end_of(up + frame(3, std::string(7, 'x'))), "damaged: a reply of 7 bytes");
  expect_service();
}

TEST_F(HostileConnection, AnswersNothingThatFollowsDamage) {
  LogCapture log;
  const std::string said = request(1, SAY, args("text:txt=hello"));
  const Lines heard = answers_to(hello("peer-1") + said + frame(9, "damage") + said + said);
  EXPECT_EQ(target.heard(), Lines{"hello"});
  EXPECT_LE(heard.size(), 2U);
  EXPECT_EQ(closings(log).size(), 1U);
}

TEST_F(HostileConnection, AnswersNoSuchMethodToAKeyThatOpensNothing) {
  EXPECT_EQ(
      answers_to(hello("peer-1") + request_with_key(5, std::string(16, '\0'))),
      (Lines{"hello echo-1", "reply 5 202 the request's key names no method of this target."}));
}

TEST_F(HostileConnection, TakesListsNestedToTheLimitAndNamesTheByteOfTheNext) {
  const std::size_t limit = xrl_limits::MAX_LIST_DEPTH;
  const Lines heard = answers_to(hello("peer-1") + request(1, SUM, nested_lists("numbers", limit)) +
                                 request(2, SUM, nested_lists("numbers", limit + 1)) +
                                 request(3, SUM, nested_lists("numbers", 1000)) +
                                 request(4, SUM, nested_lists("n", 100000)));
  // Each list's head is 9 bytes; the first comes after type and name, and a
  // list of lists has the element type in its own head.
  const std::string too_deep = std::to_string(2 + 7 + 9 * limit);
  const std::string too_deep_in_n = std::to_string(2 + 1 + 9 * limit);
  EXPECT_EQ(heard, (Lines{"hello echo-1", "reply 1 101 list 'numbers' holds list, u32 expected.",
                          "reply 2 101 damaged arguments at byte " + too_deep + ".",
                          "reply 3 101 damaged arguments at byte " + too_deep + ".",
                          "reply 4 101 damaged arguments at byte " + too_deep_in_n + "."}));
}

TEST_F(HostileConnection, IgnoresARepliesThatNobodyAskedFor) {
  const Lines heard =
      answers_to(hello("peer-1") + reply(0, 100) + reply(7, 100, "surely no arguments") +
                 reply(0xffffffff, 4711, "text") + request(1, SAY, args("text:txt=hello")));
  EXPECT_EQ(heard, (Lines{"hello echo-1", "reply 1 100 said:txt=hello"}));
}

TEST_F(HostileConnection, ClosesAHandshakeThatTakesLongerThanFiveSeconds) {
  const std::string whole = hello("peer-1");
  LogCapture log;
  Stranger silent(world.loop(), HERE);
  Stranger slow(world.loop(), HERE);
  const TimePoint start = world.now();
  for (std::size_t i = 0; i < 10 && !slow.is_refused(); ++i) {
    slow.say(whole.substr(i, 1));
    world.run_for(milliseconds(490));
  }
  EXPECT_FALSE(silent.is_refused());
  EXPECT_FALSE(slow.is_refused());
  settle([&] { return silent.is_refused() && slow.is_refused(); });
  EXPECT_LT(world.now() - start, seconds(6));
  EXPECT_EQ(closings(log), (Lines{"no handshake in time", "no handshake in time"}));
  EXPECT_EQ(listener.connections(), 0U);
}

TEST_F(HostileConnection, KeepsASilentPeerThatHasShownItself) {
  Stranger peer(world.loop(), HERE);
  peer.say(hello("peer-1"));
  world.run_for(seconds(3600));
  EXPECT_FALSE(peer.is_refused());
}

}  // namespace
