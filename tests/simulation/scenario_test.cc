// A scenario as a text, and how one that fails is reduced.
#include "tests/simulation/scenario.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "tests/simulation/scenario_reduce.h"

namespace {

using std::chrono::milliseconds;

std::string refusal_of(const std::string& text) {
  try {
    static_cast<void>(Scenario::parse(text));
  } catch (const std::invalid_argument& problem) {
    return problem.what();
  }
  return "none";
}

bool has(const Scenario& scenario, StepKind kind) {
  return std::any_of(scenario.steps.begin(), scenario.steps.end(),
                     [kind](const Step& step) { return step.kind == kind; });
}

}  // namespace

TEST(Scenario, IsReadAsItIsPrinted) {
  const Scenario drawn = Scenario::drawn(7, 300);
  const Scenario read = Scenario::parse(drawn.str());
  EXPECT_EQ(read.seed, 7U);
  EXPECT_FALSE(read.steady);
  EXPECT_EQ(read.steps, drawn.steps);
}

TEST(Scenario, IsReadWithRemarksAndEmptyLines) {
  const Scenario read = Scenario::parse("# why\n\nseed 5\nsteady\nfinder 1 2 30\n");
  EXPECT_EQ(read.seed, 5U);
  EXPECT_TRUE(read.steady);
  EXPECT_EQ(read.steps, (std::vector<Step>{{StepKind::FINDER, 1, 2, milliseconds(30)}}));
}

TEST(Scenario, IsRefusedWhereItMakesNoSense) {
  EXPECT_EQ(refusal_of("seed 1\nflood 1 2 3"), "line 2: there is no step 'flood'");
  EXPECT_EQ(refusal_of("cut 1 2"), "line 1: a step has three numbers");
  EXPECT_EQ(refusal_of("cut 1 2 3 4"), "line 1: '4' is too much");
  EXPECT_EQ(refusal_of("seed x"), "line 1: a seed is a number");
}

TEST(Scenario, DrawsEveryStepSooner) {
  for (std::size_t kind = 0; kind < STEP_KINDS; ++kind) {
    EXPECT_TRUE(has(Scenario::drawn(1, 3000), static_cast<StepKind>(kind)))
        << name_of(static_cast<StepKind>(kind));
  }
}

TEST(Reduction, LeavesTheStepsThatAreNeededAndNoOther) {
  const auto fails = [](const Scenario& scenario) {
    const auto freeze = std::find_if(scenario.steps.begin(), scenario.steps.end(),
                                     [](const Step& s) { return s.kind == StepKind::FREEZE; });
    return std::any_of(freeze, scenario.steps.end(),
                       [](const Step& s) { return s.kind == StepKind::SEVER; }) &&
           has(scenario, StepKind::WAIT);
  };
  Scenario scenario = Scenario::drawn(1, 1000);
  ASSERT_TRUE(fails(scenario));
  scenario = reduced(scenario, fails);
  EXPECT_EQ(scenario.steps.size(), 3U);
  EXPECT_TRUE(fails(scenario));
  EXPECT_TRUE(scenario.steady);
  for (const Step& step : scenario.steps) EXPECT_EQ(step.pause, milliseconds(0));
}

TEST(Reduction, KeepsThePausesAndTheChanceThatAreNeeded) {
  const auto fails = [](const Scenario& scenario) {
    milliseconds all{};
    for (const Step& step : scenario.steps) all += step.pause;
    return !scenario.steady && all > milliseconds(5000);
  };
  const Scenario scenario = reduced(Scenario::drawn(1, 1000), fails);
  EXPECT_TRUE(fails(scenario));
  for (const Step& step : scenario.steps) EXPECT_GT(step.pause, milliseconds(0));
}
