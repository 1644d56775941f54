#include "framework/xrl/nearest_name.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::string nearest(std::string_view wanted, std::initializer_list<std::string_view> candidates) {
  NearestName found(wanted);
  for (const std::string_view candidate : candidates) found.consider(candidate);
  return found.name();
}

TEST(NearestName, FindsOneSlipOfTheFinger) {
  EXPECT_EQ(nearest("polcy", {"finder", "policy", "vlan"}), "policy");
  EXPECT_EQ(nearest("pollicy", {"finder", "policy", "vlan"}), "policy");
  EXPECT_EQ(nearest("pokicy", {"finder", "policy", "vlan"}), "policy");
  EXPECT_EQ(nearest("vlna", {"finder", "policy", "vlan"}), "vlan");
  EXPECT_EQ(nearest("olicy", {"finder", "policy", "vlan"}), "policy");
  EXPECT_EQ(nearest("policyy", {"finder", "policy", "vlan"}), "policy");
}

TEST(NearestName, TakesTheNearerOfTwo) {
  EXPECT_EQ(nearest("lcmgr021", {"lcmgr0212", "lcmgr022", "lcmgr021x"}), "lcmgr0212");
  EXPECT_EQ(nearest("create_rule", {"create_rules", "create_rule"}), "create_rule");
  EXPECT_EQ(nearest("crate_rules", {"create_rule", "create_rules"}), "create_rules");
}

TEST(NearestName, IsNoneWhenAllAreFarAway) {
  EXPECT_EQ(nearest("policy", {"finder", "chassis", "pool"}), "");
  EXPECT_EQ(nearest("sif", {"vlan"}), "");
  EXPECT_EQ(nearest("policy", {}), "");
  EXPECT_EQ(nearest("", {"vlan"}), "");
}

TEST(NearestName, AllowsOneErrorInThreeCharactersAndThreeAtMost) {
  EXPECT_EQ(nearest("sof", {"sif"}), "sif");
  EXPECT_EQ(nearest("soff", {"sif"}), "");
  EXPECT_EQ(nearest("set_cos_maping_xy", {"set_cos_mapping"}), "");
  EXPECT_EQ(nearest("set_cos_maping_x", {"set_cos_mapping"}), "set_cos_mapping");
}

TEST(NearestName, LooksAtWholeNamesOfAnyLength) {
  const std::string long_name(100, 'a');
  EXPECT_EQ(nearest(long_name, {long_name + "bcd"}), long_name + "bcd");
  EXPECT_EQ(nearest(long_name, {long_name + "bcde"}), "");
  EXPECT_EQ(nearest(long_name + "xyz", {"xyz" + long_name}), "");
  EXPECT_EQ(nearest("x" + long_name, {long_name + "x"}), long_name + "x");
}

// The distance by its definition, all of it.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::vector<std::size_t>> at(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      at[i][j] = i == 0 ? j : i;
      if (i == 0 || j == 0) continue;
      at[i][j] = std::min({at[i - 1][j] + 1, at[i][j - 1] + 1,
                           at[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0U : 1U)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        at[i][j] = std::min(at[i][j], at[i - 2][j - 2] + 1);
      }
    }
  }
  return at[a.size()][b.size()];
}

TEST(NearestName, CountsCharactersAsTheDefinitionDoes) {
  std::vector<std::string> names{""};
  for (std::size_t i = 0; names[i].size() < 6; ++i) {
    names.push_back(names[i] + "a");
    names.push_back(names[i] + "b");
  }
  for (const std::string& a : names) {
    const std::size_t allowed = std::min<std::size_t>(3, std::max<std::size_t>(a.size() / 3, 1));
    for (const std::string& b : names) {
      if (b.empty()) continue;
      ASSERT_EQ(nearest(a, {b}) == b, distance(a, b) <= allowed) << a << " " << b;
      const std::string wanted = "cccccc" + a;
      const std::string candidate = "cccccc" + b;
      ASSERT_EQ(nearest(wanted, {candidate}) == candidate,
                distance(a, b) <= std::min<std::size_t>(3, wanted.size() / 3))
          << wanted << " " << candidate;
    }
  }
}

TEST(NearestName, IsFoundBehindManyNamesThatDifferFromTheirBeginning) {
  const std::string wanted(100, 'a');
  NearestName found(wanted);
  for (int i = 0; i < 500; ++i) found.consider(std::string(100, 'z'));
  found.consider(wanted + "b");
  EXPECT_EQ(found.name(), wanted + "b");
}

TEST(NearestName, IsGivenUpWhereManyNamesDifferOnlyAtTheirEnd) {
  const std::string begin(100, 'a');
  const std::string wanted = begin + "wxyz";
  NearestName found(wanted);
  for (std::size_t i = 0; i < NearestName::MAX_ROWS / 100; ++i) found.consider(begin + "1234");
  found.consider(wanted + "b");
  EXPECT_EQ(found.name(), "");
}

TEST(NearestName, EndsARefusal) {
  NearestName found("polcy");
  EXPECT_EQ(found.question(), ".");
  found.consider("policy");
  EXPECT_EQ(found.question(), "; is 'policy' meant?");
}

}  // namespace
