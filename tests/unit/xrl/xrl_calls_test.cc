#include "framework/xrl/router/xrl_calls.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/simulation/sim_world.h"
#include "tests/support/raw_reply.h"

namespace {

using std::chrono::seconds;

using Lines = std::vector<std::string>;

class Calls : public testing::Test {
 protected:
  // Answers its number; its end is heard as "NAME CODE".
  std::uint32_t add(const std::string& name) {
    return calls->add(raw_reply([this, name](const XrlError& error) {
      heard.push_back(name + " " + std::to_string(error.error_code()));
    }));
  }
  bool finish(std::uint32_t sequence) {
    XrlArgsReader none({});
    return calls->finish(sequence, XrlError::OKAY(), none);
  }
  Lines take_heard() { return std::exchange(heard, {}); }

  SimWorld world{1};
  std::optional<XrlCalls> calls{std::in_place, world.loop(), seconds(30),
                                [] { return XrlError::REPLY_TIMED_OUT("late"); }};
  Lines heard;
};

TEST_F(Calls, AreFinishedInAnyOrder) {
  const std::uint32_t first = add("first");
  const std::uint32_t second = add("second");
  EXPECT_TRUE(finish(second));
  EXPECT_TRUE(calls->is_pending(first));
  EXPECT_TRUE(finish(first));
  EXPECT_EQ(heard, (Lines{"second 100", "first 100"}));
  EXPECT_EQ(calls->pending(), 0U);
}

TEST_F(Calls, AreFinishedOnceAlsoBehindOneThatWaits) {
  add("waits");
  const std::uint32_t second = add("second");
  EXPECT_TRUE(finish(second));
  EXPECT_FALSE(calls->is_pending(second));
  EXPECT_FALSE(finish(second));
  EXPECT_EQ(heard, Lines{"second 100"});
  EXPECT_EQ(calls->pending(), 1U);
}

TEST_F(Calls, OfNumbersThatWereNeverGivenAreIgnored) {
  const std::uint32_t first = add("first");
  EXPECT_FALSE(finish(first + 1));
  EXPECT_FALSE(finish(first - 1));
  EXPECT_TRUE(finish(first));
  EXPECT_FALSE(finish(first));
}

TEST_F(Calls, OfOneDeadlineEndAFewInEachTurnInTheirOrder) {
  const TimePoint start = world.now();
  for (int i = 0; i < 200; ++i) add(std::to_string(i));
  std::vector<std::size_t> told;
  while (heard.size() < 200 && told.size() < 10) {
    world.loop().run();
    if (!heard.empty()) told.push_back(heard.size());
  }
  EXPECT_EQ(told, (std::vector<std::size_t>{64, 128, 192, 200}));
  EXPECT_EQ(world.now() - start, seconds(30));
  EXPECT_EQ(heard.front(), "0 211");
  EXPECT_EQ(heard.back(), "199 211");
}

TEST_F(Calls, OfSeveralAreCountedTogetherUntilTheyEndOrGo) {
  std::size_t together = 0;
  const auto late = [] { return XrlError::REPLY_TIMED_OUT("late"); };
  XrlCalls other(world.loop(), seconds(30), late, &together);
  calls.emplace(world.loop(), seconds(30), late, &together);
  const std::uint32_t first = add("first");
  add("second");
  other.add(raw_reply([](const XrlError&) {}));
  EXPECT_EQ(together, 3U);
  EXPECT_TRUE(finish(first));
  EXPECT_EQ(together, 2U);
  calls.reset();
  EXPECT_EQ(together, 1U);
  world.run_for(seconds(30));
  EXPECT_EQ(together, 0U);
}

TEST_F(Calls, EndEachAtItsOwnDeadline) {
  add("one");
  add("at the same time");
  world.run_for(seconds(10));
  add("later");
  world.run_for(seconds(19));
  EXPECT_EQ(take_heard(), Lines{});
  world.run_for(seconds(1));
  EXPECT_EQ(take_heard(), (Lines{"one 211", "at the same time 211"}));
  world.run_for(seconds(9));
  EXPECT_EQ(take_heard(), Lines{});
  world.run_for(seconds(1));
  EXPECT_EQ(take_heard(), Lines{"later 211"});
}

TEST_F(Calls, SpanThoseThatWereFinishedBehindOneThatWaits) {
  const std::uint32_t oldest = add("oldest");
  for (int i = 0; i < 100; ++i) finish(add("young"));
  EXPECT_EQ(calls->span(), 101U);
  EXPECT_EQ(calls->pending(), 1U);
  EXPECT_TRUE(finish(oldest));
  EXPECT_EQ(calls->span(), 0U);
}

TEST_F(Calls, AllFailInTheirOrderAndThoseThatAreAddedMeanwhileStay) {
  const std::uint32_t first = calls->add(raw_reply([this](const XrlError&) { add("new"); }));
  add("second");
  calls->fail_all(XrlError::SEND_FAILED("lost"));
  EXPECT_EQ(heard, Lines{"second 210"});
  EXPECT_FALSE(calls->is_pending(first));
  EXPECT_EQ(calls->pending(), 1U);
}

TEST_F(Calls, AllFailButThoseThatAreSpared) {
  add("first");
  const std::uint32_t second = add("second");
  calls->fail_all(XrlError::SEND_FAILED("lost"),
                  [second](std::uint32_t sequence) { return sequence == second; });
  EXPECT_EQ(heard, Lines{"first 210"});
  EXPECT_TRUE(calls->is_pending(second));
}

TEST_F(Calls, MayBeDestroyedByTheOneThatIsFinished) {
  calls->add(raw_reply([this](const XrlError&) { calls.reset(); }));
  add("second");
  world.run_for(seconds(60));
  EXPECT_EQ(heard, Lines{});
  EXPECT_FALSE(calls.has_value());
}

}  // namespace
