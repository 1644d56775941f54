// A stranger that is asked.
#include <optional>

#include "framework/xrl/limits.h"
#include "framework/xrl/router/xrl_connection.h"
#include "tests/integration/hostile_connection.h"

namespace {

using namespace hostile_bytes;
using namespace hostile_connection;
using std::chrono::seconds;

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
  void connection_down(XrlConnection&, XrlConnection::Cause, std::string_view reason) override {
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
