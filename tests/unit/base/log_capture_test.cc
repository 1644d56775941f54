#include "tests/support/log_capture.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace {

using Lines = std::vector<std::string>;

TEST(LogCapture, CollectsWhatIsLoggedWhileItLives) {
  LogCapture capture;
  XLOG_WARNING("careful %d", 1);
  XLOG_INFO("by the way");
  EXPECT_EQ(capture.take_lines(),
            (Lines{"WARNING TEST TestBody: careful 1", "INFO TEST TestBody: by the way"}));
}

TEST(LogCapture, TakingEmptiesIt) {
  LogCapture capture;
  XLOG_ERROR("once");
  EXPECT_EQ(capture.take().size(), 1U);
  EXPECT_TRUE(capture.take().empty());
}

TEST(LogCapture, TheYoungestGetsTheRecord) {
  LogCapture outer;
  {
    LogCapture inner;
    XLOG_WARNING("inside");
    EXPECT_EQ(inner.take().size(), 1U);
  }
  XLOG_WARNING("outside");
  EXPECT_EQ(outer.take_lines(), (Lines{"WARNING TEST TestBody: outside"}));
}

TEST(LogCapture, AWarningThatNobodyCapturesFailsTheTest) {
  EXPECT_NONFATAL_FAILURE(XLOG_WARNING("nobody saw this coming"), "nobody saw this coming");
}

TEST(LogCapture, AnErrorThatNobodyCapturesFailsTheTest) {
  EXPECT_NONFATAL_FAILURE(XLOG_ERROR("nor this"), "ERROR TEST TestBody: nor this");
}

TEST(LogCapture, InformationNeedsNoCapture) {
  XLOG_INFO("all is well");
  EXPECT_FALSE(HasFailure());
}

}  // namespace
