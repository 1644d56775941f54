// Strangers at real processes over real TCP: finder and policyd go on serving,
// hold no more memory than they may, and say no more than a line for each peer
// they refuse. docs/limits.md draws its sums from here.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "framework/base/comm.h"
#include "framework/xrl/limits.h"
#include "framework/xrl/xrl_args.h"
#include "tests/integration/control_plane.h"
#include "tests/integration/hostile_bytes.h"
#include "tests/integration/hostile_stranger.h"

namespace {

using namespace hostile_bytes;
using Lines = std::vector<std::string>;
using Strangers = std::vector<std::unique_ptr<Stranger>>;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool MEMORY_IS_ITS_OWN = false;  // but mostly the sanitizer's
#elif defined(__has_feature)
constexpr bool MEMORY_IS_ITS_OWN =
    !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer);
#else
constexpr bool MEMORY_IS_ITS_OWN = true;
#endif

constexpr std::size_t KIB = 1024;
constexpr std::size_t MIB = 1024 * KIB;
// What the allocator keeps of what was given back, and pages touched for the
// first time: code that had not run yet, and the 256 KiB that all input is read
// into.
constexpr std::size_t SLACK = 2 * MIB;
// A connection that is up and idle: its object, timer, watch and session. A few
// hundred bytes each were measured together as 2 KiB at most.
constexpr std::size_t IDLE_CONNECTION = 4 * KIB;

std::size_t resident_bytes(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmRSS:", 0) == 0) return std::stoul(line.substr(6)) * KIB;
  }
  return 0;
}

std::size_t count_lines(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

class HostileProcesses : public testing::Test {
 protected:
  void SetUp() override {
    comm_init();  // for the descriptors of thousands of strangers
    start();
  }
  void start() {
    plane.start_finder();
    plane.start_policyd();
    ASSERT_TRUE(plane.client().until(
        [this] { return ask("policy/common/0.1/get_version").substr(0, 3) == "100"; }));
    ASSERT_TRUE(NetAddress::parse(plane.finder_address(), finder_address));
    read_resolution();
  }
  // Where policyd listens and what its methods' keys are: any peer of the
  // finder may know.
  void read_resolution() {
    const std::string answer = ask("finder/finder/0.2/resolve_target?target:txt=policy");
    ASSERT_EQ(answer.substr(0, 4), "100 ");
    resolution = XrlArgs::parse(answer.substr(4));
    ASSERT_TRUE(
        NetAddress::parse(resolution.find("addresses")->list().get(0).text(), policy_address));
  }
  std::string key_of(const std::string& method) {
    const XrlAtomList& methods = resolution.find("methods")->list();
    std::size_t at = 0;
    for (const std::string_view each : methods.texts()) {
      if (each == method) break;
      ++at;
    }
    const auto key = resolution.find("keys")->list().get(at).binary();
    return {key.begin(), key.end()};
  }

  std::string ask(const std::string& request) { return plane.client().ask(request); }
  EventLoop& loop() { return plane.client().loop(); }
  bool turn_until(const std::function<bool()>& done) { return plane.client().turn_until(done); }

  void expect_service() {
    EXPECT_EQ(ask("finder/common/0.1/get_target_name"), "100 name:txt=finder");
    EXPECT_EQ(ask("policy/common/0.1/get_target_name"), "100 name:txt=policy");
  }
  static std::size_t refused(const Strangers& strangers) {
    return static_cast<std::size_t>(std::count_if(
        strangers.begin(), strangers.end(), [](const auto& each) { return each->is_refused(); }));
  }

  ControlPlane plane;
  NetAddress finder_address;
  NetAddress policy_address;
  XrlArgs resolution;
};

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
    const std::size_t now = resident_bytes(process().pid());
    if (MEMORY_IS_ITS_OWN) {
      EXPECT_LE(now, resident_before + bytes + SLACK);
    }
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
  expect_at_most_lines(refused(peers));
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
  expect_at_most_lines(refused(peers));
}

TEST_P(HostilePeers, WithAWrongKeyGetNothingButItsRefusal) {
  const auto peer = stranger(hello("peer"));
  std::mt19937 random(1);
  for (std::uint32_t i = 0; i < 1000; ++i) {
    std::string key(16, '\0');
    std::generate(key.begin(), key.end(), [&] { return static_cast<char>(random()); });
    peer->say(request_with_key(i, key));
  }
  // The shutdown of policyd, asked for by its name alone.
  peer->say(request(1000, "policy/0.1/shutdown"));
  ASSERT_TRUE(turn_until([&] { return peer->frames().size() == 1002; }));
  for (std::size_t i = 1; i < peer->frames().size(); ++i) {
    EXPECT_EQ(peer->heard()[i].find(" 202 "), peer->heard()[i].rfind(" 202 "));
    if (i > 20) break;
  }
  EXPECT_EQ(peer->heard().back(),
            "reply 1000 202 the request's key names no method of this target.");
  expect_service();
  expect_at_most_lines(0);
}

