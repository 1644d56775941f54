// The finder as a process: its command line, its cookie and how it leaves.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/base/event_loop.h"
#include "framework/xrl/router/xrl_connection.h"
#include "tests/support/finder_process.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/turn_until.h"

namespace {

const std::string USAGE =
    "Usage: finder [-i ADDRESS] [-p PORT] [--allow NET]... [-h]\n"
    "  -i ADDRESS   listen on this IPv4 address (127.0.0.1)\n"
    "  -p PORT      listen on this port, 0 for any free one (19999)\n"
    "  --allow NET  serve the hosts of NET too, written A.B.C.D/LEN; without\n"
    "               it this host alone is served\n"
    "  -h           print this and leave\n"
    "Environment:\n"
    "  XRL_COOKIE_FILE  a file of mode 0600 that holds the secret which every\n"
    "                   process must show\n";

class Finder {
 public:
  explicit Finder(std::vector<std::string> arguments, const std::string& cookie_file = {})
      : _process(
            {with_binary(std::move(arguments)), {{"XRL_COOKIE_FILE", cookie_file}}, -1, "finder"}) {
  }

  // Where it says that it listens; empty when it left instead.
  std::string address() { return address_of_finder(_process); }
  ChildProcess& process() { return _process; }

 private:
  static std::vector<std::string> with_binary(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), FINDER_BINARY);
    return arguments;
  }
  ChildProcess _process;
};

// Whether a peer with this cookie gets through the handshake.
class Caller final : private XrlConnection::Delegate {
 public:
  static bool is_served(const std::string& finder, const std::string& cookie) {
    NetAddress address;
    EXPECT_TRUE(NetAddress::parse(finder, address)) << finder;
    EventLoop loop;
    Caller caller;
    XrlConnection::Delegate& delegate = caller;
    XrlConnection connection(loop, loop.network().connect(address), XrlConnection::Side::CONNECTING,
                             address, {"caller", cookie}, nullptr, delegate);
    // Each side shows its cookie first, so a peer that is refused may be up
    // for a moment; only the answer to a request proves that it is served.
    EXPECT_TRUE(turn_until(loop, [&] {
      return caller._answered || connection.state() == XrlConnection::State::CLOSED;
    }));
    return caller._answered;
  }

 private:
  void connection_up(XrlConnection& connection) override {
    connection.send_request(1, well_known_xrl_key("finder/0.2/get_xrl_targets"), {});
  }
  void reply_arrived(XrlConnection& /*connection*/, std::uint32_t /*sequence*/,
                     const XrlError& error, XrlArgsReader& /*results*/) override {
    _answered = error.is_okay();
  }
  void connection_down(XrlConnection& /*connection*/, XrlConnection::Cause /*cause*/,
                       std::string_view /*reason*/) override {}

  bool _answered = false;
};

TEST(FinderProcess, ListensOnAFreePortAndSaysWhich) {
  Finder finder({"-p", "0"});
  const std::string address = finder.address();
  EXPECT_EQ(address.rfind("127.0.0.1:", 0), 0U);
  EXPECT_NE(address, "127.0.0.1:0");
  EXPECT_TRUE(Caller::is_served(address, ""));
}

TEST(FinderProcess, ListensOnTheAddressItIsGiven) {
  Finder finder(
      {"-i", "127.0.0.2", "-p", "0", "--allow", "10.0.0.0/8", "--allow", "192.168.1.0/24"});
  const std::string address = finder.address();
  EXPECT_EQ(address.rfind("127.0.0.2:", 0), 0U);
  EXPECT_TRUE(Caller::is_served(address, ""));
}

TEST(FinderProcess, ServesUntilItIsKilled) {
  Finder finder({"-p", "0"});
  EXPECT_TRUE(Caller::is_served(finder.address(), ""));
  finder.process().signal(SIGTERM);
  EXPECT_EQ(finder.process().wait(), 128 + SIGTERM);
  EXPECT_EQ(finder.process().errors(), "");
}

TEST(FinderProcess, PrintsItsUsageOnStandardOutputWhenAsked) {
  for (const char* option : {"-h", "--help"}) {
    Finder finder({option});
    EXPECT_EQ(finder.process().wait(), 0);
    EXPECT_EQ(finder.process().output(), USAGE);
    EXPECT_EQ(finder.process().errors(), "");
  }
}

TEST(FinderProcess, LeavesWithStatus2AndItsUsageOnStandardErrorWhenMisused) {
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{"-i", "localhost"}, "finder: 'localhost' is no IPv4 address\n"},
      {{"-p", "65536"}, "finder: '65536' is no port\n"},
      {{"-p", "-1"}, "finder: '-1' is no port\n"},
      {{"-p", ""}, "finder: '' is no port\n"},
      {{"-p", "80x"}, "finder: '80x' is no port\n"},
      {{"--allow", "10.0.0.0"}, "finder: '10.0.0.0' is no net (A.B.C.D/LEN)\n"},
      {{"--allow", "10.0.0.1/8"}, "finder: '10.0.0.1/8' is no net (A.B.C.D/LEN)\n"},
      {{"-p", "0", "stray"}, "finder: 'stray' is no option\n"},
      {{"-x"}, "finder: invalid option -- 'x'\n"},
      {{"-p"}, "finder: option requires an argument -- 'p'\n"},
      {{"--allow"}, "finder: option '--allow' requires an argument\n"},
      {{"--deny", "10.0.0.0/8"}, "finder: unrecognized option '--deny'\n"},
  };
  for (const auto& [arguments, complaint] : rows) {
    Finder finder(arguments);
    EXPECT_EQ(finder.process().wait(), 2) << complaint;
    EXPECT_EQ(finder.process().output(), "");
    EXPECT_EQ(finder.process().errors(), complaint + USAGE);
  }
}

TEST(FinderProcess, LeavesWithStatus1WhenItsAddressIsTaken) {
  Finder first({"-p", "0"});
  const std::string address = first.address();
  Finder second({"-p", address.substr(address.find(':') + 1)});
  EXPECT_EQ(second.process().wait(), 1);
  EXPECT_EQ(second.process().output(), "");
  EXPECT_EQ(second.process().errors(),
            "finder: cannot listen on " + address + ": Address already in use\n");
}

class FinderWithCookie : public testing::Test {
 protected:
  FinderWithCookie() { ::chmod(_file.c_str(), 0600); }

  const TemporaryFolder _folder;
  const std::string _file = _folder.write("cookie", "0123456789abcdef\n");
};

TEST_F(FinderWithCookie, ServesOnlyPeersThatShowIt) {
  Finder finder({"-p", "0"}, _file);
  const std::string address = finder.address();
  EXPECT_TRUE(Caller::is_served(address, "0123456789abcdef"));
  EXPECT_FALSE(Caller::is_served(address, ""));
  EXPECT_FALSE(Caller::is_served(address, "0123456789abcdeX"));
  EXPECT_TRUE(finder.process().wait_for_errors("wrong cookie", 2));
}

TEST_F(FinderWithCookie, LeavesWithStatus1WhenTheFileIsOpenToOthers) {
  ::chmod(_file.c_str(), 0644);
  Finder finder({"-p", "0"}, _file);
  EXPECT_EQ(finder.process().wait(), 1);
  EXPECT_EQ(finder.process().output(), "");
  EXPECT_EQ(finder.process().errors(),
            "finder: cookie file '" + _file + "': its mode must be 0600 or stricter.\n");
}

}  // namespace
