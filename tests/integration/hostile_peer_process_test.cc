// Strangers that speak to finder and policyd as any peer may. docs/limits.md draws
// its sums from here.
#include <algorithm>
#include <cstdint>
#include <random>

#include "framework/xrl/limits.h"
#include "tests/integration/hostile_bytes.h"
#include "tests/integration/hostile_process.h"

namespace {

using namespace hostile_bytes;

// A connection that is up and idle: its object, timer, watch and session. A few
// hundred bytes each were measured together as 2 KiB at most.
constexpr std::size_t IDLE_CONNECTION = 4096;

// What holds for both.
class HostilePeers : public HostileProcesses, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    HostileProcesses::SetUp();
    expect_service();
    resident_before = resident_bytes(process().pid());
  }
  [[nodiscard]] bool at_finder() const { return std::string(GetParam()) == "finder"; }
  ChildProcess& process() { return at_finder() ? *plane.finder : *plane.policyd; }
  [[nodiscard]] const NetAddress& address() const {
    return at_finder() ? finder_address : policy_address;
  }
  std::string version_request(std::uint32_t sequence) {
    const char* const method = "common/0.1/get_version";
    return at_finder() ? request(sequence, method) : request_with_key(sequence, key_of(method));
  }
  std::unique_ptr<Stranger> stranger(const std::string& bytes = {}) {
    auto made = std::make_unique<Stranger>(loop(), address());
    made->say(bytes);
    return made;
  }
  // Since the test began.
  void expect_resident_growth_below(std::size_t bytes) {
    expect_resident_at_most(process().pid(), resident_before + bytes + SLACK);
  }
  void expect_at_most_lines(std::size_t lines) {
    EXPECT_LE(count_lines(process().errors()), lines) << process().errors().substr(0, 2000);
  }

  std::size_t resident_before = 0;
};

INSTANTIATE_TEST_SUITE_P(At, HostilePeers, testing::Values("finder", "policyd"),
                         [](const auto& victim) { return std::string(victim.param); });

TEST_P(HostilePeers, ThatNeverReadAreNotReadFromEither) {
  Strangers peers;
  std::string requests = hello("peer");
  for (std::uint32_t i = 0; i < 100000; ++i) requests += version_request(i);
  for (int i = 0; i < 5; ++i) {
    peers.push_back(stranger());
    peers.back()->set_reading(false);
    peers.back()->say(requests);
  }
  // Goes on until no more of it is taken: the replies that wait for the peer
  // are at their mark, and what the two sockets hold is full.
  for (int i = 0; i < 200; ++i) expect_service();
  // Replies up to the mark and the input of one turn, each in a buffer that has
  // grown to twice what it holds.
  expect_resident_growth_below(
      5 * 2 * (xrl_limits::REPLY_BYTES_HIGH_WATER + xrl_limits::MAX_READ_PER_TURN));
  expect_at_most_lines(0);
}

TEST_P(HostilePeers, InThousandsAreCheapWhenTheyAreIdle) {
  constexpr std::size_t IDLE = 2000;
  Strangers peers;
  while (peers.size() < IDLE) {
    // No more at a time than may be in their handshake.
    for (int i = 0; i < 100; ++i) peers.push_back(stranger(hello("idle")));
    ASSERT_TRUE(turn_until([&] { return !peers.back()->frames().empty() || refused(peers) > 0; }));
  }
  expect_service();
  EXPECT_EQ(refused(peers), 0U);
  expect_resident_growth_below(IDLE * IDLE_CONNECTION);
  expect_at_most_lines(0);
  peers.clear();
  expect_service();
}

TEST_P(HostilePeers, ThatSayNothingDoNotKeepAnHonestOneOut) {
  Strangers peers;
  const auto honest = stranger(hello("honest"));
  constexpr std::uint32_t ROUNDS = 50;
  for (std::uint32_t round = 0; round < ROUNDS; ++round) {
    for (int i = 0; i < 40; ++i) peers.push_back(stranger());
    honest->say(version_request(round));
    ASSERT_TRUE(turn_until([&] { return honest->frames().size() == round + 2; })) << round;
    // One that was not there before gets in as well.
    const auto newcomer = stranger(hello("newcomer") + version_request(0));
    ASSERT_TRUE(turn_until([&] { return newcomer->frames().size() == 2; })) << round;
  }
  expect_service();
  EXPECT_FALSE(honest->is_refused());
  expect_resident_growth_below(2 * xrl_limits::MAX_HANDSHAKES * IDLE_CONNECTION);
  expect_at_most_lines(peers.size());
}

