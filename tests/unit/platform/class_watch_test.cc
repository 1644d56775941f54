#include "platform/class_watch.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/simulation/sim_world.h"
#include "tests/support/log_capture.h"
#include "tests/unit/platform/fake_sender.h"

using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr const char* ASK =
    "finder finder_event_notifier/0.1/register_class_event_interest?"
    "requester_instance:txt=mirror-1&class_name:txt=sif";

constexpr const char* WITHDRAW =
    "finder finder_event_notifier/0.1/deregister_class_event_interest?"
    "requester_instance:txt=mirror-1&class_name:txt=sif";

}  // namespace

TEST(ClassWatch, AsksTheFinderOnceWhenItAgrees) {
  SimWorld world(1);
  FakeSender sender;
  const ClassWatch watch(world.loop(), sender, "mirror-1", "sif");
  EXPECT_EQ(sender.only_text(), ASK);
  sender.answer();
  world.run_for(seconds(10));
  EXPECT_EQ(sender.waiting(), 0U);
}

TEST(ClassWatch, AsksAgainUntilTheRouterTakesTheRequest) {
  SimWorld world(1);
  FakeSender sender;
  sender.refuse(true);
  const ClassWatch watch(world.loop(), sender, "mirror-1", "sif");
  world.run_for(seconds(60));
  sender.refuse(false);
  world.run_for(milliseconds(401));
  EXPECT_EQ(sender.only_text(), ASK);
}

TEST(ClassWatch, AsksAgainAfterAFailure) {
  SimWorld world(1);
  FakeSender sender;
  const ClassWatch watch(world.loop(), sender, "mirror-1", "sif");
  sender.answer(XrlError::NO_FINDER());
  world.run_for(milliseconds(101));
  EXPECT_EQ(sender.only_text(), ASK);
}

TEST(ClassWatch, AsksNoMoreOnceDestroyed) {
  SimWorld world(1);
  FakeSender sender;
  auto watch = std::make_unique<ClassWatch>(world.loop(), sender, "mirror-1", "sif");
  watch.reset();
  sender.answer(XrlError::NO_FINDER());
  world.run_for(seconds(10));
  EXPECT_EQ(sender.waiting(), 0U);
}

TEST(ClassWatch, WithdrawsItsInterestOnce) {
  SimWorld world(1);
  FakeSender sender;
  ClassWatch watch(world.loop(), sender, "mirror-1", "sif");
  sender.answer();
  watch.withdraw();
  EXPECT_EQ(sender.only_text(), WITHDRAW);
  watch.withdraw();
  EXPECT_EQ(sender.waiting(), 1U);
}

TEST(ClassWatch, WithdrawsAnInterestThatTheFinderHasNotAgreedToYet) {
  SimWorld world(1);
  FakeSender sender;
  ClassWatch watch(world.loop(), sender, "mirror-1", "sif");
  watch.withdraw();
  EXPECT_EQ(sender.waiting_texts(), (std::vector<std::string>{ASK, WITHDRAW}));
}

TEST(ClassWatch, AsksNoMoreOnceWithdrawn) {
  SimWorld world(1);
  FakeSender sender;
  ClassWatch watch(world.loop(), sender, "mirror-1", "sif");
  watch.withdraw();
  sender.answer(XrlError::NO_FINDER());
  sender.answer(XrlError::NO_FINDER());
  world.run_for(seconds(10));
  EXPECT_EQ(sender.waiting(), 0U);
}

TEST(ClassWatch, WithdrawsNothingThatItNeverAskedFor) {
  SimWorld world(1);
  FakeSender sender;
  sender.refuse(true);
  ClassWatch watch(world.loop(), sender, "mirror-1", "sif");
  sender.refuse(false);
  watch.withdraw();
  world.run_for(seconds(10));
  EXPECT_EQ(sender.waiting(), 0U);
}

TEST(ClassWatch, ARefusalIsLoggedOnceAndTriedAgain) {
  LogCapture log;
  SimWorld world(1);
  FakeSender sender;
  const ClassWatch watch(world.loop(), sender, "mirror-1", "sif");
  for (int i = 0; i < 3; ++i) {
    sender.answer(XrlError::COMMAND_FAILED("at most 64 classes can be of interest to a target."));
    world.run_for(milliseconds(401));
    EXPECT_EQ(sender.only_text(), ASK);
  }
  EXPECT_EQ(log.take_lines(),
            std::vector<std::string>{
                "WARNING PLATFORM answered: the finder does not report on 'sif': 102 "
                "COMMAND_FAILED at most 64 classes can be of interest to a target. Trying again."});
}
