#include "framework/xrl/router/xrl_dispatcher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "framework/xrl/limits.h"
#include "framework/xrl/router/xrl_connection.h"
#include "tests/simulation/sim_world.h"

namespace {

const NetAddress HERE = NetAddress::tcp(IPv4::loopback(), 1);

// A target with a method that writes a text and then runs out of memory, and methods
// of each kind that answer as they are told.
class Dispatcher : public testing::Test, private XrlConnection::Delegate {
 protected:
  void SetUp() override {
    ASSERT_TRUE(commands.add_handler("test/0.1/forget", &Dispatcher::forget, this));
    dispatcher.set_commands(commands);
    for (const XrlMethodKind kind : {XrlMethodKind::READ, XrlMethodKind::CHANGE,
                                     XrlMethodKind::CONTROL, XrlMethodKind::ADMIN}) {
      const auto number = static_cast<std::size_t>(kind);
      ASSERT_TRUE(by_kind.at(number).add_handler("test/0.1/do", &Dispatcher::do_it, this, kind));
    }
    ASSERT_GE(world.network().listen(HERE), 0);
    connection.emplace(world.loop(), world.network().connect(HERE), XrlConnection::Side::CONNECTING,
                       HERE, xrl_frame::Hello{"caller-1", ""}, nullptr, delegate());
  }
  Delegate& delegate() { return *this; }

  static XrlCmdError forget(void* self, XrlArgsReader&, XrlArgsWriter& results) {
    auto& test = *static_cast<Dispatcher*>(self);
    results.text("text", "written before memory ran out");
    test.capacity_at_throw = test.out.capacity();
    throw std::bad_alloc();
  }
  static XrlCmdError do_it(void* self, XrlArgsReader&, XrlArgsWriter&) {
    return static_cast<Dispatcher*>(self)->answer;
  }
  // How many changes a request of that kind is counted as.
  std::uint64_t changes_by(XrlMethodKind kind) {
    dispatcher.set_commands(by_kind.at(static_cast<std::size_t>(kind)));
    const std::uint64_t before = dispatcher.changes();
    dispatch_forget();
    return dispatcher.changes() - before;
  }
  static XrlCmdError fill(void* self, XrlArgsReader&, XrlArgsWriter& results) {
    constexpr std::size_t HEAD = 2 + 4;  // type, name length, text length
    std::size_t left = static_cast<Dispatcher*>(self)->result_bytes;
    while (left > 0) {
      std::size_t text = std::min<std::size_t>(left - HEAD, xrl_limits::MAX_TEXT_BYTES);
      // What is left must have room for a head of its own.
      if (left - HEAD - text < HEAD && left - HEAD != text) text -= HEAD;
      results.text("", std::string(text, 'x'));
      left -= HEAD + text;
    }
    return XrlCmdError::OKAY();
  }
  XrlFilterAction dispatch_forget() {
    const XrlKey key{};
    return dispatcher.dispatch(*connection, xrl_frame::Request{7, key.data(), {}}, out);
  }
  // What stands in `out` from there on, as "SEQUENCE CODE TEXT".
  std::string reply_at(std::size_t start) {
    const auto frame = out.bytes().subspan(start + xrl_frame::LENGTH_BYTES);
    EXPECT_EQ(load_u32(out.data() + start), frame.size());
    EXPECT_EQ(frame[0], static_cast<std::uint8_t>(xrl_frame::Kind::REPLY));
    xrl_frame::Reply reply{};
    EXPECT_TRUE(xrl_frame::parse_reply(frame.subspan(1), reply));
    return std::to_string(reply.sequence) + " " + std::to_string(reply.code) + " " +
           std::string(reply.rest.begin(), reply.rest.end());
  }

  void connection_up(XrlConnection&) override {}
  void reply_arrived(XrlConnection&, std::uint32_t, const XrlError&, XrlArgsReader&) override {}
  void connection_down(XrlConnection&, XrlConnection::Cause, std::string_view) override {}

