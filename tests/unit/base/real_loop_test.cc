// The loop on the machine's own kernel and network.

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <vector>

#include "framework/base/event_loop.h"

namespace {

using std::chrono::milliseconds;

TEST(RealEventLoop, RunsTimersInOrder) {
  EventLoop loop;
  std::vector<int> ran;
  Timer second(loop, [&] { ran.push_back(2); });
  Timer first(loop, [&] { ran.push_back(1); });
  second.schedule_after(milliseconds(2));
  first.schedule_after(std::chrono::microseconds(10));
  while (ran.size() < 2) loop.run();
  EXPECT_EQ(ran, (std::vector<int>{1, 2}));
}

TEST(RealEventLoop, DoesNotSpinOnARestBelowAMillisecond) {
  EventLoop loop;
  bool is_over = false;
  Timer timer(loop, [&] { is_over = true; });
  timer.schedule_after(std::chrono::microseconds(1900));
  int turns = 0;
  while (!is_over) {
    loop.run();
    ++turns;
  }
  EXPECT_LE(turns, 2);
}

TEST(RealEventLoop, CarriesBytesFromOneSocketToAnother) {
  EventLoop loop;
  Network& network = loop.network();
  const int listener = network.listen(NetAddress::tcp(IPv4::loopback(), 0));
  const int client = network.connect(network.local_address(listener));
  int server = -1;
  std::vector<std::uint8_t> got;
  const std::array<std::uint8_t, 3> sent{1, 2, 3};

  std::optional<Watch> reader;
  std::optional<Watch> acceptor;
  acceptor.emplace(loop, listener, IoInterest::READ, [&](IoInterest) {
    NetAddress peer;
    server = network.accept(listener, peer);
    reader.emplace(loop, server, IoInterest::READ, [&](IoInterest) {
      std::array<std::uint8_t, 8> buffer{};
      const std::ptrdiff_t count = network.read(server, buffer);
      got.insert(got.end(), buffer.begin(), buffer.begin() + count);
    });
  });
  std::optional<Watch> writer;
  writer.emplace(loop, client, IoInterest::WRITE, [&](IoInterest) {
    EXPECT_EQ(network.connect_result(client), 0);
    EXPECT_EQ(network.write(client, sent), 3);
    writer.reset();
  });
  while (got.size() < sent.size()) loop.run();
  EXPECT_EQ(got, std::vector<std::uint8_t>(sent.begin(), sent.end()));

  reader.reset();
  acceptor.reset();
  for (const int fd : {listener, client, server}) network.close(fd);
}

}  // namespace
