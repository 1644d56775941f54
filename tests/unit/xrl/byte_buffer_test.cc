#include "framework/xrl/byte_buffer.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "framework/xrl/byte_order.h"

namespace {

std::string_view content(const ByteBuffer& buffer) {
  return {reinterpret_cast<const char*>(buffer.data()), buffer.size()};
}

void append(ByteBuffer& buffer, std::string_view text) {
  buffer.append(text.data(), text.size());
}

TEST(ByteBuffer, IsEmptyAndHoldsNoMemoryAtFirst) {
  const ByteBuffer buffer;
  EXPECT_TRUE(buffer.empty());
  EXPECT_EQ(buffer.size(), 0U);
  EXPECT_EQ(buffer.capacity(), 0U);
  EXPECT_TRUE(buffer.bytes().empty());
}

TEST(ByteBuffer, IsWrittenAtTheEndAndConsumedAtTheFront) {
  ByteBuffer buffer;
  append(buffer, "one");
  append(buffer, "two");
  buffer.consume(2);
  append(buffer, "");
  append(buffer, "three");
  EXPECT_EQ(content(buffer), "etwothree");
}

TEST(ByteBuffer, ReservedBytesCountOnlyOnceCommitted) {
  ByteBuffer buffer;
  append(buffer, "a");
  std::uint8_t* at = buffer.reserve(100);
  EXPECT_EQ(content(buffer), "a");
  at[0] = 'b';
  buffer.commit(1);
  EXPECT_EQ(content(buffer), "ab");
}

TEST(ByteBuffer, HasTheRoomThatItSays) {
  ByteBuffer buffer;
  EXPECT_EQ(buffer.room(), 0U);
  const std::uint8_t* const at = buffer.reserve(10);
  EXPECT_GE(buffer.room(), 10U);
  EXPECT_EQ(buffer.reserve(buffer.room()), at);
}

TEST(ByteBuffer, KeepsWhatItHoldsWhileItGrows) {
  ByteBuffer buffer;
  std::string expected;
  for (int i = 0; i < 10000; ++i) {
    append(buffer, std::to_string(i));
    expected += std::to_string(i);
    if (i % 3 == 1) {
      buffer.consume(2);
      expected.erase(0, 2);
    }
    if (i % 1000 == 0) {
      ASSERT_EQ(content(buffer), expected);
    }
  }
  EXPECT_EQ(content(buffer), expected);
}

TEST(ByteBuffer, TakesOneRunLargerThanTwiceItsCapacity) {
  ByteBuffer buffer;
  append(buffer, "a");
  const std::string large(1U << 20U, 'x');
  append(buffer, large);
  EXPECT_EQ(content(buffer), "a" + large);
}

TEST(ByteBuffer, OfSteadySizeDoesNotGrow) {
  ByteBuffer buffer;
  append(buffer, std::string(100, 'x'));
  for (int i = 0; i < 100000; ++i) {
    append(buffer, "0123456789");
    buffer.consume(10);
  }
  EXPECT_EQ(buffer.size(), 100U);
  EXPECT_LE(buffer.capacity(), 512U);
}

TEST(ByteBuffer, ConsumedToTheEndStartsAnew) {
  ByteBuffer buffer;
  append(buffer, std::string(200, 'x'));
  const std::size_t capacity = buffer.capacity();
  buffer.consume(200);
  EXPECT_TRUE(buffer.empty());
  EXPECT_EQ(buffer.room(), capacity);
}

TEST(ByteBuffer, TruncateDropsTheEndAndClearAll) {
  ByteBuffer buffer;
  append(buffer, "abcdef");
  buffer.consume(1);
  buffer.truncate(3);
  EXPECT_EQ(content(buffer), "bcd");
  buffer.clear();
  EXPECT_TRUE(buffer.empty());
}

TEST(ByteBuffer, GivesMemoryBackOnlyWhenIdleAndHoldingMoreThanAsked) {
  ByteBuffer buffer;
  append(buffer, std::string(5000, 'x'));
  const std::size_t capacity = buffer.capacity();
  buffer.release_if_idle(10);
  EXPECT_EQ(buffer.capacity(), capacity);
  buffer.clear();
  buffer.release_if_idle(capacity);
  EXPECT_EQ(buffer.capacity(), capacity);
  buffer.release_if_idle(capacity - 1);
  EXPECT_EQ(buffer.capacity(), 0U);
  append(buffer, "again");
  EXPECT_EQ(content(buffer), "again");
}

TEST(ByteOrder, NumbersAreBigEndianAtAnyAddress) {
  std::uint8_t bytes[9] = {};
  store_u16(bytes + 1, 0x0102);
  EXPECT_EQ(bytes[1], 1);
  EXPECT_EQ(bytes[2], 2);
  EXPECT_EQ(load_u16(bytes + 1), 0x0102);
  store_u32(bytes + 1, 0x01020304U);
  EXPECT_EQ(bytes[1], 1);
  EXPECT_EQ(bytes[4], 4);
  EXPECT_EQ(load_u32(bytes + 1), 0x01020304U);
  store_u64(bytes + 1, 0x0102030405060708U);
  EXPECT_EQ(bytes[1], 1);
  EXPECT_EQ(bytes[8], 8);
  EXPECT_EQ(load_u64(bytes + 1), 0x0102030405060708U);
}

}  // namespace
