// Whatever happens between the processes, they agree once it is over.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/simulation/scenario_run.h"
#include "tests/support/log_capture.h"

namespace {

// Faults are told in the log; here they are what is asked for.
void expect_to_hold(const Scenario& scenario, const std::string& replay) {
  LogCapture log;
  const ScenarioResult result = run_scenario(scenario);
  for (const std::string& wrong : result.wrong) ADD_FAILURE() << wrong;
  if (result.wrong.empty()) return;
  std::string lines;
  for (const std::string& line : log.take_lines()) lines += line + "\n";
  ADD_FAILURE() << "replay: build/release/bin/simulate --replay " << replay << "\n"
                << result.report << lines;
}

class AfterTheFaultsStop : public testing::TestWithParam<int> {};

TEST_P(AfterTheFaultsStop, RecordsEqualTheSwitchAndEveryRequestGotOneAnswer) {
  const auto seed = static_cast<std::uint64_t>(GetParam());
  expect_to_hold(Scenario::drawn(seed, STEPS_OF_A_SEED), std::to_string(seed));
}

INSTANTIATE_TEST_SUITE_P(Seeds, AfterTheFaultsStop, testing::Range(1, 201),
                         [](const testing::TestParamInfo<int>& seed) {
                           return "Seed" + std::to_string(seed.param);
                         });

std::vector<std::string> situations() {
  std::vector<std::string> names;
  for (const auto& file : std::filesystem::directory_iterator(SCENARIOS)) {
    if (file.path().extension() != ".md") names.push_back(file.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

class SituationsThatOnceFailed : public testing::TestWithParam<std::string> {};

TEST_P(SituationsThatOnceFailed, Hold) {
  const std::string path = SCENARIOS "/" + GetParam();
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
  const Scenario scenario = Scenario::parse(text.str());
  ASSERT_FALSE(scenario.steps.empty()) << path;
  expect_to_hold(scenario, path);
}

INSTANTIATE_TEST_SUITE_P(Files, SituationsThatOnceFailed, testing::ValuesIn(situations()),
                         [](const testing::TestParamInfo<std::string>& file) {
                           std::string name = file.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

TEST(Simulation, TheSameSeedGivesTheSameTrace) {
  LogCapture log;
  for (const std::uint64_t seed : {3U, 77U}) {
    const Scenario scenario = Scenario::drawn(seed, STEPS_OF_A_SEED);
    EXPECT_EQ(run_scenario(scenario).trace_hash, run_scenario(scenario).trace_hash) << seed;
  }
}

TEST(Simulation, AnotherSeedGivesAnotherTrace) {
  LogCapture log;
  EXPECT_NE(run_scenario(Scenario::drawn(1, 10)).trace_hash,
            run_scenario(Scenario::drawn(2, 10)).trace_hash);
}

}  // namespace
