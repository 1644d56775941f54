// policyd's command line, as a real process: which stream, which status, and
// where it looks for the finder.
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

std::string usage_of(const std::string& name) {
  return "Usage: " + name +
         " [-F <finder_hostname>[:<finder_port>]]\n"
         "           -F <finder_hostname>[:<finder_port>]  : finder hostname and port\n"
         "           -h                                    : usage (this message)\n"
         "\n"
         "Program name:   " +
         name +
         "\n"
         "Module name:    POLICY\n"
         "Module version: 0.1\n";
}

ChildProcess::Options policyd(const Words& words, const std::string& argv0 = "policyd") {
  Words argv{program("policyd")};
  argv.insert(argv.end(), words.begin(), words.end());
  return {argv, {}, -1, argv0};
}

void expect_help(const Words& words, const std::string& complaint) {
  ChildProcess process(policyd(words));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(process.output(), usage_of("policyd"));
  EXPECT_EQ(process.errors(), complaint);
}

void expect_complaint(const Words& words) {
  ChildProcess process(policyd(words));
  EXPECT_EQ(process.wait(), 1);
  EXPECT_EQ(process.output(), "");
  EXPECT_EQ(process.errors(), usage_of("policyd"));
}

TEST(CommandLine, HelpIsPrintedOnStandardOutputWithStatusZero) {
  expect_help({"-h"}, "");
}

TEST(CommandLine, AnUnknownOptionGetsTheUsageOnStandardOutputWithStatusZero) {
  expect_help({"-x"}, "policyd: invalid option -- 'x'\n");
}

TEST(CommandLine, AFinderOptionWithoutArgumentGetsTheUsageOnStandardOutputWithStatusZero) {
  expect_help({"-F"}, "policyd: option requires an argument -- 'F'\n");
}

TEST(CommandLine, AStrayArgumentGetsTheUsageOnStandardErrorWithStatusOne) {
  expect_complaint({"stray"});
  expect_complaint({"-F", "127.0.0.1:1", "stray"});
}

TEST(CommandLine, AFinderWithoutPortAfterItsColonGetsTheUsageOnStandardErrorWithStatusOne) {
  expect_complaint({"-F", "host:"});
}

TEST(CommandLine, TheFirstFaultDecides) {
  expect_help({"-h", "-F", "host:"}, "");
  expect_complaint({"-F", "host:", "-h"});
}

TEST(CommandLine, TheProgramIsNamedByTheLastComponentOfItsPath) {
  for (const auto& [argv0, name] : std::vector<std::pair<std::string, std::string>>{
           {"/usr/sbin/switch-policy", "switch-policy"}, {"name", "name"}, {"./a/b", "b"}}) {
    ChildProcess process(policyd({"-h"}, argv0));
    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(process.output(), usage_of(name));
  }
}

TEST(CommandLine, AFaultThatEndsTheDaemonIsToldAndTheStatusIsZeroAllTheSame) {
  ChildProcess::Options options = policyd({});
  options.environment = {{"XRL_COOKIE_FILE", "/no/such/file"}};
  ChildProcess process(options);
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(process.output(), "");
  const std::vector<std::string> lines = log_lines(process.errors());
  ASSERT_EQ(lines.size(), 1U) << process.errors();
  EXPECT_TRUE(lines[0].starts_with("ERROR policyd[")) << lines[0];
  EXPECT_TRUE(
      lines[0].ends_with("xorp_catch_standard_exceptions: XorpException: cookie file "
                         "'/no/such/file': No such file or directory."))
      << lines[0];
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
