// Whatever happens between the processes, they agree once it is over.
#include "tests/simulation/system_simulation.h"

#include <gtest/gtest.h>

#include "tests/support/log_capture.h"

namespace {

constexpr int STEPS = 300;

class AfterTheFaultsStop : public testing::TestWithParam<int> {
 protected:
  [[nodiscard]] std::uint64_t seed() const { return static_cast<std::uint64_t>(GetParam()); }
  [[nodiscard]] std::string replay() const {
    return "replay: build/release/bin/test_simulation --gtest_filter='Seeds/*/Seed" +
           std::to_string(GetParam()) + "'\n";
  }
};

TEST_P(AfterTheFaultsStop, RecordsEqualTheSwitchAndEveryRequestGotOneAnswer) {
  // Faults are told in the log; here they are what is asked for.
  LogCapture log;
  SystemSimulation system(seed());
  system.live(STEPS);
  system.calm_down();
  system.converge();
  for (const std::string& wrong : system.check()) ADD_FAILURE() << wrong;
  EXPECT_GT(system.requests(), 0U);
  if (HasFailure()) {
    std::string lines;
    for (const std::string& line : log.take_lines()) lines += line + "\n";
    ADD_FAILURE() << replay() << system.world().report() << lines;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, AfterTheFaultsStop, testing::Range(1, 201),
                         [](const testing::TestParamInfo<int>& seed) {
                           return "Seed" + std::to_string(seed.param);
                         });

TEST(Simulation, TheSameSeedGivesTheSameTrace) {
  LogCapture log;
  for (const std::uint64_t seed : {3U, 77U}) {
    std::uint64_t first = 0;
    for (int run = 0; run < 2; ++run) {
      SystemSimulation system(seed);
      system.live(STEPS);
      system.calm_down();
      system.converge();
      if (run == 0) first = system.trace_hash();
      EXPECT_EQ(system.trace_hash(), first) << "seed " << seed;
    }
  }
}

TEST(Simulation, AnotherSeedGivesAnotherTrace) {
  LogCapture log;
  SystemSimulation first(1);
  SystemSimulation second(2);
  first.live(10);
  second.live(10);
  EXPECT_NE(first.trace_hash(), second.trace_hash());
}

}  // namespace