// Where every process must show the cookie.
class HostilePeersWithoutCookie : public HostileProcesses,
                                  public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    std::string pattern = testing::TempDir() + "cookie-XXXXXX";
    const int file = ::mkstemp(pattern.data());
    ASSERT_GE(file, 0);
    cookie_file = pattern;
    ASSERT_EQ(::fchmod(file, 0600), 0);
    ASSERT_EQ(::write(file, COOKIE.data(), COOKIE.size()), static_cast<ssize_t>(COOKIE.size()));
    ::close(file);
    // Of the processes, and of the client in this one.
    ::setenv("XRL_COOKIE_FILE", cookie_file.c_str(), 1);
    HostileProcesses::SetUp();
  }
  void TearDown() override {
    ::unsetenv("XRL_COOKIE_FILE");
    static_cast<void>(::unlink(cookie_file.c_str()));
  }
  const std::string COOKIE = "0123456789abcdef";
  std::string cookie_file;
};

INSTANTIATE_TEST_SUITE_P(At, HostilePeersWithoutCookie, testing::Values("finder", "policyd"),
                         [](const auto& victim) { return std::string(victim.param); });

TEST_P(HostilePeersWithoutCookie, AreClosedWithALineEachAndAskNothing) {
  const bool at_finder = std::string(GetParam()) == "finder";
  ChildProcess& process = at_finder ? *plane.finder : *plane.policyd;
  const char* const method = "common/0.1/get_version";
  const std::string asked = at_finder ? request(1, method) : request_with_key(1, key_of(method));
  Strangers peers;
  for (const std::string& cookie : {std::string(), std::string("wrong cookie here"),
                                    COOKIE.substr(1), COOKIE + "0", COOKIE + '\0'}) {
    peers.push_back(
        std::make_unique<Stranger>(loop(), at_finder ? finder_address : policy_address));
    peers.back()->say(hello("peer", cookie) + asked);
  }
  ASSERT_TRUE(turn_until([&] { return refused(peers) == peers.size(); }));
  for (const auto& peer : peers) {
    EXPECT_LE(peer->frames().size(), 1U)
        << "nothing but the other side's hello, without its cookie";
  }
  ASSERT_TRUE(process.wait_for_errors("wrong cookie", static_cast<int>(peers.size())));
  expect_service();
  EXPECT_EQ(count_lines(process.errors()), peers.size());
  Stranger right(loop(), at_finder ? finder_address : policy_address);
  right.say(hello("peer", COOKIE) + asked);
  ASSERT_TRUE(turn_until([&] { return right.frames().size() == 2; }));
}

// Peers of the finder that lay claim to what is another's.
class HostileSessions : public HostileProcesses {
 protected:
  static std::string registration(const std::string& class_name, const std::string& instance) {
    XrlArgs target =
        XrlArgs::parse("instance_name:txt=" + instance + "&class_name:txt=" + class_name +
                       "&addresses:list=:txt=127.0.0.1%3A1"
                       "&methods:list=:txt=finder_event_observer/0.1/xrl_target_birth,"
                       ":txt=finder_event_observer/0.1/xrl_target_death");
    XrlAtomList keys;
    for (int i = 0; i < 2; ++i) keys.append(XrlAtom::unnamed(XrlAtom::Binary(16, 7)));
    target.add(XrlAtom("keys", keys));
    return args(target);
  }
  std::string answer_to(Stranger& peer, const std::string& bytes) {
    const std::size_t before = peer.frames().size();
    peer.say(bytes);
    EXPECT_TRUE(turn_until([&] { return peer.frames().size() > before; }));
    return peer.heard().back();
  }
};

