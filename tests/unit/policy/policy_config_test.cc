#include "policy/store/policyconfig.h"

#include <gtest/gtest.h>

#include <string>

#include "framework/base/event_loop.h"
#include "policy/store/policy_node.h"
#include "tests/unit/policy/store_samples.h"

namespace {

class Config : public ::testing::Test {
 protected:
  // What the getter answers; NOTHING when it finds none, which also shows
  // that the output was left alone.
  static constexpr std::uint32_t NOTHING = 4711;
  template <typename Getter>
  std::uint32_t read(Getter getter, std::uint32_t key) {
    std::uint32_t queue = NOTHING;
    const int result = (_config.*getter)(key, queue);
    EXPECT_EQ(result, queue == NOTHING ? -1 : 0);
    return queue;
  }
  std::uint32_t dscp(std::uint32_t key) { return read(&PolicyConfig::get_dscp_queue, key); }
  std::uint32_t cos(std::uint32_t key) { return read(&PolicyConfig::get_cos_mapping, key); }
  std::uint32_t priority(std::uint32_t key) { return read(&PolicyConfig::get_priority_queue, key); }
  Numbers weights() {
    Numbers all;
    EXPECT_EQ(_config.get_weights(all), 0);
    return all;
  }

  EventLoop _eventloop;
  PolicyNode _node{_eventloop};
  PolicyConfig _config{_node};
};

TEST_F(Config, FreshDscpTableEndsAt62) {
  for (std::uint32_t value = 0; value <= 62; ++value) EXPECT_EQ(dscp(value), value / 8);
  EXPECT_EQ(dscp(63), NOTHING);
  EXPECT_EQ(dscp(64), NOTHING);
}

TEST_F(Config, FreshCosMappingPutsPriorityZeroAboveOneAndTwo) {
  const Numbers queues{2, 0, 1, 3, 4, 5, 6, 7, NOTHING};
  for (std::uint32_t key = 0; key < queues.size(); ++key) EXPECT_EQ(cos(key), queues[key]);
}

TEST_F(Config, FreshPriorityTableMapsEachToItsOwnQueue) {
  for (std::uint32_t key = 0; key <= 7; ++key) EXPECT_EQ(priority(key), key);
  EXPECT_EQ(priority(8), NOTHING);
}

TEST_F(Config, FreshSchedulingIsAlgorithmZeroWithFourWeights) {
  EXPECT_EQ(_config.algorithm(), 0U);
  EXPECT_EQ(weights(), (Numbers{12, 8, 4, 1}));
  EXPECT_EQ(_config.mode(), 0U);
  EXPECT_FALSE(_config.cos_flag());
}

TEST_F(Config, KnowsItsOwner) {
  EXPECT_EQ(&_config.node(), &_node);
  EXPECT_EQ(&_config.eventloop(), &_eventloop);
}

TEST_F(Config, HoldsAnEmptyAclStore) {
  EXPECT_EQ(acl_ids_of(_config.policy_tree()), Numbers{});
  EXPECT_EQ(&_config.policy_tree(), &_config.policy_tree());
}

TEST_F(Config, PrioritySetterChangesOnlyWhatIsThere) {
  EXPECT_EQ(_config.set_priority_queue(5, 1), 0);
  EXPECT_EQ(priority(5), 1U);
  EXPECT_EQ(_config.set_priority_queue(8, 1), -1);
  EXPECT_EQ(priority(8), NOTHING);
}

TEST_F(Config, CosSetterChangesOnlyWhatIsThere) {
  EXPECT_EQ(_config.set_cos_mapping(0, 5), 0);
  EXPECT_EQ(cos(0), 5U);
  EXPECT_EQ(_config.set_cos_mapping(8, 1), -1);
  EXPECT_EQ(cos(8), NOTHING);
}

TEST_F(Config, DscpSetterWritesTheCosMappingAndLeavesTheDscpTable) {
  EXPECT_EQ(_config.set_dscp_queue(10, 3), 0);
  EXPECT_EQ(dscp(10), 1U);
  EXPECT_EQ(cos(10), 3U);
  EXPECT_EQ(_config.set_dscp_queue(10, 4), 0);
  EXPECT_EQ(cos(10), 4U);
}

TEST_F(Config, DscpSetterBelowEightChangesThePrioritysMapping) {
  EXPECT_EQ(_config.set_dscp_queue(7, 1), 0);
  EXPECT_EQ(cos(7), 1U);
  EXPECT_EQ(dscp(7), 0U);
}

TEST_F(Config, Dscp63CannotBeSet) {
  EXPECT_EQ(_config.set_dscp_queue(63, 3), -1);
  EXPECT_EQ(cos(63), NOTHING);
  EXPECT_EQ(dscp(63), NOTHING);
}

TEST_F(Config, AKeyThatTheDscpSetterAddedCanBeSetAsACosMapping) {
  ASSERT_EQ(_config.set_dscp_queue(10, 3), 0);
  EXPECT_EQ(_config.set_cos_mapping(10, 6), 0);
  EXPECT_EQ(cos(10), 6U);
}

TEST_F(Config, FourWeightsAreReadBackInOrder) {
  EXPECT_EQ(_config.set_weights(Numbers{9, 0, 4294967295U, 7}), 0);
  EXPECT_EQ(weights(), (Numbers{9, 0, 4294967295U, 7}));
}

TEST_F(Config, AnyOtherNumberOfWeightsKeepsTheOldOnes) {
  EXPECT_EQ(_config.set_weights(Numbers{1, 2, 3}), -1);
  EXPECT_EQ(_config.set_weights(Numbers{1, 2, 3, 4, 5}), -1);
  EXPECT_EQ(_config.set_weights({}), -1);
  EXPECT_EQ(weights(), (Numbers{12, 8, 4, 1}));
}

TEST_F(Config, WeightsAreAppendedToTheCallersList) {
  Numbers all{77};
  EXPECT_EQ(_config.get_weights(all), 0);
  EXPECT_EQ(all, (Numbers{77, 12, 8, 4, 1}));
}

TEST_F(Config, AlgorithmModeAndFlagAreKeptUnchecked) {
  _config.set_algorithm(99);
  _config.set_mode(98);
  _config.set_cos_flag(true);
  EXPECT_EQ(_config.algorithm(), 99U);
  EXPECT_EQ(_config.mode(), 98U);
  EXPECT_TRUE(_config.cos_flag());
}

TEST_F(Config, StartsOnceAndSucceedsAgainWithoutTouchingTheText) {
  std::string text = "before";
  EXPECT_FALSE(_config.is_running());
  EXPECT_EQ(_config.start(text), 0);
  EXPECT_TRUE(_config.is_running());
  EXPECT_EQ(_config.start(text), 0);
  EXPECT_EQ(text, "before");
}

TEST_F(Config, StopEmptiesTheTextOnlyWhenItWasRunning) {
  std::string text = "before";
  EXPECT_EQ(_config.stop(text), 0);
  EXPECT_EQ(text, "before");
  ASSERT_EQ(_config.start(text), 0);
  EXPECT_EQ(_config.stop(text), 0);
  EXPECT_EQ(text, "");
  EXPECT_FALSE(_config.is_running());
}

}  // namespace
