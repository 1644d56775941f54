// Strangers at processes that must be shown a cookie.
#include <sys/stat.h>

#include <cstdlib>

#include "tests/integration/hostile_bytes.h"
#include "tests/integration/hostile_process.h"
#include "tests/support/temporary_folder.h"

namespace {

using namespace hostile_bytes;

// Where every process must show the cookie.
class HostilePeersWithoutCookie : public HostileProcesses,
                                  public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    ASSERT_EQ(::chmod(cookie_file.c_str(), 0600), 0);
    // Of the processes, and of the client in this one.
    ::setenv("XRL_COOKIE_FILE", cookie_file.c_str(), 1);
    HostileProcesses::SetUp();
  }
  void TearDown() override { ::unsetenv("XRL_COOKIE_FILE"); }

  const std::string COOKIE = "0123456789abcdef";
  const TemporaryFolder folder;
  const std::string cookie_file = folder.write("cookie", COOKIE);
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

}  // namespace