TEST_F(HostileSessions, GetNoNameThatAnotherOwns) {
  const std::string policyd(resolution.find("instance_name")->text());
  Stranger thief(loop(), finder_address);
  thief.say(hello("thief"));
  ASSERT_TRUE(turn_until([&] { return thief.frames().size() == 1; }));
  const std::string before = ask("finder/finder/0.2/get_instances");
  const auto claim = [&](const std::string& class_name, const std::string& instance) {
    return answer_to(thief,
                     request(1, "finder/0.2/register_target", registration(class_name, instance)));
  };
  EXPECT_EQ(claim("policy", "thief"),
            "reply 1 102 the class 'policy' is registered by another target.");
  EXPECT_EQ(claim("thief", policyd),
            "reply 1 102 the instance '" + policyd + "' is registered by another target.");
  EXPECT_EQ(claim("thief", "policy"),
            "reply 1 102 the instance 'policy' is registered by another target.");
  EXPECT_EQ(claim("finder", "thief"),
            "reply 1 102 the class 'finder' is registered by another target.");
  EXPECT_EQ(ask("finder/finder/0.2/get_instances"), before);
  expect_service();
  EXPECT_EQ(plane.finder->errors(), "");
}

TEST_F(HostileSessions, SpeakForNoOtherInstance) {
  const std::string policyd(resolution.find("instance_name")->text());
  Stranger thief(loop(), finder_address);
  thief.say(hello("thief"));
  ASSERT_TRUE(turn_until([&] { return thief.frames().size() == 1; }));
  EXPECT_EQ(
      answer_to(thief, request(1, "finder/0.2/register_target", registration("thief", "thief"))),
      "reply 1 100 ");
  // All that policyd asks for at its start is there, the mirror's last.
  std::string before;
  while (before.find("sif_mirror") == std::string::npos) {
    before = ask("finder/finder/0.2/get_interests");
  }
  const std::string theirs = args("requester_instance:txt=" + policyd + "&class_name:txt=vlan");
  const std::string interest = "finder_event_notifier/0.1/";
  for (const std::string& stolen :
       {request(2, interest + "register_class_event_interest", theirs),
        request(2, interest + "deregister_class_event_interest", theirs),
        request(2, "finder/0.2/deregister_target", args("instance_name:txt=" + policyd))}) {
    EXPECT_EQ(answer_to(thief, stolen).substr(0, 11), "reply 2 102");
  }
  EXPECT_EQ(ask("finder/finder/0.2/get_interests"), before);
  expect_service();
  EXPECT_EQ(plane.finder->errors(), "");
}

TEST_F(HostileSessions, ThatTakeNoNewsAreClosedBeforeTheyCostMuch) {
  const std::size_t before = resident_bytes(plane.finder->pid());
  constexpr std::size_t DEAF = 100;
  Strangers deaf;
  for (std::size_t i = 0; i < DEAF; ++i) {
    const std::string name = "deaf" + std::to_string(i);
    deaf.push_back(std::make_unique<Stranger>(loop(), finder_address));
    deaf.back()->say(hello(name) +
                     request(1, "finder/0.2/register_target", registration(name, name)) +
                     request(2, "finder_event_notifier/0.1/register_class_event_interest",
                             args("requester_instance:txt=" + name + "&class_name:txt=noise")));
    ASSERT_TRUE(turn_until([&] { return deaf.back()->frames().size() == 3; }));
    deaf.back()->set_reading(false);
  }
  // Each round is a birth and a death, told to all of them.
  constexpr std::uint32_t ROUNDS = 20000;
  Stranger noise(loop(), finder_address);
  std::string rounds = hello("noise");
  for (std::uint32_t i = 0; i < ROUNDS; ++i) {
    rounds += request(i, "finder/0.2/register_target", registration("noise", "noise"));
    rounds += request(i, "finder/0.2/deregister_target", args("instance_name:txt=noise"));
  }
  noise.say(rounds);
  while (noise.frames().size() < 2 * ROUNDS + 1) {
    const std::size_t heard = noise.frames().size();
    ASSERT_TRUE(turn_until([&] {
      return noise.frames().size() > heard + 5000 || noise.frames().size() == 2 * ROUNDS + 1;
    }));
    EXPECT_EQ(ask("finder/common/0.1/get_target_name"), "100 name:txt=finder");
    const std::size_t now = resident_bytes(plane.finder->pid());
    if (MEMORY_IS_ITS_OWN) {
      EXPECT_LE(now, before + xrl_limits::MAX_BUFFERED_BYTES + 16 * MIB);
    }
  }
  expect_service();
  EXPECT_LE(count_lines(plane.finder->errors()), DEAF);
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
  const std::size_t now = resident_bytes(plane.policyd->pid());
  // The longest names come through the buffers for input, and are not kept.
  if (MEMORY_IS_ITS_OWN) {
    EXPECT_LE(now, before + SLACK + 2 * MIB);
  }
  expect_service();
}

}  // namespace
