// What one connection makes of what a stranger says to it, byte by byte and on
// virtual time; docs/wire-format.md tells the same as a table.
#include "framework/xrl/connection.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "framework/xrl/dispatcher.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/listener.h"
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
constexpr const char* SAY = "echo/0.1/say";
constexpr const char* SUM = "echo/0.1/sum";
constexpr const char* FILL = "echo/0.1/fill";

// Runs what a test hands it as the handler of one method.
class Handler {
 public:
  using Function = std::function<void()>;
  Handler(XrlCmdMap& commands, const char* method, Function function)
      : _function(std::move(function)) {
    commands.add_handler(method, run, this);
  }

 private:
  static XrlCmdError run(void* handler, XrlArgsReader& /*in*/, XrlArgsWriter& out) {
    static_cast<Handler*>(handler)->_function();
    out.u32("done", 1);
    return XrlCmdError::OKAY();
  }
  Function _function;
};

// The log lines so far, without the addresses of the peers.
Lines closings(LogCapture& log) {
  Lines all;
  for (const std::string& line : log.take_lines()) {
    const std::size_t reason = line.rfind("closed the connection of ");
    all.push_back(reason == std::string::npos ? line : line.substr(line.find(": ", reason) + 2));
  }
  return all;
}

class HostileConnection : public testing::Test {
 protected:
  void SetUp() override {
    dispatcher.set_commands(commands);
    ASSERT_EQ(listener.listen(HERE), 0);
  }
  static XrlListener::Options options() {
    XrlListener::Options options = XrlListener::default_options();
    options.hello.instance = "echo-1";
    return options;
  }
  void settle(const std::function<bool()>& done, Duration limit = seconds(2)) {
    ASSERT_TRUE(world.run_until(done, limit)) << world.report();
  }
  // What it hears until it is silent for a second.
  Lines answers_to(const std::string& bytes) {
    Stranger peer(world.loop(), HERE);
    peer.say(bytes);
    world.run_for(seconds(1));
    return peer.heard();
  }
  // Why a peer is closed that says this, or "open".
  std::string end_of(const std::string& bytes) {
    LogCapture log;
    Stranger peer(world.loop(), HERE);
    peer.say(bytes);
    world.run_for(seconds(1));
    const Lines lines = closings(log);
    EXPECT_LE(lines.size(), 1U);
    EXPECT_EQ(peer.is_refused(), !lines.empty());
    return lines.empty() ? "open" : lines.front();
  }
  void expect_service() {
    EXPECT_EQ(answers_to(hello("honest-1") + request(1, SAY, args("text:txt=there"))),
              (Lines{"hello echo-1", "reply 1 100 said:txt=there"}));
  }

  SimWorld world{7};
  WellKnownCmdMap commands{"echo"};
  EchoTarget target{&commands};
  XrlDispatcher dispatcher;
  XrlListener listener{world.loop(), dispatcher, options()};
};

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
  EXPECT_EQ(end_of(up + u32(xrl_limits::MAX_FRAME_BYTES)), "open");
  EXPECT_EQ(end_of(up + u32(xrl_limits::MAX_FRAME_BYTES + 1)),
            "damaged: a frame of 16777217 bytes");
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

// A clock that moves while a turn runs, as real ones do.
class SlowKernel final : public Kernel {
 public:
  explicit SlowKernel(Kernel& inner) : _inner(inner) {}
  TimePoint now() override { return _inner.now() + _passed; }
  void watch(int fd, IoInterest interest) override { _inner.watch(fd, interest); }
  std::size_t wait(TimePoint until, std::span<IoReady> ready) override {
    return _inner.wait(until == AT_ONCE || until == NEVER ? until : until - _passed, ready);
  }
  void random_bytes(std::span<std::uint8_t> out) override { _inner.random_bytes(out); }
  void pass(Duration time) { _passed += time; }

 private:
  Kernel& _inner;
  Duration _passed{};
};

class HostileConnectionTurn : public testing::Test {
 protected:
  void SetUp() override {
    dispatcher.set_commands(commands);
    ASSERT_EQ(listener.listen(HERE), 0);
  }
  // Answers how many requests ran in the turn that ran most.
  int most_in_a_turn(Stranger& peer, std::size_t answers) {
    int most = 0;
    for (int turn = 0; turn < 10000 && peer.frames().size() < answers + 1; ++turn) {
      const int before = ran;
      loop.run();
      most = std::max(most, ran - before);
    }
    return most;
  }
  static std::string requests(std::uint32_t count) {
    std::string bytes;
    for (std::uint32_t i = 0; i < count; ++i) bytes += request(i, "test/0.1/slow");
    return bytes;
  }

