// Where policyd looks for the finder, as its command line says. The ports are fixed:
// no two of these tests run at a time.
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tests/integration/control_plane.h"

namespace {

using Words = std::vector<std::string>;

Words policyd(Words words) {
  words.insert(words.begin(), program("policyd"));
  return words;
}

// Gives the test a loopback network of its own, so that ports which are fixed
// are free. Not every place allows it.
bool enter_own_network() {
  if (unshare(CLONE_NEWNET) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq interface {};
  std::strncpy(interface.ifr_name, "lo", IFNAMSIZ - 1);
  interface.ifr_flags = IFF_UP | IFF_RUNNING;
  const bool up = ioctl(fd, SIOCSIFFLAGS, &interface) == 0;
  close(fd);
  return up;
}

// That policyd, so started, connects to `address`.
void expect_connection(const Words& words, const std::string& address) {
  const bool alone = enter_own_network();
  NetAddress where;
  ASSERT_TRUE(NetAddress::parse(address, where));
  Client client("127.0.0.1", 1);
  Network& network = client.loop().network();
  const int listener = network.listen(where);
  if (listener == -EADDRINUSE && !alone) GTEST_SKIP() << address << " is taken";
  ASSERT_GE(listener, 0) << std::strerror(-listener);
  {
    ChildProcess process(policyd(words));
    bool connected = false;
    const Watch watch(client.loop(), listener, IoInterest::READ,
                      [&](IoInterest) { connected = true; });
    EXPECT_TRUE(client.turn_until([&] { return connected; })) << process.errors();
  }
  network.close(listener);
}

TEST(FinderPlace, IsTheLoopbackAddressAndPort19999WithoutArguments) {
  expect_connection({}, "127.0.0.1:19999");
}

TEST(FinderPlace, TakesTheHostAndKeepsThePort) {
  expect_connection({"-F", "127.0.0.2"}, "127.0.0.2:19999");
}

TEST(FinderPlace, TakesHostAndPort) {
  expect_connection({"-F", "127.0.0.2:1234"}, "127.0.0.2:1234");
}

TEST(FinderPlace, ResolvesAHostName) {
  expect_connection({"-F", "localhost:1234"}, "127.0.0.1:1234");
}

TEST(FinderPlace, CutsAPortToSixteenBits) {
  expect_connection({"-F", "127.0.0.1:70000"}, "127.0.0.1:4464");
}

TEST(FinderPlace, ReadsAPortUpToItsFirstCharacterThatIsNoDigit) {
  expect_connection({"-F", "127.0.0.1:1234x"}, "127.0.0.1:1234");
}

TEST(FinderPlace, KeepsAnEarlierPortWhenALaterOptionHasNone) {
  expect_connection({"-F", "127.0.0.3:1234", "-F", "127.0.0.2"}, "127.0.0.2:1234");
}

TEST(FinderPlace, IsEmptyWhereTheOptionNamesNoHost) {
  ChildProcess process(policyd({"-F", ":1234"}));
  EXPECT_TRUE(process.wait_for_errors("the finder's host '' has no address")) << process.errors();
}

}  // namespace
