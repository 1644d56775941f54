#include "framework/base/retry_timer.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/simulation/sim_world.h"

namespace {

using std::chrono::milliseconds;

using Times = std::vector<milliseconds>;

class RetryTimerTest : public ::testing::Test {
 protected:
  // Fails again each time that it tries; answers when those were.
  const Times& fail_for(Duration time) {
    again = true;
    timer.failed();
    world.run_for(time);
    again = false;
    return tries;
  }
  [[nodiscard]] milliseconds now() const {
    return std::chrono::duration_cast<milliseconds>(world.now() - start);
  }

  SimWorld world{1};
  TimePoint start = world.now();
  bool again = false;
  Times tries;
  RetryTimer timer{world.loop(),
                   [this] {
                     tries.push_back(now());
                     if (again) timer.failed();
                   },
                   milliseconds(100), milliseconds(500)};
};

TEST_F(RetryTimerTest, WaitsTwiceAsLongEachTimeUpToTheLongest) {
  const Times& at = fail_for(milliseconds(2000));
  EXPECT_EQ(at, (Times{milliseconds(100), milliseconds(300), milliseconds(700), milliseconds(1200),
                       milliseconds(1700)}));
}

TEST_F(RetryTimerTest, TriesOnceForEachWait) {
  timer.failed();
  EXPECT_TRUE(timer.is_waiting());
  world.run_for(milliseconds(2000));
  EXPECT_EQ(tries, Times{milliseconds(100)});
  EXPECT_FALSE(timer.is_waiting());
}

TEST_F(RetryTimerTest, SeveralFailuresWithinAWaitCountAsOne) {
  timer.failed();
  world.run_for(milliseconds(50));
  timer.failed();
  timer.failed();
  world.run_for(milliseconds(100));
  EXPECT_EQ(tries, Times{milliseconds(100)});
  timer.failed();
  world.run_for(milliseconds(500));
  EXPECT_EQ(tries, (Times{milliseconds(100), milliseconds(350)}));
}

TEST_F(RetryTimerTest, ASuccessMakesTheNextWaitTheShortest) {
  fail_for(milliseconds(350));
  tries.clear();
  world.run_for(milliseconds(400));
  timer.succeeded();
  EXPECT_EQ(tries, Times{milliseconds(700)});
  timer.failed();
  world.run_for(milliseconds(2000));
  EXPECT_EQ(tries, (Times{milliseconds(700), milliseconds(850)}));
}

TEST_F(RetryTimerTest, ASuccessLeavesAWaitThatRuns) {
  timer.failed();
  timer.succeeded();
  EXPECT_TRUE(timer.is_waiting());
  world.run_for(milliseconds(100));
  EXPECT_EQ(tries, Times{milliseconds(100)});
}

TEST_F(RetryTimerTest, CancelledItDoesNotTryAndStartsOver) {
  fail_for(milliseconds(350));
  tries.clear();
  timer.cancel();
  EXPECT_FALSE(timer.is_waiting());
  world.run_for(milliseconds(2000));
  EXPECT_EQ(tries, Times{});
  timer.failed();
  world.run_for(milliseconds(100));
  EXPECT_EQ(tries, Times{milliseconds(2450)});
}

TEST_F(RetryTimerTest, ToldToItTriesInTheNextTurnAndWaitsAsEverThen) {
  timer.failed();
  again = true;
  timer.try_now();
  world.run_for(milliseconds(250));
  EXPECT_EQ(tries, (Times{milliseconds(0), milliseconds(200)}));
}

TEST_F(RetryTimerTest, AnotherLongestWaitCountsFromTheWaitAfterTheNext) {
  timer.set_longest(milliseconds(150));
  EXPECT_EQ(fail_for(milliseconds(500)),
            (Times{milliseconds(100), milliseconds(250), milliseconds(400)}));
}

}  // namespace
