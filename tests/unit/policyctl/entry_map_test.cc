#include "tools/policyctl/language/entry_map.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <random>
#include <utility>
#include <vector>

namespace {

constexpr std::uint32_t MANY = 3000;  // several runs

EntryKey key(std::uint32_t number) {
  return {{}, {10, number, 0}};
}

std::vector<std::uint32_t> keys_of(const EntryMap& map) {
  std::vector<std::uint32_t> keys;
  for (const auto& [each, value] : map) keys.push_back(each.numbers[1]);
  return keys;
}

// An EntryMap and what it is to behave as.
class Both {
 public:
  void put(std::uint32_t number, std::uint32_t value) {
    const auto at = map.insert_or_assign(key(number), EntryValue({value}));
    EXPECT_EQ(at->first, key(number));
    EXPECT_EQ(at->second.number(0), value);
    model.insert_or_assign(number, value);
  }
  void add(std::uint32_t number, std::uint32_t value) {
    const bool is_new = map.try_emplace(key(number), EntryValue({value})).second;
    EXPECT_EQ(is_new, model.try_emplace(number, value).second);
  }
  void erase(std::uint32_t number) { EXPECT_EQ(map.erase(key(number)), model.erase(number)); }
  void erase_from(std::uint32_t number) {
    const auto at = map.lower_bound(key(number));
    const auto model_at = model.lower_bound(number);
    ASSERT_EQ(at == map.end(), model_at == model.end());
    if (model_at == model.end()) return;
    const auto next = map.erase(at);
    const auto model_next = model.erase(model_at);
    ASSERT_EQ(next == map.end(), model_next == model.end());
    if (model_next != model.end()) {
      EXPECT_EQ(next->first, key(model_next->first));
    }
  }
  void look_for(std::uint32_t number) const {
    const auto at = std::as_const(map).find(key(number));
    const auto model_at = model.find(number);
    ASSERT_EQ(at == map.end(), model_at == model.end());
    if (model_at != model.end()) {
      EXPECT_EQ(at->second.number(0), model_at->second);
    }
    EXPECT_EQ(map.contains(key(number)), model.contains(number));
  }
  void expect_alike() const {
    ASSERT_EQ(map.size(), model.size());
    EXPECT_EQ(map.empty(), model.empty());
    auto at = map.begin();
    for (const auto& [number, value] : model) {
      ASSERT_EQ(at->first, key(number));
      ASSERT_EQ(at->second.number(0), value);
      ++at;
    }
    EXPECT_EQ(at, map.end());
  }

  EntryMap map;
  std::map<std::uint32_t, std::uint32_t> model;
};

TEST(EntryMap, BehavesAsAMapDoesWhateverTheOrder) {
  for (std::uint32_t seed = 0; seed < 20; ++seed) {
    std::mt19937 random(seed);
    // Few keys in many steps, and many keys.
    const std::uint32_t keys = seed % 2 == 0 ? 40 : 4000;
    Both both;
    for (std::uint32_t step = 0; step < MANY; ++step) {
      const auto number = static_cast<std::uint32_t>(random() % keys);
      switch (random() % 8) {
        case 0:
          both.erase(number);
          break;
        case 1:
          both.erase_from(number);
          break;
        case 2:
          both.look_for(number);
          both.look_for(number + 1);
          break;
        case 3:
          both.put(number, step);
          break;
        default:
          both.add(number, step);
      }
    }
    both.expect_alike();
  }
}

TEST(EntryMap, KeepsManyInOrderWhicheverEndTheyComeFrom) {
  Both ascending;
  Both descending;
  for (std::uint32_t i = 0; i < MANY; ++i) {
    ascending.add(i, i);
    descending.add(MANY - 1 - i, MANY - 1 - i);
  }
  ascending.expect_alike();
  descending.expect_alike();
  EXPECT_EQ(ascending.map, descending.map);
  descending.put(7, 8);
  EXPECT_FALSE(ascending.map == descending.map);
}

TEST(EntryMap, ErasesAllThatAreToGo) {
  EntryMap map;
  for (std::uint32_t i = 0; i < MANY; ++i) map.try_emplace(key(i));
  map.erase_if([](const MapEntry& each) { return each.first.numbers[1] % 1000 != 1; });
  EXPECT_EQ(keys_of(map), (std::vector<std::uint32_t>{1, 1001, 2001}));
  map.clear();
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(map.find(key(1)), map.end());
}

TEST(EntryMap, TakesAKeyOfItsOwn) {
  EntryMap map;
  for (std::uint32_t i = 0; i < 3; ++i) map.try_emplace({Bytes("b"), {i, 0, 0}});
  for (std::uint32_t i = 0; i < MANY; ++i) {
    map.try_emplace({map.begin()->first.name, {i, 0, 1}});
    const EntryKey& first = map.begin()->first;
    map.insert_or_assign(first, EntryValue({i}));
  }
  EXPECT_EQ(map.begin()->second.number(0), MANY - 1);
  map.erase(map.begin()->first);
  EXPECT_EQ(map.size(), MANY + 2);
}

}  // namespace
