#include "framework/xrl/nearest_name.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>

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

TEST(NearestName, EndsARefusal) {
  NearestName found("polcy");
  EXPECT_EQ(found.question(), ".");
  found.consider("policy");
  EXPECT_EQ(found.question(), "; is 'policy' meant?");
}

}  // namespace
