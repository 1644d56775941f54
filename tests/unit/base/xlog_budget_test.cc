#include "framework/base/xlog_budget.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using std::chrono::seconds;

class XlogBudgetTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::size_t written_of(std::size_t lines, std::string_view where = "+1 a f") {
    std::size_t written = 0;
    for (std::size_t i = 0; i < lines; ++i) written += budget.take("M", where, now) ? 1 : 0;
    return written;
  }
  [[nodiscard]] std::string held_back() {
    std::string text;
    for (const XlogBudget::HeldBack& held : budget.take_held_back(now)) {
      text += held.module + ' ' + held.where + ' ' + std::to_string(held.lines) + ';';
    }
    return text;
  }

  XlogBudget budget;
  TimePoint now{seconds(1000)};
};

TEST_F(XlogBudgetTest, GivesAPlaceAHundredLines) {
  EXPECT_EQ(written_of(100000), 100U);
}

TEST_F(XlogBudgetTest, GivesEveryPlaceItsOwn) {
  EXPECT_EQ(written_of(1000, "+1 a f"), 100U);
  EXPECT_EQ(written_of(1000, "+2 a f"), 100U);
}

TEST_F(XlogBudgetTest, GivesThemAnewTenSecondsAfterTheFirstLine) {
  EXPECT_EQ(written_of(99), 99U);
  now += seconds(10) - Duration(1);
  EXPECT_EQ(written_of(1), 1U);
  EXPECT_EQ(written_of(1), 0U);
  now += Duration(1);
  EXPECT_EQ(held_back(), "M +1 a f 1;");
  EXPECT_EQ(written_of(1000), 100U);
}

TEST_F(XlogBudgetTest, CountsWhatItHeldBackAndTellsItOnce) {
  static_cast<void>(written_of(100 + 4711, "+2 b g"));
  static_cast<void>(written_of(100 + 17, "+1 a f"));
  static_cast<void>(written_of(100, "+3 c h"));
  now += seconds(10) - Duration(1);
  EXPECT_EQ(held_back(), "");
  now += Duration(1);
  EXPECT_EQ(held_back(), "M +1 a f 17;M +2 b g 4711;");
  EXPECT_EQ(held_back(), "");
}

TEST_F(XlogBudgetTest, TellsOfEachPlaceAtTheEndOfItsOwnSpan) {
  static_cast<void>(written_of(101, "+1 a f"));
  now += seconds(4);
  static_cast<void>(written_of(102, "+2 b g"));
  now += seconds(6);
  EXPECT_EQ(held_back(), "M +1 a f 1;");
  now += seconds(4);
  EXPECT_EQ(held_back(), "M +2 b g 2;");
}

// So no line is lost from the count, however late it is asked for.
TEST_F(XlogBudgetTest, GoesOnCountingUntilItWasAsked) {
  static_cast<void>(written_of(101));
  now += seconds(60);
  EXPECT_EQ(written_of(5), 0U);
  EXPECT_EQ(held_back(), "M +1 a f 6;");
  EXPECT_EQ(written_of(1), 1U);
}

}  // namespace
