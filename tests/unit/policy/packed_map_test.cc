#include "policy/store/packed_map.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <utility>
#include <vector>

namespace {

using Map = PackedMap<std::uint32_t, std::uint32_t>;
using Model = std::map<std::uint32_t, std::uint32_t>;

Model contents(const Map& map) {
  Model all;
  for (const auto& [key, value] : map) {
    EXPECT_TRUE(all.empty() || all.rbegin()->first < key) << key << " is out of order";
    all.emplace(key, value);
  }
  EXPECT_EQ(all.size(), map.size());
  return all;
}

TEST(PackedMap, IsEmptyAtFirst) {
  const Map map;
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(map.size(), 0U);
  EXPECT_EQ(map.begin(), map.end());
  EXPECT_EQ(map.find(0), nullptr);
}

TEST(PackedMap, FindsWhatWasInsertedAndNothingElse) {
  Map map;
  map.insert(5, 50);
  map.insert(3, 30);
  EXPECT_EQ(*map.find(5), 50U);
  EXPECT_EQ(*map.find(3), 30U);
  EXPECT_EQ(map.find(4), nullptr);
  EXPECT_EQ(map.front().key, 3U);
}

TEST(PackedMap, AValueCanBeChangedInPlace) {
  Map map;
  map.insert(1, 10);
  *map.find(1) = 11;
  EXPECT_EQ(map.front().value, 11U);
}

TEST(PackedMap, ErasingWhatIsNotThereChangesNothing) {
  Map map;
  EXPECT_FALSE(map.erase(1));
  map.insert(1, 10);
  EXPECT_FALSE(map.erase(0));
  EXPECT_FALSE(map.erase(2));
  EXPECT_EQ(contents(map), (Model{{1, 10}}));
}

TEST(PackedMap, ClearedItCanBeFilledAgain) {
  Map map;
  for (std::uint32_t i = 0; i < 1000; ++i) map.insert(i, i);
  map.clear();
  EXPECT_EQ(contents(map), Model{});
  map.insert(7, 70);
  EXPECT_EQ(contents(map), (Model{{7, 70}}));
}

TEST(PackedMap, AnOwnedValueLivesAsLongAsItsEntryAndStaysWhereItIs) {
  constexpr std::uint32_t COUNT = 3 * Map::RUN_CAPACITY;
  PackedMap<std::uint32_t, std::shared_ptr<std::uint32_t>> map;
  std::vector<std::weak_ptr<std::uint32_t>> values(COUNT);
  for (std::uint32_t i = 0; i < COUNT; ++i) {
    const std::uint32_t key = (i * 101) % COUNT;
    auto value = std::make_shared<std::uint32_t>(key);
    values[key] = value;
    map.insert(key, std::move(value));
  }
  for (std::uint32_t key = 0; key < COUNT; ++key) {
    ASSERT_EQ(map.find(key)->get(), values[key].lock().get());
    if (key % 3 == 0) {
      ASSERT_TRUE(map.erase(key));
    }
    ASSERT_EQ(values[key].expired(), key % 3 == 0);
  }
  map.clear();
  for (const auto& value : values) EXPECT_TRUE(value.expired());
}

// Orders in which keys come and go; each runs over several times as many
// entries as a run holds.
struct Order {
  const char* name;
  std::uint32_t (*key)(std::uint32_t index, std::uint32_t count);
};

class PackedMapInEveryOrder : public ::testing::TestWithParam<Order> {};

TEST_P(PackedMapInEveryOrder, HoldsEveryEntryInOrderWhileItGrowsAndShrinks) {
  constexpr std::uint32_t COUNT = 5 * Map::RUN_CAPACITY + 3;
  Map map;
  Model model;
  for (std::uint32_t i = 0; i < COUNT; ++i) {
    const std::uint32_t key = GetParam().key(i, COUNT);
    map.insert(key, i);
    model.emplace(key, i);
    ASSERT_EQ(contents(map), model);
  }
  for (std::uint32_t i = 0; i < COUNT; ++i) {
    const std::uint32_t key = GetParam().key((i * 7) % COUNT, COUNT);
    ASSERT_TRUE(map.erase(key));
    model.erase(key);
    ASSERT_EQ(contents(map), model);
    ASSERT_EQ(map.find(key), nullptr);
  }
  EXPECT_TRUE(map.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Orders, PackedMapInEveryOrder,
    ::testing::Values(
        Order{"Ascending", [](std::uint32_t i, std::uint32_t) { return i; }},
        Order{"Descending", [](std::uint32_t i, std::uint32_t count) { return count - i; }},
        Order{"FromBothEnds",
              [](std::uint32_t i, std::uint32_t count) { return i % 2 == 0 ? i : 2 * count - i; }},
        Order{"TowardsTheMiddleFromAbove",
              [](std::uint32_t i, std::uint32_t) { return i < Map::RUN_CAPACITY ? i : 10000 - i; }},
        Order{"Scattered", [](std::uint32_t i, std::uint32_t count) { return (i * 101) % count; }}),
    [](const auto& order) { return order.param.name; });

TEST(PackedMap, EqualsAnOrderedMapUnderRandomInsertsAndErases) {
  for (std::uint32_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    Map map;
    Model model;
    for (int step = 0; step < 5000; ++step) {
      const auto key = static_cast<std::uint32_t>(random() % 600);
      // Growing and shrinking take turns.
      const bool insert = random() % 10 < (step / 1000 % 2 == 0 ? 7 : 3);
      if (!insert) {
        ASSERT_EQ(map.erase(key), model.erase(key) == 1);
      } else if (model.emplace(key, step).second) {
        map.insert(key, static_cast<std::uint32_t>(step));
      } else {
        ASSERT_EQ(*map.find(key), model.at(key));
      }
      if (step % 100 == 0) {
        ASSERT_EQ(contents(map), model);
      }
    }
    ASSERT_EQ(contents(map), model);
  }
}

}  // namespace