  SimWorld world{7};
  SlowKernel kernel{world.kernel()};
  EventLoop loop{kernel, world.network()};
  WellKnownCmdMap commands{"slow"};
  int ran = 0;
  Handler handler{commands, "test/0.1/slow", [this] {
                    ++ran;
                    kernel.pass(milliseconds(1));
                  }};
  XrlDispatcher dispatcher;
  XrlListener listener{loop, dispatcher, XrlListener::default_options()};
};

TEST_F(HostileConnectionTurn, EndsForAPeerWhoseRequestsTakeLongSoThatOthersAreServed) {
  Stranger hog(loop, HERE);
  hog.say(hello("hog-1") + requests(2000));
  EXPECT_LE(most_in_a_turn(hog, 2000), 4 * static_cast<int>(xrl_limits::REQUESTS_PER_LOOK));
  EXPECT_EQ(hog.frames().size(), 2001U) << "what waits for the next turn is not lost";
  EXPECT_EQ(ran, 2000);
}

TEST_F(HostileConnectionTurn, MayEndWithTheLastRequestOfAPeerThatLaterHasMore) {
  world.network().set_partial(0);
  for (std::uint32_t count = 1; count < 70; ++count) {
    Stranger peer(loop, HERE);
    peer.say(hello("peer-1") + requests(count));
    most_in_a_turn(peer, count);
    peer.say(requests(1));
    most_in_a_turn(peer, count + 1);
    ASSERT_EQ(peer.frames().size(), count + 2);
  }
}

// The side that asks.
class HostileTarget : public testing::Test, protected XrlConnection::Delegate {
 protected:
  void SetUp() override {
    connection.emplace(world.loop(), world.network().connect(host.address()),
                       XrlConnection::Side::CONNECTING, host.address(),
                       xrl_frame::Hello{"caller-1", ""}, nullptr, delegate());
    ASSERT_TRUE(world.run_until([this] { return host.strangers().size() == 1; }, seconds(1)));
  }
  XrlConnection::Delegate& delegate() { return *this; }
  Stranger& stranger() { return *host.strangers().front(); }
  // Why the connection ended after the stranger said this, or "open".
  std::string end_after(const std::string& bytes) {
    stranger().say(bytes);
    world.run_for(seconds(1));
    return ended;
  }

  void connection_up(XrlConnection&) override {}
  void reply_arrived(XrlConnection&, std::uint32_t sequence, const XrlError& error,
                     XrlArgsReader&) override {
    replies.push_back(std::to_string(sequence) + " " + error.str());
  }
  void connection_down(XrlConnection&, XrlConnection::Cause, const std::string& reason) override {
    ended = reason;
  }

  SimWorld world{7};
  StrangerHost host{world.loop()};
  std::optional<XrlConnection> connection;
  Lines replies;
  std::string ended = "open";
};

TEST_F(HostileTarget, IsClosedWhenItAsksOnAConnectionThatWasMadeToIt) {
  EXPECT_EQ(end_after(hello("target-1") + request(1, SAY)),
            "damaged: an unexpected frame of kind 2");
}

TEST_F(HostileTarget, IsClosedForDamageLikeAnyPeer) {
  EXPECT_EQ(end_after(hello("target-1") + u32(0xffffffff)), "damaged: a frame of 4294967295 bytes");
}

TEST_F(HostileTarget, IsClosedWhenItSaysNoHelloInTime) {
  world.run_for(seconds(6));
  EXPECT_EQ(ended, "no handshake in time");
}

TEST_F(HostileTarget, HasItsUnknownCodeHandedOnAsAnInternalError) {
  EXPECT_EQ(end_after(hello("target-1") + reply(3, 4711, "odd")), "open");
  EXPECT_EQ(replies, Lines{"3 220 INTERNAL_ERROR odd"});
}

TEST_F(HostileTarget, IsReadOnWhileItTakesNothing) {
  end_after(hello("target-1"));
  stranger().set_reading(false);
  const std::vector<std::uint8_t> much(4U << 20U);
  connection->send_request(1, {}, much);
  world.run_for(seconds(1));
  ASSERT_GT(connection->bytes_to_write(), xrl_limits::REPLY_BYTES_HIGH_WATER);
  // Were it not read, two sides that both have much to say would wait for each
  // other.
  EXPECT_EQ(end_after(reply(1, 102, "heard")), "open");
  EXPECT_EQ(replies, Lines{"1 102 COMMAND_FAILED heard"});
}

}  // namespace
