// A stranger whose requests take long.
#include "framework/xrl/limits.h"
#include "tests/integration/hostile_connection.h"

namespace {

using namespace hostile_bytes;
using namespace hostile_connection;
using std::chrono::milliseconds;

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
  static std::string requests(std::uint32_t count, const char* method = "test/0.1/slow") {
    std::string bytes;
    for (std::uint32_t i = 0; i < count; ++i) bytes += request(i, method);
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
  Handler long_handler{commands, "test/0.1/long",
                       [this] {
                         ++ran;
                         kernel.pass(milliseconds(3));
                       },
                       xrl_limits::LONG_ANSWER_BYTES};
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

TEST_F(HostileConnectionTurn, EndsSoonerForAPeerWhoseAnswersAreLong) {
  world.network().set_buffer_size(64U << 20U);
  Stranger hog(loop, HERE);
  hog.say(hello("hog-1") + requests(200, "test/0.1/long"));
  EXPECT_LE(most_in_a_turn(hog, 200), 3);
  EXPECT_EQ(ran, 200);
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

}  // namespace
