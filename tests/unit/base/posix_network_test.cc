#include "framework/base/posix_network.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "framework/base/epoll_kernel.h"
#include "tests/support/reserved_port.h"
#include "tests/support/temporary_folder.h"

namespace {

std::span<const std::uint8_t> bytes_of(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

int option_of(int fd, int level, int name) {
  int value = -1;
  socklen_t length = sizeof(value);
  EXPECT_EQ(::getsockopt(fd, level, name, &value, &length), 0);
  return value;
}

// Real sockets; waits as long as the machine needs, never a set time.
class PosixNetworkTest : public ::testing::Test {
 protected:
  struct Pair {
    int client = -1;
    int server = -1;
  };

  ~PosixNetworkTest() override {
    for (const int fd : _open) _network.close(fd);
  }

  int opened(int fd) {
    if (fd >= 0) _open.push_back(fd);
    return fd;
  }
  void close(int fd) {
    std::erase(_open, fd);
    _network.close(fd);
  }
  int listen(const NetAddress& address) { return opened(_network.listen(address)); }
  int listen_on_loopback() { return listen(NetAddress::tcp(IPv4::loopback(), 0)); }
  int connect(const NetAddress& address) { return opened(_network.connect(address)); }
  int accept(int listener) { return opened(_network.accept(listener, _peer)); }

  void wait_for(int fd, IoInterest interest) {
    EpollKernel kernel;
    kernel.watch(fd, interest);
    std::array<IoReady, 1> ready{};
    ASSERT_EQ(kernel.wait(Kernel::NEVER, ready), 1U);
  }

  Pair connected(int listener) {
    Pair pair;
    pair.client = connect(_network.local_address(listener));
    wait_for(listener, IoInterest::READ);
    pair.server = accept(listener);
    wait_for(pair.client, IoInterest::WRITE);
    EXPECT_EQ(_network.connect_result(pair.client), 0);
    return pair;
  }

  std::ptrdiff_t read(int fd, std::string& text) {
    std::array<std::uint8_t, 100> buffer{};
    const std::ptrdiff_t count = _network.read(fd, buffer);
    text.assign(buffer.begin(), buffer.begin() + std::max<std::ptrdiff_t>(count, 0));
    return count;
  }

  NetAddress socket_file() { return NetAddress::unix_path(_folder.path_of("socket")); }

  PosixNetwork _network;
  NetAddress _peer;
  std::vector<int> _open;
  const TemporaryFolder _folder;
};

TEST_F(PosixNetworkTest, AListenerWithoutPortGetsAFreeOne) {
  const NetAddress address = _network.local_address(listen_on_loopback());
  EXPECT_EQ(address.family, NetAddress::Family::TCP);
  EXPECT_EQ(address.host, IPv4::loopback());
  EXPECT_NE(address.port, 0);
}

TEST_F(PosixNetworkTest, NobodyWaitingIsToldAsEagain) {
  EXPECT_EQ(accept(listen_on_loopback()), -EAGAIN);
}

TEST_F(PosixNetworkTest, BytesGoBothWays) {
  const Pair pair = connected(listen_on_loopback());
  std::string text;
  EXPECT_EQ(read(pair.server, text), -EAGAIN);
  EXPECT_EQ(_network.write(pair.client, bytes_of("ping")), 4);
  wait_for(pair.server, IoInterest::READ);
  EXPECT_EQ(read(pair.server, text), 4);
  EXPECT_EQ(text, "ping");
  EXPECT_EQ(_network.write(pair.server, bytes_of("pong")), 4);
  wait_for(pair.client, IoInterest::READ);
  EXPECT_EQ(read(pair.client, text), 4);
  EXPECT_EQ(text, "pong");
}

TEST_F(PosixNetworkTest, ThePeerOfAnAcceptedConnectionIsTheOtherEnd) {
  const Pair pair = connected(listen_on_loopback());
  EXPECT_EQ(_peer, _network.local_address(pair.client));
}

TEST_F(PosixNetworkTest, StreamsSendAtOnceAndPassToNoChild) {
  const int listener = listen_on_loopback();
  const Pair pair = connected(listener);
  EXPECT_EQ(option_of(listener, SOL_SOCKET, SO_REUSEADDR), 1);
  for (const int fd : {pair.client, pair.server}) {
    EXPECT_EQ(option_of(fd, IPPROTO_TCP, TCP_NODELAY), 1);
  }
  for (const int fd : {listener, pair.client, pair.server}) {
    EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(::fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
  }
}

TEST_F(PosixNetworkTest, StreamsNoticeWithin25SecondsThatTheOtherHostIsGone) {
  const Pair pair = connected(listen_on_loopback());
  for (const int fd : {pair.client, pair.server}) {
    EXPECT_EQ(option_of(fd, SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(
        option_of(fd, IPPROTO_TCP, TCP_KEEPIDLE) +
            option_of(fd, IPPROTO_TCP, TCP_KEEPINTVL) * option_of(fd, IPPROTO_TCP, TCP_KEEPCNT),
        25);
    EXPECT_EQ(option_of(fd, IPPROTO_TCP, TCP_USER_TIMEOUT), 25000);
  }
}

TEST_F(PosixNetworkTest, ClosingIsTheEndOfTheStream) {
  const Pair pair = connected(listen_on_loopback());
  close(pair.client);
  wait_for(pair.server, IoInterest::READ);
  std::string text;
  EXPECT_EQ(read(pair.server, text), 0);
}

TEST_F(PosixNetworkTest, WritingToAClosedConnectionIsAnErrorAndNoSignal) {
  const Pair pair =
      connected(listen(NetAddress::unix_path("@posix_network_test_" + std::to_string(::getpid()))));
  close(pair.client);
  EXPECT_EQ(_network.write(pair.server, bytes_of("x")), -EPIPE);
}

TEST_F(PosixNetworkTest, AFullBufferIsToldAsEagain) {
  const Pair pair = connected(listen_on_loopback());
  const std::string much(100000, 'x');
  std::ptrdiff_t written = 0;
  while (written >= 0) written = _network.write(pair.client, bytes_of(much));
  EXPECT_EQ(written, -EAGAIN);
}

TEST_F(PosixNetworkTest, AConnectWithoutListenerIsRefused) {
  const ReservedPort port;
  const int fd = connect(NetAddress::tcp(IPv4::loopback(), port.number()));
  ASSERT_GE(fd, 0);
  wait_for(fd, IoInterest::WRITE);
  EXPECT_EQ(_network.connect_result(fd), -ECONNREFUSED);
}

TEST_F(PosixNetworkTest, AConnectionToItselfCountsAsRefused) {
  const ReservedPort port;
  // Bound to the very port it connects to, a socket meets itself.
  const int fd = opened(::socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in own{};
  own.sin_family = AF_INET;
  own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  own.sin_port = htons(port.number());
  const int on = 1;
  ASSERT_EQ(::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)), 0);
  ASSERT_EQ(::bind(fd, reinterpret_cast<const sockaddr*>(&own), sizeof(own)), 0);
  ASSERT_EQ(::connect(fd, reinterpret_cast<const sockaddr*>(&own), sizeof(own)), 0);
  EXPECT_EQ(_network.connect_result(fd), -ECONNREFUSED);
}

TEST_F(PosixNetworkTest, AConnectionToTheSamePortOfAnotherAddressIsNoneToItself) {
  const int fd = opened(::socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  // Until the port that one gets is free at the other address, too.
  do {
    const int listener = listen(NetAddress::tcp(IPv4(0x7f000002U), 0));
    address.sin_port = htons(_network.local_address(listener).port);
  } while (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 &&
           errno == EADDRINUSE);
  address.sin_addr.s_addr = htonl(0x7f000002U);
  ASSERT_EQ(::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  EXPECT_EQ(_network.connect_result(fd), 0);
}

TEST_F(PosixNetworkTest, WhatIsNoSocketIsNotConnected) {
  const int fd = opened(::open("/dev/null", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(_network.connect_result(fd), -ENOTSOCK);
}

TEST_F(PosixNetworkTest, AnUnconnectedSocketIsStillInProgress) {
  const int fd = opened(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
  EXPECT_EQ(_network.connect_result(fd), -EINPROGRESS);
}

TEST_F(PosixNetworkTest, AnAddressIsListenedOnOnce) {
  const NetAddress address = _network.local_address(listen_on_loopback());
  EXPECT_EQ(listen(address), -EADDRINUSE);
}

TEST_F(PosixNetworkTest, APortIsFreeAgainAtOnceAfterItsListener) {
  const ReservedPort port;
  const NetAddress address = NetAddress::tcp(IPv4::loopback(), port.number());
  const int listener = listen(address);
  const Pair pair = connected(listener);
  close(pair.server);
  close(listener);
  EXPECT_GE(listen(address), 0);
}

TEST_F(PosixNetworkTest, AUnixSocketFileComesAndGoesWithItsListener) {
  const NetAddress address = socket_file();
  const int listener = listen(address);
  ASSERT_GE(listener, 0);
  EXPECT_EQ(_network.local_address(listener), address);
  connected(listener);
  EXPECT_EQ(_peer, NetAddress::unix_path(""));
  close(listener);
  EXPECT_FALSE(std::filesystem::exists(address.path));
}

TEST_F(PosixNetworkTest, AnAbandonedSocketFileIsTakenOver) {
  const NetAddress address = socket_file();
  const int listener = listen(address);
  std::filesystem::create_hard_link(address.path, address.path + ".kept");
  close(listener);
  std::filesystem::rename(address.path + ".kept", address.path);
  EXPECT_GE(listen(address), 0);
}

TEST_F(PosixNetworkTest, ASocketFileInUseIsNotTakenOver) {
  const NetAddress address = socket_file();
  const int listener = listen(address);
  EXPECT_EQ(listen(address), -EADDRINUSE);
  connected(listener);
}

TEST_F(PosixNetworkTest, ASocketFileOfAnotherKindInUseIsNotTakenOver) {
  const NetAddress address = socket_file();
  sockaddr_un own{};
  own.sun_family = AF_UNIX;
  std::copy(address.path.begin(), address.path.end(), own.sun_path);
  const int datagrams = opened(::socket(AF_UNIX, SOCK_DGRAM, 0));
  ASSERT_EQ(::bind(datagrams, reinterpret_cast<const sockaddr*>(&own), sizeof(own)), 0);
  EXPECT_EQ(listen(address), -EADDRINUSE);
  EXPECT_TRUE(std::filesystem::is_socket(address.path));
}

TEST_F(PosixNetworkTest, AFileThatIsNoSocketIsLeftAlone) {
  const NetAddress address = socket_file();
  ASSERT_GE(opened(::open(address.path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600)), 0);
  EXPECT_EQ(listen(address), -EADDRINUSE);
  EXPECT_TRUE(std::filesystem::is_regular_file(address.path));
}

TEST_F(PosixNetworkTest, AbstractNamesNeedNoFile) {
  const NetAddress address =
      NetAddress::unix_path("@posix_network_test_" + std::to_string(::getpid()));
  const int listener = listen(address);
  ASSERT_GE(listener, 0);
  EXPECT_EQ(_network.local_address(listener), address);
  connected(listener);
}

TEST_F(PosixNetworkTest, APeerWhosePathFillsItsAddressIsNamedInFull) {
  const NetAddress address = socket_file();
  const int listener = listen(address);
  sockaddr_un own{};
  own.sun_family = AF_UNIX;
  std::string path = _folder.path_of("x");
  path.resize(sizeof(own.sun_path), 'x');
  std::copy(path.begin(), path.end(), own.sun_path);
  const int client = opened(::socket(AF_UNIX, SOCK_STREAM, 0));
  ASSERT_EQ(::bind(client, reinterpret_cast<const sockaddr*>(&own), sizeof(own)), 0);
  sockaddr_un there{};
  there.sun_family = AF_UNIX;
  std::copy(address.path.begin(), address.path.end(), there.sun_path);
  ASSERT_EQ(::connect(client, reinterpret_cast<const sockaddr*>(&there), sizeof(there)), 0);
  ASSERT_GE(accept(listener), 0);
  EXPECT_EQ(_peer, NetAddress::unix_path(path));
}

TEST_F(PosixNetworkTest, ConnectingToAMissingSocketFileFailsAtOnce) {
  EXPECT_EQ(connect(socket_file()), -ENOENT);
}

TEST_F(PosixNetworkTest, ImpossiblePathsAreRefused) {
  EXPECT_EQ(listen(NetAddress::unix_path("")), -EINVAL);
  EXPECT_EQ(connect(NetAddress::unix_path(std::string("/tmp/a\0b", 8))), -EINVAL);
  EXPECT_EQ(listen(NetAddress::unix_path("/" + std::string(107, 'x'))), -ENAMETOOLONG);
}

TEST_F(PosixNetworkTest, AHostIsLookedUpByItsName) {
  IPv4 address;
  EXPECT_TRUE(_network.look_up("localhost", address));
  EXPECT_EQ(address, IPv4::loopback());
}

TEST_F(PosixNetworkTest, TheLocalAddressOfNoSocketIsEmpty) {
  EXPECT_EQ(_network.local_address(-1), NetAddress());
}

TEST_F(PosixNetworkTest, WithoutDescriptorsAWaitingConnectionIsClosedAndTheListenerIsQuiet) {
  const int listener = listen_on_loopback();
  const NetAddress address = _network.local_address(listener);
  const int client = connect(address);
  wait_for(listener, IoInterest::READ);

  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit tight = before;
  tight.rlim_cur = static_cast<rlim_t>(client) + 1;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
  const int without = accept(listener);
  const int again = accept(listener);
  const int connecting = connect(address);
  const int listening = listen_on_loopback();
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);

  EXPECT_EQ(without, -EMFILE);
  EXPECT_EQ(again, -EAGAIN);
  EXPECT_EQ(connecting, -EMFILE);
  EXPECT_EQ(listening, -EMFILE);
  wait_for(client, IoInterest::READ);
  std::string text;
  EXPECT_LE(read(client, text), 0);
  EXPECT_GE(connected(listener).server, 0);
}

}  // namespace
