#include <gtest/gtest.h>

#include <random>

#include "tests/integration/random_configuration.h"
#include "tests/support/sanitizers.h"
#include "tests/unit/policyctl/naive_policyd.h"
#include "tools/policyctl/change/complete.h"
#include "tools/policyctl/change/touched.h"
#include "tools/policyctl/language/read_configuration.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

// A tenth of them shows a sanitizer, which takes ten times as long, what it looks for.
constexpr std::uint32_t CASES = SANITIZER_TAKES_MEMORY ? 300 : 3000;

// Two switches' configurations, from one seed.
struct TwoStates {
  explicit TwoStates(std::uint32_t seed)
      : random(seed, {"eth-0/1/1", "eth-0/1/2"}, {100, 200}), before(random.make()) {
    after =
        complete(random.change(before), before, seed % 2 == 0 ? Unnamed::KEPT : Unnamed::REMOVED);
    drop_bindings_without_rule();
  }

  // Such a file is refused before a plan is made.
  void drop_bindings_without_rule() {
    const auto drop = [this](auto& records) {
      for (auto& [name, bound] : records) {
        std::erase_if(bound.filters,
                      [this](const RuleKey& key) { return find_rule(after, key) == nullptr; });
        std::erase_if(bound.remarks, [this](const auto& entry) {
          const Rule* const rule = find_rule(after, entry.first);
          return rule == nullptr || rule->action != PERMIT;
        });
      }
    };
    drop(after.interfaces);
    drop(after.vlans);
  }

  RandomConfiguration random;
  Configuration before;
  Configuration after;
};

std::string text(const Configuration& configuration) {
  return write_configuration(configuration);
}

// As a journal keeps it.
WantedConfiguration through_text(const Entries& configuration) {
  return read_configuration(write_configuration(configuration, Bare::WRITTEN)).configuration;
}

void expect_undone(NaivePolicyd& policyd, const Touched& touched, const Configuration& before) {
  const SwitchConfiguration now = policyd.now.whole();
  const Difference undone = undo(touched, now);
  const Plan back(now, undone.target);
  EXPECT_TRUE(policyd.carry_out(back));
  EXPECT_EQ(text(policyd.now), text(before));
  EXPECT_TRUE(undone.clashes.empty()) << undone.clashes.front();
}

class UndoAtRandom : public testing::TestWithParam<std::uint32_t> {
 protected:
  // A part of the cases, so that they can run side by side.
  template <typename Case>
  void for_each_seed(Case run) {
    for (std::uint32_t seed = GetParam(); seed < CASES && !HasFailure(); seed += PARTS) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      run(seed);
    }
  }

 public:
  static constexpr std::uint32_t PARTS = 4;
};

TEST_P(UndoAtRandom, APlanThatIsCarriedOutMakesItsTarget) {
  for_each_seed([](std::uint32_t seed) {
    const TwoStates states(seed);
    NaivePolicyd policyd(states.before);
    const SwitchConfiguration before = states.before.whole();
    EXPECT_TRUE(policyd.carry_out(Plan(before, states.after.whole())));
    EXPECT_EQ(text(policyd.now), text(states.after));
  });
}

TEST_P(UndoAtRandom, EveryBeginningOfAPlanIsUndone) {
  for_each_seed([](std::uint32_t seed) {
    const TwoStates states(seed);
    const SwitchConfiguration before = states.before.whole();
    const Plan plan(before, states.after.whole());
    Touched touched = touched_by(plan);
    touched.before = through_text(touched.before);
    touched.after = through_text(touched.after);
    NaivePolicyd policyd(states.before);
    for (std::size_t done = 0; done <= plan.steps().size(); ++done) {
      SCOPED_TRACE(std::to_string(done) + " steps done");
      NaivePolicyd stopped(policyd.now);
      expect_undone(stopped, touched, states.before);
      if (testing::Test::HasFailure()) return;
      if (done < plan.steps().size()) {
        ASSERT_TRUE(policyd.carry_out(plan.steps()[done]));
      }
    }
  });
}

// Requests behind one that is lost are in flight already and are carried out,
// unless they depend on it.
TEST_P(UndoAtRandom, AnyPartOfAPlanIsUndone) {
  for_each_seed([](std::uint32_t seed) {
    const TwoStates states(seed);
    const SwitchConfiguration before = states.before.whole();
    const Plan plan(before, states.after.whole());
    std::mt19937 random(seed);
    for (int part = 0; part < 20 && !testing::Test::HasFailure(); ++part) {
      SCOPED_TRACE("part " + std::to_string(part));
      const std::uint32_t one_lost_in = 2U << static_cast<unsigned>(part % 5);
      NaivePolicyd policyd(states.before);
      Touched touched = touched_by(plan);
      std::vector<Step> refused;
      for (const Step& step : plan.steps()) {
        if (random() % one_lost_in == 0) continue;
        if (!policyd.carry_out(step)) refused.push_back(step);
      }
      if (part % 2 == 0) forget_refused(touched, refused);
      expect_undone(policyd, touched, states.before);
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Parts, UndoAtRandom, testing::Range(0U, UndoAtRandom::PARTS));

}  // namespace