  SimWorld world{7};
  std::optional<XrlConnection> connection;
  XrlCmdMap commands{"test"};
  std::array<XrlCmdMap, 4> by_kind{XrlCmdMap{"read"}, XrlCmdMap{"change"}, XrlCmdMap{"control"},
                                   XrlCmdMap{"admin"}};
  XrlCmdError answer = XrlCmdError::OKAY();
  XrlDispatcher dispatcher;
  ByteBuffer out;
  std::size_t capacity_at_throw = 0;
  std::size_t result_bytes = 0;
};

TEST_F(Dispatcher, WithoutCommandsKnowsNoMethod) {
  XrlDispatcher none;
  const XrlKey key{};
  none.dispatch(*connection, xrl_frame::Request{7, key.data(), {}}, out);
  EXPECT_EQ(reply_at(0), "7 202 the request's key names no method of this target.");
}

TEST_F(Dispatcher, AnswersAHandlerThatRunsOutOfMemory) {
  EXPECT_EQ(dispatch_forget(), XrlFilterAction::HANDLE);
  EXPECT_EQ(reply_at(0), "7 220 out of memory.");
  EXPECT_EQ(dispatcher.current(), nullptr);
}

TEST_F(Dispatcher, RepliesWithResultsThatJustFillAReply) {
  // Besides the results the frame holds a kind, a sequence number and a code.
  constexpr std::size_t MOST = xrl_limits::MAX_REPLY_BYTES - (1 + 4 + 4);
  XrlCmdMap long_commands("long");
  ASSERT_TRUE(long_commands.add_handler("test/0.1/fill", &Dispatcher::fill, this));
  dispatcher.set_commands(long_commands);
  for (const std::size_t bytes : {MOST - 1, MOST}) {
    result_bytes = bytes;
    dispatch_forget();
    EXPECT_EQ(out.size(), xrl_frame::REPLY_HEAD + bytes);
    out.clear();
  }
  result_bytes = MOST + 1;
  dispatch_forget();
  EXPECT_EQ(reply_at(0), "7 220 the reply is longer than a frame may be.");
}

TEST_F(Dispatcher, RefusesWhatItsFilterRefuses) {
  dispatcher.set_filter([](const XrlCmdMap::Command&) { return XrlFilterAction::REFUSE; });
  EXPECT_EQ(dispatch_forget(), XrlFilterAction::HANDLE);
  EXPECT_EQ(reply_at(0), "7 102 refused.");
}

TEST_F(Dispatcher, KeepsTheRepliesBeforeTheOneThatMemoryDidNotSufficeFor) {
  out.append("earlier", 7);
  dispatch_forget();
  EXPECT_EQ(std::string(out.bytes().begin(), out.bytes().begin() + 7), "earlier");
  EXPECT_EQ(reply_at(7), "7 220 out of memory.");
}

TEST_F(Dispatcher, CountsRequestsThatChangeSomething) {
  EXPECT_EQ(changes_by(XrlMethodKind::READ), 0U);
  EXPECT_EQ(changes_by(XrlMethodKind::CHANGE), 1U);
  EXPECT_EQ(changes_by(XrlMethodKind::CONTROL), 1U);
  EXPECT_EQ(changes_by(XrlMethodKind::ADMIN), 0U);
}

TEST_F(Dispatcher, CountsNoRequestThatIsRefused) {
  answer = XrlCmdError::COMMAND_FAILED("no.");
  EXPECT_EQ(changes_by(XrlMethodKind::CHANGE), 0U);
  answer = XrlCmdError::OKAY();
  dispatcher.set_filter([](const XrlCmdMap::Command&) { return XrlFilterAction::REFUSE; });
  EXPECT_EQ(changes_by(XrlMethodKind::CHANGE), 0U);
}

TEST_F(Dispatcher, TakesTheRoomToSaySoBeforeTheHandlerRuns) {
  for (std::size_t held = 0; held < 600; ++held) {
    out = ByteBuffer();
    out.append(std::string(held, 'x').data(), held);
    dispatch_forget();
    ASSERT_EQ(out.capacity(), capacity_at_throw) << held;
  }
}

}  // namespace
