#include "framework/base/hex.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

namespace {

TEST(Hex, WritesTwoDigitsForEachByte) {
  const std::array<std::uint8_t, 4> bytes{0x00, 0x0f, 0xa0, 0xff};
  EXPECT_EQ(hex_text(bytes), "000fa0ff");
  EXPECT_EQ(hex_text({}), "");
}

TEST(Hex, ReadsDigitsInEitherCase) {
  EXPECT_EQ(hex_digit('0'), 0);
  EXPECT_EQ(hex_digit('9'), 9);
  EXPECT_EQ(hex_digit('a'), 10);
  EXPECT_EQ(hex_digit('F'), 15);
}

TEST(Hex, TakesNoOtherCharacterForADigit) {
  for (const char c : {'/', ':', '@', 'G', '`', 'g', '\0', '\xb0'})
    EXPECT_EQ(hex_digit(c), -1) << c;
}

}  // namespace
