#include "tests/simulation/sim_world.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

const NetAddress HERE = NetAddress::tcp(IPv4::loopback(), 19999);

std::span<const std::uint8_t> bytes_of(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// A world with one listener, and what a test does with its sockets by hand.
class SimNetworkTest : public ::testing::Test {
 protected:
  struct Pair {
    int client;
    int server;
  };

  static constexpr std::uint64_t SEED = 7;

  SimWorld _world{SEED};
  SimNetwork& _network = _world.network();
  int _listener = _network.listen(HERE);

  // Lets everything under way arrive.
  void settle() { _world.run_for(seconds(1)); }

  int accepted() {
    NetAddress peer;
    return _network.accept(_listener, peer);
  }

  Pair connected() {
    const int client = _network.connect(HERE);
    settle();
    return {client, accepted()};
  }

  std::ptrdiff_t write(int fd, const std::string& text) {
    return _network.write(fd, bytes_of(text));
  }

  void write_all(int fd, std::string text) {
    while (!text.empty()) {
      const std::ptrdiff_t written = write(fd, text);
      ASSERT_GT(written, 0);
      text.erase(0, static_cast<std::size_t>(written));
    }
  }

  // Reads until there is nothing left; the last answer is in `_last`.
  std::string read_dry(int fd) {
    std::string text;
    std::array<std::uint8_t, 100> buffer{};
    for (;;) {
      _last = _network.read(fd, buffer);
      if (_last <= 0) return text;
      text.append(buffer.begin(), buffer.begin() + _last);
    }
  }
  std::ptrdiff_t _last = 0;
};

TEST_F(SimNetworkTest, BytesArriveInOrderThoughReadsAndWritesArePartial) {
  _network.set_partial(900);
  const Pair pair = connected();
  std::string sent;
  for (int i = 0; i < 200; ++i) sent += std::to_string(i) + ",";
  write_all(pair.client, sent);
  settle();
  EXPECT_EQ(read_dry(pair.server), sent);
  EXPECT_EQ(_last, -EAGAIN);
}

TEST_F(SimNetworkTest, BytesTakeTheirTime) {
  _network.set_partial(0);
  const Pair pair = connected();
  _network.set_delay(milliseconds(10), milliseconds(20));
  ASSERT_EQ(write(pair.client, "hello"), 5);
  _world.run_for(milliseconds(9));
  EXPECT_EQ(read_dry(pair.server), "");
  _world.run_for(milliseconds(11));
  EXPECT_EQ(read_dry(pair.server), "hello");
}

TEST_F(SimNetworkTest, AConnectToAnAddressWithoutListenerIsRefused) {
  const int fd = _network.connect(NetAddress::tcp(IPv4::loopback(), 1));
  EXPECT_EQ(_network.connect_result(fd), -EINPROGRESS);
  settle();
  EXPECT_EQ(_network.readiness(fd), IoInterest::READ_WRITE);
  EXPECT_EQ(_network.connect_result(fd), -ECONNREFUSED);
}

TEST_F(SimNetworkTest, AConnectToAnUnreachableHostFails) {
  _network.set_host_state(IPv4::loopback(), SimHostState::UNREACHABLE);
  const int fd = _network.connect(HERE);
  settle();
  EXPECT_EQ(_network.connect_result(fd), -EHOSTUNREACH);
}

TEST_F(SimNetworkTest, AConnectToASilentHostNeverEnds) {
  _network.set_host_state(IPv4::loopback(), SimHostState::SILENT);
  const int fd = _network.connect(HERE);
  settle();
  EXPECT_EQ(_network.connect_result(fd), -EINPROGRESS);
  EXPECT_EQ(_network.readiness(fd), IoInterest::NONE);
}

TEST_F(SimNetworkTest, BothEndsKnowTheirAddresses) {
  const int client = _network.connect(HERE);
  settle();
  NetAddress peer;
  const int server = _network.accept(_listener, peer);
  EXPECT_EQ(peer, _network.local_address(client));
  EXPECT_EQ(peer.host, IPv4::loopback());
  EXPECT_EQ(_network.local_address(server), HERE);
  EXPECT_EQ(_network.local_address(_listener), HERE);
}

TEST_F(SimNetworkTest, ListenersWithoutPortGetDifferentOnes) {
  const int one = _network.listen(NetAddress::tcp(IPv4::loopback(), 0));
  const int two = _network.listen(NetAddress::tcp(IPv4::loopback(), 0));
  EXPECT_NE(_network.local_address(one).port, 0);
  EXPECT_NE(_network.local_address(one).port, _network.local_address(two).port);
}

TEST_F(SimNetworkTest, AnAddressIsListenedOnOnce) {
  EXPECT_EQ(_network.listen(HERE), -EADDRINUSE);
}

TEST_F(SimNetworkTest, AListenerOnEveryHostIsReachedThroughAny) {
  const int listener = _network.listen(NetAddress::tcp(IPv4(), 5));
  const int client = _network.connect(NetAddress::tcp(IPv4(0x0a000001), 5));
  settle();
  EXPECT_EQ(_network.connect_result(client), 0);
  EXPECT_EQ(_network.readiness(listener), IoInterest::READ);
}

TEST_F(SimNetworkTest, UnixDomainAddressesWorkAlike) {
  const NetAddress path = NetAddress::unix_path("@router");
  const int listener = _network.listen(path);
  const int client = _network.connect(path);
  settle();
  NetAddress peer = HERE;
  EXPECT_GE(_network.accept(listener, peer), 0);
  EXPECT_EQ(peer, NetAddress::unix_path(""));
  EXPECT_EQ(_network.connect_result(client), 0);
}

TEST_F(SimNetworkTest, AFullBufferRefusesMoreUntilItIsRead) {
  _network.set_buffer_size(10);
  const Pair pair = connected();
  write_all(pair.client, "0123456789");
  EXPECT_EQ(write(pair.client, "x"), -EAGAIN);
  EXPECT_EQ(_network.readiness(pair.client), IoInterest::NONE);
  settle();
  EXPECT_EQ(write(pair.client, "x"), -EAGAIN);
  EXPECT_EQ(read_dry(pair.server), "0123456789");
  EXPECT_EQ(_network.readiness(pair.client), IoInterest::WRITE);
  EXPECT_EQ(write(pair.client, "x"), 1);
}

TEST_F(SimNetworkTest, AWriteIsCutAtTheRoomThatIsLeft) {
  _network.set_partial(0);
  _network.set_buffer_size(4);
  const Pair pair = connected();
  EXPECT_EQ(write(pair.client, "012345"), 4);
}

TEST_F(SimNetworkTest, ACloseIsTheEndOfTheStreamBehindAllBytes) {
  const Pair pair = connected();
  write_all(pair.client, "last words");
  _network.close(pair.client);
  settle();
  EXPECT_EQ(read_dry(pair.server), "last words");
  EXPECT_EQ(_last, 0);
}

TEST_F(SimNetworkTest, WritingToAClosedEndIsAnsweredWithAReset) {
  const Pair pair = connected();
  _network.close(pair.server);
  settle();
  EXPECT_EQ(write(pair.client, "x"), 1);
  settle();
  EXPECT_EQ(write(pair.client, "y"), -ECONNRESET);
  EXPECT_EQ(write(pair.client, "y"), -EPIPE);
}

TEST_F(SimNetworkTest, ClosingWithUnreadBytesResetsTheOtherEnd) {
  const Pair pair = connected();
  write_all(pair.client, "unread");
  settle();
  _network.close(pair.server);
  settle();
  EXPECT_EQ(read_dry(pair.client), "");
  EXPECT_EQ(_last, -ECONNRESET);
}

TEST_F(SimNetworkTest, ClosingAListenerResetsWhoWaitsInItsQueue) {
  const int client = _network.connect(HERE);
  settle();
  _network.close(_listener);
  settle();
  EXPECT_EQ(read_dry(client), "");
  EXPECT_EQ(_last, -ECONNRESET);
}

TEST_F(SimNetworkTest, ACutConnectionIsResetAtBothEndsAfterWhatArrived) {
  const Pair pair = connected();
  write_all(pair.client, "arrived");
  settle();
  write_all(pair.client, "lost");
  EXPECT_TRUE(_network.cut(_network.connections().front().id));
  EXPECT_EQ(read_dry(pair.server), "arrived");
  EXPECT_EQ(_last, -ECONNRESET);
  EXPECT_EQ(read_dry(pair.client), "");
  EXPECT_EQ(_last, -ECONNRESET);
  EXPECT_TRUE(_network.connections().empty());
}

TEST_F(SimNetworkTest, CuttingARandomConnectionNeedsOne) {
  EXPECT_FALSE(_network.cut_random());
  const Pair pair = connected();
  EXPECT_TRUE(_network.cut_random());
  EXPECT_EQ(write(pair.client, "x"), -ECONNRESET);
}

TEST_F(SimNetworkTest, CuttingAListenersConnectionsLeavesOthers) {
  connected();
  connected();
  const NetAddress elsewhere = NetAddress::unix_path("@other");
  _network.listen(elsewhere);
  _network.connect(elsewhere);
  settle();
  EXPECT_EQ(_network.cut_all(HERE), 2U);
  ASSERT_EQ(_network.connections().size(), 1U);
  EXPECT_EQ(_network.connections().front().listener, elsewhere);
}

TEST_F(SimNetworkTest, AHeldConnectionDeliversNothingUntilItIsReleased) {
  const Pair pair = connected();
  const std::uint64_t id = _network.connections().front().id;
  EXPECT_TRUE(_network.hold(id));
  write_all(pair.client, "late");
  _network.close(pair.client);
  settle();
  EXPECT_EQ(read_dry(pair.server), "");
  EXPECT_EQ(_last, -EAGAIN);
  EXPECT_TRUE(_network.release(id));
  settle();
  EXPECT_EQ(read_dry(pair.server), "late");
  EXPECT_EQ(_last, 0);
}

TEST_F(SimNetworkTest, FaultsOnAnUnknownConnectionAreRefused) {
  EXPECT_FALSE(_network.cut(99));
  EXPECT_FALSE(_network.hold(99));
  EXPECT_FALSE(_network.release(99));
}

TEST_F(SimNetworkTest, ClosedDescriptorNumbersAreUsedAgain) {
  const int one = _network.connect(HERE);
  _network.connect(HERE);
  _network.close(one);
  EXPECT_EQ(_network.connect(HERE), one);
}

TEST_F(SimNetworkTest, WithoutDescriptorsAWaitingConnectionIsReset) {
  const int client = _network.connect(HERE);
  settle();
  _network.set_descriptor_limit(2);
  EXPECT_EQ(accepted(), -EMFILE);
  EXPECT_EQ(accepted(), -EAGAIN);
  EXPECT_EQ(_network.connect(HERE), -EMFILE);
  settle();
  EXPECT_EQ(read_dry(client), "");
  EXPECT_EQ(_last, -ECONNRESET);
}

TEST_F(SimNetworkTest, ClosingAWatchedDescriptorIsAMistake) {
  Watch watch(_world.loop(), _listener, IoInterest::READ, [](IoInterest) {});
  EXPECT_DEATH(_network.close(_listener), "descriptor 3 is still watched");
}

TEST_F(SimNetworkTest, UsingAClosedDescriptorIsAMistake) {
  _network.close(_listener);
  EXPECT_DEATH((void)accepted(), "descriptor 3 is not open");
}

TEST(SimWorld, TimersMoveVirtualTimeAndNoRealOne) {
  SimWorld world(1);
  TimePoint ran_at;
  Timer timer(world.loop(), [&] { ran_at = world.now(); });
  timer.schedule_after(std::chrono::hours(1000));
  world.loop().run();
  EXPECT_EQ(ran_at, TimePoint(std::chrono::hours(1000)));
}

TEST(SimWorld, WaitingForEverForNothingIsReported) {
  SimWorld world(1);
  world.note("the last thing");
  try {
    world.loop().run();
    FAIL() << "the loop came back";
  } catch (const SimStuck& stuck) {
    EXPECT_STREQ(stuck.what(),
                 "simulation stuck: nothing is going to happen any more, yet the system waits for "
                 "ever; the last events were\n0.000000000 the last thing\n");
  }
}

TEST(SimWorld, ABusyLoopIsReported) {
  SimWorld world(1);
  std::optional<Deferred> again;
  again.emplace(world.loop(), [&] { again->schedule(); });
  again->schedule();
  EXPECT_THROW(world.run_for(seconds(1)), SimStuck);
}

TEST(SimWorld, RunningUntilSomethingStopsThere) {
  SimWorld world(1);
  bool done = false;
  Timer timer(world.loop(), [&] { done = true; });
  timer.schedule_after(seconds(3));
  EXPECT_TRUE(world.run_until([&] { return done; }, seconds(10)));
  EXPECT_EQ(world.now(), TimePoint(seconds(3)));
}

TEST(SimWorld, RunningUntilSomethingThatDoesNotComeEndsAtTheLimit) {
  SimWorld world(1);
  EXPECT_FALSE(world.run_until([] { return false; }, seconds(10)));
  EXPECT_EQ(world.now(), TimePoint(seconds(10)));
}

TEST(SimWorld, TheReportNamesSeedTraceAndEvents) {
  SimWorld world(5);
  world.note("something");
  world.run_for(milliseconds(1500));
  world.note("something else");
  EXPECT_TRUE(world.report().starts_with("seed 5, trace "));
  EXPECT_TRUE(
      world.report().ends_with(", 2 events\n0.000000000 something\n1.500000000 something else\n"));
}

// Some clients that talk to an echo server over their own event loop watches,
// with connections being cut now and then: enough to meet every drawing.
class EchoTown {
 public:
  explicit EchoTown(std::uint64_t seed) : _world(seed) {
    _listener = _world.network().listen(HERE);
    _accept.emplace(_world.loop(), _listener, IoInterest::READ, [this](IoInterest) {
      NetAddress peer;
      const int fd = _world.network().accept(_listener, peer);
      if (fd >= 0) add(fd, true);
    });
    for (int i = 0; i < 5; ++i) add(_world.network().connect(HERE), false);
    _fault.emplace(_world.loop(), [this] {
      _world.network().cut_random();
      _fault->schedule_after(milliseconds(40));
    });
    _fault->schedule_after(milliseconds(40));
  }

  void run() { _world.run_for(milliseconds(300)); }
  [[nodiscard]] const SimTrace& trace() const { return _world.trace(); }

 private:
  void add(int fd, bool is_server) {
    _watches[fd] = std::make_unique<Watch>(
        _world.loop(), fd, is_server ? IoInterest::READ : IoInterest::READ_WRITE,
        [this, fd, is_server](IoInterest ready) { serve(fd, is_server, ready); });
  }

  void serve(int fd, bool is_server, IoInterest ready) {
    std::array<std::uint8_t, 64> buffer{};
    std::ptrdiff_t count = -EAGAIN;
    if (wants_read(ready)) count = _world.network().read(fd, buffer);
    if (is_server && count > 0) {
      _world.network().write(fd, std::span(buffer).first(static_cast<std::size_t>(count)));
    } else if (!is_server && wants_write(ready)) {
      _world.random().fill(buffer);
      _world.network().write(fd, buffer);
      _watches[fd]->set_interest(IoInterest::READ);
    } else if (!is_server && count > 0) {
      _watches[fd]->set_interest(IoInterest::READ_WRITE);
    }
    if (count == 0 || (count < 0 && count != -EAGAIN)) {
      _watches.erase(fd);
      _world.network().close(fd);
    }
  }

  SimWorld _world;
  int _listener = -1;
  std::optional<Watch> _accept;
  std::optional<Timer> _fault;
  std::map<int, std::unique_ptr<Watch>> _watches;
};

TEST(SimWorld, TheSameSeedGivesTheSameTrace) {
  EchoTown one(42);
  EchoTown other(42);
  one.run();
  other.run();
  EXPECT_GT(one.trace().line_count(), 100U);
  EXPECT_EQ(one.trace().lines(), other.trace().lines());
  EXPECT_EQ(one.trace().hash(), other.trace().hash());
}

TEST(SimWorld, AnotherSeedGivesAnotherTrace) {
  EchoTown one(42);
  EchoTown other(43);
  one.run();
  other.run();
  EXPECT_NE(one.trace().hash(), other.trace().hash());
}

TEST(SimTrace, KeepsTheYoungestLinesAndCountsAll) {
  SimWorld world(1);
  for (std::size_t i = 0; i <= SimTrace::KEPT_LINES; ++i) world.note(std::to_string(i));
  EXPECT_EQ(world.trace().line_count(), SimTrace::KEPT_LINES + 1);
  EXPECT_EQ(world.trace().lines().size(), SimTrace::KEPT_LINES);
  EXPECT_EQ(world.trace().tail(1), "0.000000000 2000\n");
}

TEST(SimRandom, GivesTheKnownNumbersOfItsSeed) {
  // The published first values of SplitMix64 for seed 1234567.
  SimRandom random(1234567);
  EXPECT_EQ(random.next(), 6457827717110365317U);
  EXPECT_EQ(random.next(), 3203168211198807973U);
  EXPECT_EQ(random.next(), 9817491932198370423U);
}

TEST(SimKernel, RandomBytesComeFromTheSeed) {
  const auto drawn = [](std::uint64_t seed) {
    SimWorld world(seed);
    std::array<std::uint8_t, 16> bytes{};
    world.kernel().random_bytes(bytes);
    return bytes;
  };
  EXPECT_EQ(drawn(1), drawn(1));
  EXPECT_NE(drawn(1), drawn(2));
}

TEST(SimKernel, ReportsNoMoreThanThereIsRoomFor) {
  SimWorld world(1);
  world.network().listen(HERE);
  for (int i = 0; i < 3; ++i) world.network().connect(HERE);
  world.run_for(seconds(1));
  for (int fd = 4; fd < 7; ++fd) world.kernel().watch(fd, IoInterest::WRITE);
  std::array<IoReady, 2> ready{};
  EXPECT_EQ(world.kernel().wait(Kernel::AT_ONCE, ready), 2U);
  for (int fd = 4; fd < 7; ++fd) world.kernel().watch(fd, IoInterest::NONE);
}

}  // namespace
