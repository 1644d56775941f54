#include "tools/policyctl/change/plan.h"

#include <gtest/gtest.h>

#include "tests/unit/policyctl/naive_policyd.h"
#include "tests/unit/policyctl/whole_switch.h"

namespace {

TEST(Plan, TwoOfTheSameSwitchForDifferentPrioritiesBothTakeEffect) {
  const Configuration before = whole_switch("");
  const SwitchConfiguration whole = before.whole();
  NaivePolicyd policyd(before);
  EXPECT_TRUE(policyd.carry_out(
      Plan(whole, whole_switch("cos priority 1 queue 7\ncos mapping 2 queue 6\n").whole())));
  EXPECT_TRUE(policyd.carry_out(
      Plan(whole, whole_switch("cos priority 2 queue 5\ncos mapping 3 queue 4\n").whole())));
  EXPECT_EQ(named_text(policyd.now),
            "cos priority 1 queue 7\ncos priority 2 queue 5\n"
            "cos mapping 2 queue 6\ncos mapping 3 queue 4\n");
}

TEST(Plan, TellsTheLineCardsInAnyCaseOnlyOfThePrioritiesThatAreNamed) {
  const SwitchConfiguration before = whole_switch("cos mapping 3 queue 6\n").whole();
  const Plan plan(before, before, {key_of(3), key_of(5)});
  ASSERT_EQ(plan.steps().size(), 1U);
  EXPECT_EQ(plan.steps()[0].kind, &COS_MAPPING);
  EXPECT_EQ(queues_of(*plan.told_to_line_cards()), (Queues{{3, 6}, {5, 5}}));
  EXPECT_EQ(plan.counts().changed, 0U);
}

}  // namespace
