// Memory that runs out at every point of every operation: the store refuses
// and is as it was before.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "framework/base/event_loop.h"
#include "policy/store/packed_map.h"
#include "policy/store/policy_node.h"
#include "policy/store/policyconfig.h"
#include "tests/support/log_capture.h"
#include "tests/unit/policy/counted_memory.h"
#include "tests/unit/policy/store_picture.h"
#include "tests/unit/policy/store_samples.h"

namespace {

const std::string LONG(100, 'x');
const Numbers FLAGS{1, 2};
const TextViews VALUES{"value", LONG};

// A store with something of everything.
void fill(PolicyTree& tree) {
  // As many rules and users as one run of an index holds, so that the next
  // one splits it.
  constexpr std::uint32_t FULL = 64;
  for (std::uint32_t rule = 0; rule <= FULL; ++rule) add_rule(tree, 10, 2 * rule);
  add_rule(tree, 11, 1);
  PolicyPortInfo& port = add_port(tree, "0/1/1");
  for (std::uint32_t rule = 0; rule < FULL; ++rule) {
    ASSERT_EQ(port.add_filter({10, 2 * rule}), 0);
  }
  for (std::uint32_t vlan = 1; vlan < FULL; ++vlan) {
    ASSERT_EQ(add_vlan(tree, vlan).actions().set_action({10, 2}, 0, 1), 0);
  }
  ASSERT_EQ(tree.create_time_range("night", 1, 2, true, 3, 4), 0);
}

struct Operation {
  const char* name;
  std::function<int(PolicyTree&)> run;
};

class OutOfMemory : public ::testing::TestWithParam<Operation> {};

TEST_P(OutOfMemory, ChangesNothing) {
  PolicyTree tree;
  fill(tree);
  const std::string before = picture_of(tree);
  for (std::size_t successes = 0;; ++successes) {
    int result = 0;
    bool reached = false;
    {
      MemoryLimit limit(successes);
      result = GetParam().run(tree);
      reached = MemoryLimit::was_reached();
    }
    if (!reached) {
      EXPECT_EQ(result, 0);
      EXPECT_GT(successes, 0U) << "takes no memory at all";
      EXPECT_NE(picture_of(tree), before);
      return;
    }
    ASSERT_EQ(result, -1) << "with " << successes << " allocations";
    ASSERT_EQ(picture_of(tree), before) << "with " << successes << " allocations";
  }
}

INSTANTIATE_TEST_SUITE_P(
    Operations, OutOfMemory,
    ::testing::Values(
        Operation{"CreateAcl", [](PolicyTree& tree) { return tree.create_acl(12, 1); }},
        Operation{
            "CreateRule",
            [](PolicyTree& tree) { return tree.find_acl(11)->create_rule(2, 1, FLAGS, VALUES); }},
        Operation{
            "SetFields",
            [](PolicyTree& tree) { return tree.find_rule_info(11, 1)->set_fields(FLAGS, VALUES); }},
        Operation{"SetAclDescription",
                  [](PolicyTree& tree) { return tree.find_acl(11)->set_description(LONG); }},
        Operation{
            "SetRuleDescription",
            [](PolicyTree& tree) { return tree.find_rule_info(11, 1)->set_description(LONG); }},
        Operation{"CreatePort", [](PolicyTree& tree) { return tree.create_port(LONG); }},
        Operation{"CreateVlan", [](PolicyTree& tree) { return tree.create_vlan(5000); }},
        Operation{"CreateTimeRange",
                  [](PolicyTree& tree) { return tree.create_time_range(LONG, 1, 2, true, 3, 4); }},
        Operation{"SetLag",
                  [](PolicyTree& tree) { return tree.find_port("0/1/1")->set_lag(true, LONG); }},
        Operation{"AddFirstFilterOfAnAcl",
                  [](PolicyTree& tree) {
                    return tree.find_vlan(1)->add_filter({11, 1});
                  }},
        Operation{"AddFilterToAFullRun",
                  [](PolicyTree& tree) {
                    return tree.find_port("0/1/1")->add_filter({10, 128});
                  }},
        Operation{"AddFilterInFrontOfAFullRun",
                  [](PolicyTree& tree) {
                    // The ACL is not yet used by the port.
                    return tree.find_port("0/1/1")->add_filter({11, 1});
                  }},
        Operation{"SetAction",
                  [](PolicyTree& tree) {
                    return tree.find_port("0/1/1")->actions().set_action({11, 1}, 0, 1);
                  }}),
    [](const auto& operation) { return operation.param.name; });

// What the picture does not show, or what is refused anyway.

TEST(OutOfMemoryBesides, ACardThatCannotBeNotedIsNotUp) {
  PolicyTree tree;
  const PolicyPortInfo& port = add_port(tree, "0/1/1");
  {
    const MemoryLimit limit(0);
    EXPECT_EQ(tree.set_card_up(17), -1);
  }
  EXPECT_FALSE(tree.is_card_up(17));
  EXPECT_FALSE(port.card_ready);
}

TEST(OutOfMemoryBesides, ABoundAclIsRefusedAlsoWhenTheWarningCannotBeWritten) {
  PolicyTree tree;
  fill(tree);
  const std::string before = picture_of(tree);
  LogCapture log;
  int result = 0;
  {
    const MemoryLimit limit(0);
    result = tree.delete_acl(10);
  }
  EXPECT_EQ(result, -1);
  EXPECT_EQ(picture_of(tree), before);
  EXPECT_EQ(log.take().size(), 0U);
}

TEST(OutOfMemoryBesides, DeletingAndClearingNeedNone) {
  PolicyTree tree;
  fill(tree);
  PolicyAclInfo& acl = *tree.find_acl(10);
  PolicyRuleInfo& rule = *acl.find_rule(0);
  ASSERT_EQ(acl.set_description(LONG), 0);
  ASSERT_EQ(rule.set_description(LONG), 0);
  const MemoryLimit limit(0);
  EXPECT_EQ(acl.set_description(""), 0);
  EXPECT_EQ(acl.description(), "");
  EXPECT_EQ(rule.set_description(""), 0);
  EXPECT_EQ(rule.description(), "");
  PolicyPortInfo& port = *tree.find_port("0/1/1");
  EXPECT_EQ(port.delete_filter({10, 2}), 0);
  EXPECT_EQ(tree.find_vlan(1)->actions().delete_action({10, 2}), 0);
  port.clear_filters();
  EXPECT_EQ(tree.delete_port("0/1/1"), 0);
  for (std::uint32_t vlan = 1; vlan < 64; ++vlan) EXPECT_EQ(tree.delete_vlan(vlan), 0);
  EXPECT_EQ(tree.find_acl(10)->delete_rule(0), 0);
  EXPECT_EQ(tree.delete_acl(10), 0);
  EXPECT_EQ(tree.delete_time_range("night"), 0);
  tree.clear_time_ranges();
  EXPECT_FALSE(MemoryLimit::was_reached());
}

TEST(OutOfMemoryBesides, ClassOfServiceSettingsNeedNone) {
  EventLoop loop;
  PolicyNode node(loop);
  PolicyConfig& config = node.policy_config();
  const MemoryLimit limit(0);
  EXPECT_EQ(config.set_dscp_queue(4, 3), 0);
  EXPECT_EQ(config.set_dscp_queue(10, 3), 0);
  EXPECT_EQ(config.set_cos_mapping(1, 2), 0);
  EXPECT_EQ(config.set_priority_queue(1, 2), 0);
  EXPECT_EQ(config.set_weights(std::array<std::uint32_t, 4>{4, 3, 2, 1}), 0);
  EXPECT_FALSE(MemoryLimit::was_reached());
}

TEST(OutOfMemoryBesides, AnIndexThatCannotGrowIsAsItWas) {
  using Map = PackedMap<std::uint32_t, std::uint32_t>;
  // Each index at which a full run may be met: in front, within and behind.
  for (const std::uint32_t key : {0U, 2U * 40U + 1U, 2U * Map::RUN_CAPACITY + 1U, 100000U}) {
    for (std::size_t successes = 0;; ++successes) {
      Map map;
      for (std::uint32_t i = 1; i <= 2 * Map::RUN_CAPACITY; ++i) map.insert(2 * i, i);
      bool failed = false;
      {
        const MemoryLimit limit(successes);
        try {
          map.insert(key == 0 ? 1 : key, 7);
        } catch (const std::bad_alloc&) {
          failed = true;
        }
      }
      EXPECT_EQ(map.size(), 2 * Map::RUN_CAPACITY + (failed ? 0 : 1));
      EXPECT_EQ(map.find(key == 0 ? 1 : key) == nullptr, failed);
      std::uint32_t previous = 0;
      for (const auto& [each, value] : map) {
        EXPECT_LT(previous, each);
        previous = each;
      }
      if (!failed) break;
    }
  }
}

}  // namespace