TEST_P(HostilePeers, ThatSendRandomBytesAreClosedWithALineEach) {
  constexpr std::uint32_t SEED = 20;
  std::mt19937 random(SEED);
  Strangers peers;
  for (int i = 0; i < 200; ++i) {
    std::string bytes = i % 2 == 0 ? "" : hello("random");
    bytes.resize(bytes.size() + 1 + random() % 4096);
    std::generate(bytes.begin() + (i % 2 == 0 ? 0 : 18), bytes.end(),
                  [&] { return static_cast<char>(random()); });
    peers.push_back(stranger(bytes));
    if (i % 20 == 0) expect_service();
  }
  ASSERT_TRUE(turn_until([&] { return refused(peers) >= peers.size() * 9 / 10; }));
  expect_service();
  expect_resident_growth_below(0);
  expect_at_most_lines(peers.size());
}

TEST_P(HostilePeers, MayTakeTheirTimeOverTheLargestFrame) {
  const auto peer = stranger(hello("slow") + u32(xrl_limits::MAX_FRAME_BYTES) + "\2");
  const std::string piece(xrl_limits::MAX_FRAME_BYTES / 64, 'x');
  for (int i = 0; i < 63; ++i) {
    peer->say(piece);
    ASSERT_TRUE(turn_until([&] { return peer->has_said_all(); }));
    if (i % 8 == 0) expect_service();
  }
  // The buffer has grown to twice what it holds, and held half of that while it
  // grew.
  expect_resident_growth_below(3 * xrl_limits::MAX_FRAME_BYTES);
  peer->say(piece.substr(1));
  ASSERT_TRUE(turn_until([&] { return peer->frames().size() == 2; }));
  EXPECT_EQ(peer->heard().back(),
            "reply 2021161080 202 the request's key names no method of this target.");
  expect_service();
  expect_resident_growth_below(0);
  expect_at_most_lines(0);
}

TEST_P(HostilePeers, TogetherHoldNoMoreUnfinishedThanTheBudget) {
  const std::string unfinished = hello("big") + u32(xrl_limits::MAX_FRAME_BYTES) +
                                 std::string(xrl_limits::MAX_FRAME_BYTES - 1, 'x');
  Strangers peers;
  for (std::size_t i = 0; i < 2 * xrl_limits::MAX_BUFFERED_BYTES / xrl_limits::MAX_FRAME_BYTES;
       ++i) {
    peers.push_back(stranger(unfinished));
    ASSERT_TRUE(turn_until([&] { return peers.back()->has_said_all(); }));
    // One buffer may be growing past the budget.
    expect_resident_growth_below(xrl_limits::MAX_BUFFERED_BYTES + 3 * xrl_limits::MAX_FRAME_BYTES);
  }
  expect_service();
  EXPECT_GT(refused(peers), 0U);
  expect_at_most_lines(peers.size());
}

TEST_P(HostilePeers, WithAWrongKeyGetNothingButItsRefusal) {
  const auto peer = stranger(hello("peer"));
  std::mt19937 random(1);
  for (std::uint32_t i = 0; i < 1000; ++i) {
    std::string key(16, '\0');
    std::generate(key.begin(), key.end(), [&] { return static_cast<char>(random()); });
    peer->say(request_with_key(i, key));
  }
  // The shutdown, asked for by its name alone, which is the key at the finder.
  peer->say(request(1000, "common/0.1/shutdown"));
  ASSERT_TRUE(turn_until([&] { return peer->frames().size() == 1002; }));
  const std::string refusal = " 202 the request's key names no method of this target.";
  const std::vector<std::string> heard = peer->heard();
  for (std::size_t i = 0; i < 1000; ++i) {
    ASSERT_EQ(heard[i + 1], "reply " + std::to_string(i) + refusal);
  }
  EXPECT_EQ(heard.back(),
            "reply 1000" + (at_finder() ? " 102 the finder serves for ever." : refusal));
  expect_service();
  expect_at_most_lines(0);
}

TEST_F(HostileProcesses, AskingForManyClientsThatAreNotThereCostPolicydNoMemory) {
  Stranger peer(loop(), policy_address);
  const std::string key = key_of("profile/0.1/get_entries");
  peer.say(hello("peer"));
  const auto ask_for = [&](std::uint32_t first, std::uint32_t count, const std::string& suffix) {
    const std::size_t before = peer.frames().size();
    std::string bytes;
    for (std::uint32_t i = first; i < first + count; ++i) {
      bytes += request_with_key(
          i, key,
          args("pname:txt=policy_profile1&instance_name:txt=nobody" + std::to_string(i) + suffix));
    }
    peer.say(bytes);
    ASSERT_TRUE(turn_until([&] { return peer.frames().size() >= before + count; }));
    expect_service();
  };
  ask_for(0, 2000, "");
  const std::size_t before = resident_bytes(plane.policyd->pid());
  for (std::uint32_t i = 1; i < 5; ++i) ask_for(i * 2000, 2000, "");
  ask_for(20000, 50, std::string(500000, 'x'));
  // The longest names come through the buffers for input, and are not kept.
  expect_resident_at_most(plane.policyd->pid(), before + SLACK + 2 * MIB);
  expect_service();
}

}  // namespace
