#include "tools/method_advice.h"

#include <gtest/gtest.h>

namespace {

const std::vector<std::string> METHODS = {
    "common/0.1/get_status",
    "policy_config/0.1/create_acl",
    "policy_config/0.1/delete_acl",
};

TEST(MethodAdvice, OffersTheNearestMethodOfTheInterface) {
  EXPECT_EQ(method_advice("policy", "policy_config/0.1/create_alc", METHODS),
            "'policy_config/0.1' of 'policy' has no method 'create_alc'; is 'create_acl' meant?");
}

TEST(MethodAdvice, OffersTheNearestInterface) {
  EXPECT_EQ(method_advice("policy", "policy_confg/0.1/create_acl", METHODS),
            "'policy' has no interface 'policy_confg/0.1'; is 'policy_config/0.1' meant?");
}

TEST(MethodAdvice, OffersTheVersionThatThereIs) {
  EXPECT_EQ(method_advice("policy", "common/0.2/get_status", METHODS),
            "'policy' has no interface 'common/0.2'; is 'common/0.1' meant?");
}

TEST(MethodAdvice, OffersNoMethodOfAnotherInterface) {
  EXPECT_EQ(method_advice("policy", "common/0.1/create_acl", METHODS),
            "'common/0.1' of 'policy' has no method 'create_acl'.");
}

TEST(MethodAdvice, OffersNothingWhenNothingIsNear) {
  EXPECT_EQ(method_advice("policy", "weather/1.0/rain", METHODS),
            "'policy' has no interface 'weather/1.0'.");
  EXPECT_EQ(method_advice("policy", "common/0.1/rain", {}),
            "'policy' has no interface 'common/0.1'.");
}

TEST(MethodAdvice, IsEmptyForAMethodThatExists) {
  EXPECT_EQ(method_advice("policy", "common/0.1/get_status", METHODS), "");
}

}  // namespace
