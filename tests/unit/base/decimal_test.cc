#include "framework/base/decimal.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

TEST(Decimal, ReadsDigitsUpToWhatTheTypeHolds) {
  std::uint16_t port = 1;
  EXPECT_TRUE(parse_decimal("0", port));
  EXPECT_EQ(port, 0);
  EXPECT_TRUE(parse_decimal("65535", port));
  EXPECT_EQ(port, 65535);
  EXPECT_TRUE(parse_decimal("00019999", port));
  EXPECT_EQ(port, 19999);
}

TEST(Decimal, TakesASignWhereTheTypeHasOne) {
  std::int32_t number = 0;
  EXPECT_TRUE(parse_decimal("-2147483648", number));
  EXPECT_EQ(number, INT32_MIN);
  EXPECT_FALSE(parse_decimal("+1", number));
  EXPECT_FALSE(parse_decimal("-", number));
}

TEST(Decimal, LeavesTheNumberAloneForAnythingElse) {
  std::uint16_t port = 7;
  for (const char* text :
       {"", " 1", "1 ", "+1", "-1", "0x1", "1a", "1.0", "65536", "99999999999"}) {
    EXPECT_FALSE(parse_decimal(text, port)) << text;
    EXPECT_FALSE(parse_plain_decimal(text, port)) << text;
  }
  EXPECT_EQ(port, 7);
}

TEST(Decimal, IsPlainWithoutLeadingZeros) {
  std::uint16_t port = 7;
  EXPECT_FALSE(parse_plain_decimal("00", port));
  EXPECT_FALSE(parse_plain_decimal("010", port));
  EXPECT_EQ(port, 7);
  EXPECT_TRUE(parse_plain_decimal("0", port));
  EXPECT_EQ(port, 0);
  EXPECT_TRUE(parse_plain_decimal("10", port));
  EXPECT_EQ(port, 10);
}

}  // namespace
