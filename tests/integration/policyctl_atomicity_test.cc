// All or nothing, whatever goes wrong, at every request of a change.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "tests/integration/policyctl_fixture.h"
#include "tests/integration/random_configuration.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

constexpr const char* UNDONE = "Everything was undone; the switch is as it was.";
constexpr const char* MADE = "The change is made.";
constexpr const char* STARTED_ANEW =
    "policyd was started anew meanwhile and began from its defaults: nothing of the change is "
    "left, nor of what was before.";
constexpr const char* NOT_KNOWN = "Whether any of the change is on the switch is not known.";

bool says(const std::string& text, const char* sentence) {
  return text.find(sentence) != std::string::npos;
}

// A change between two configurations at random, of some fifty requests. The
// parameter is the seed.
class AllOrNothing : public PolicyctlFixture, public testing::WithParamInterface<std::uint32_t> {
 protected:
  void SetUp() override {
    PolicyctlFixture::SetUp();
    RandomConfiguration random(GetParam(), {"eth-0/1/1", "eth-0/2/1", "lag1"}, {10, 20});
    const Configuration first = random.make();
    after = write_configuration(random.change(first));
    become(after);
    after = shown();
    become(write_configuration(first));
    before = shown();
    ASSERT_NE(before, after);
    wanted = file("after.conf", after);
    // How many requests it takes.
    arm("none", 0);
    ASSERT_EQ(policyctl({"apply", "--prune", wanted}).status, 0);
    requests = changes();
    ASSERT_EQ(shown(), after);
    become(before);
    ASSERT_EQ(shown(), before);
  }

  // One run for each request that can go wrong.
  template <typename Run>
  void for_each_request(Run run) {
    ASSERT_GE(requests, 20U);
    RecordProperty("runs", static_cast<int>(requests));
    for (std::size_t at = 1; at <= requests; ++at) {
      SCOPED_TRACE("seed " + std::to_string(GetParam()) + ", request " + std::to_string(at) +
                   " of " + std::to_string(requests));
      run(at);
      if (HasFailure()) return;
    }
  }

  [[nodiscard]] bool has_journal() const {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder + "/state")) {
      if (entry.path().filename() == "journal") return true;
    }
    return false;
  }

  void expect_as_before() {
    EXPECT_EQ(shown(), before);
    EXPECT_FALSE(has_journal());
  }

  std::string before;  // as `policyctl show` prints it
  std::string after;
  std::string wanted;  // the file that says `after`
  std::size_t requests = 0;
};

TEST_P(AllOrNothing, ARefusedRequestUndoesTheRest) {
  for_each_request([this](std::size_t at) {
    arm("refuse", at);
    const Result result = policyctl({"apply", "--prune", wanted});
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(says(result.err, "policyd refused to ")) << result.err;
    EXPECT_TRUE(says(result.err, UNDONE)) << result.err;
    expect_as_before();
  });
}

TEST_P(AllOrNothing, ALostConnectionUndoesTheRest) {
  for_each_request([this](std::size_t at) {
    arm("close", at);
    const Result result = policyctl({"apply", "--prune", wanted});
    EXPECT_EQ(result.status, 69);
    EXPECT_TRUE(says(result.err, "the connection was lost during the request to ")) << result.err;
    EXPECT_TRUE(says(result.err, UNDONE)) << result.err;
    expect_as_before();
  });
}

TEST_P(AllOrNothing, AKilledPolicyctlLeavesWhatRecoverUndoes) {
  const std::string fifo = folder + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  for_each_request([&](std::size_t at) {
    const auto tool = start_policyctl({"apply", "--prune", fifo});
    std::ofstream feed(fifo);  // opens once the tool reads
    arm("kill_peer", at, tool->pid());
    feed << after << std::flush;
    feed.close();
    EXPECT_EQ(tool->wait(), 128 + SIGKILL);
    ASSERT_TRUE(has_journal());
    const Result refused = policyctl({"apply", wanted});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(says(refused.err, "Undo it with 'policyctl recover'.")) << refused.err;
    const Result recovered = policyctl({"recover"});
    EXPECT_EQ(recovered.status, 0) << recovered.err;
    EXPECT_EQ(recovered.out, std::string(UNDONE) + "\n");
    expect_as_before();
  });
}

TEST_P(AllOrNothing, AKilledPolicydIsNoticedAndStartsFromItsDefaults) {
  for_each_request([this](std::size_t at) {
    arm("die", at);
    const Result result = policyctl({"apply", "--prune", wanted});
    EXPECT_EQ(result.status, 69);
    EXPECT_TRUE(says(result.err, NOT_KNOWN)) << result.err;
    EXPECT_TRUE(has_journal());
    EXPECT_EQ(plane.policyd->wait(), 128 + SIGKILL);
    start_policyd();
    const std::string defaults = shown();
    const Result recovered = policyctl({"recover"});
    EXPECT_EQ(recovered.status, 0);
    EXPECT_TRUE(says(recovered.out, STARTED_ANEW)) << recovered.out;
    EXPECT_FALSE(has_journal());
    EXPECT_EQ(shown(), defaults);
    become(before);
  });
}

TEST_P(AllOrNothing, ADiskThatIsFullRefusesBeforeAnythingIsSent) {
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit old{};
  getrlimit(RLIMIT_FSIZE, &old);
  for (rlim_t room = 0; room < 2 * after.size(); room += 97) {
    SCOPED_TRACE("room for " + std::to_string(room) + " bytes");
    arm("none", 0);
    const rlimit full{room, old.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
    const Result result = policyctl({"apply", "--prune", wanted});
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
    if (result.status == 0) {  // it did fit
      become(before);
      continue;
    }
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(says(result.err, "Nothing was changed.")) << result.err;
    EXPECT_EQ(changes(), 0U);
    expect_as_before();
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, AllOrNothing, testing::Range(1U, 13U));

}  // namespace
