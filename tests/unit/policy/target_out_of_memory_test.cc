// Memory that runs out while the target handles a request.
#include <functional>
#include <initializer_list>
#include <new>
#include <optional>

#include "tests/unit/policy/counted_memory.h"
#include "tests/unit/policy/store_picture.h"
#include "tests/unit/policy/target_fixture.h"

namespace {

const std::string LONG(100, 'x');

class TargetOutOfMemory : public TargetFixture {
 protected:
  using Request = std::function<XrlCmdError()>;

  // What the handler answers when all allocations after the next `successes`
  // fail; nothing when it leaves the answer to the dispatcher.
  static std::optional<XrlCmdError> run(const Request& request, std::size_t successes) {
    const MemoryLimit limit(successes);
    try {
      return request();
    } catch (const std::bad_alloc&) {
      return std::nullopt;
    }
  }
  static std::string answer_without_memory(const Request& request) {
    const std::optional<XrlCmdError> answer = run(request, 0);
    if (!answer) return "thrown";
    return std::to_string(answer->error().error_code()) + " " + answer->note();
  }
  static XrlAtomList list_of(std::initializer_list<std::uint32_t> numbers) {
    XrlAtomList list;
    for (const std::uint32_t number : numbers) list.append(number);
    return list;
  }
};

TEST_F(TargetOutOfMemory, AVlanThatCannotBeNotedIsToTellAgain) {
  const Request create = [this] { return _target.vlan_observer_0_1_vlan_event(1, 10); };
  EXPECT_EQ(answer_without_memory(create), "220 out of memory.");
  EXPECT_EQ(tree().find_vlan(10), nullptr);
  EXPECT_TRUE(create().is_okay());
  EXPECT_NE(tree().find_vlan(10), nullptr);
}

TEST_F(TargetOutOfMemory, ACardThatCannotBeNotedIsToTellAgain) {
  const PolicyPortInfo& port = add_port(tree(), "0/1/1");
  const Request come_up = [this] {
    return _target.card_state_observer_0_1_card_state_change(17, 7);
  };
  EXPECT_EQ(answer_without_memory(come_up), "220 out of memory.");
  EXPECT_FALSE(port.card_ready);
  EXPECT_TRUE(come_up().is_okay());
  EXPECT_TRUE(port.card_ready);
}

TEST_F(TargetOutOfMemory, WhatGoesIsNotedAllTheSame) {
  const PolicyPortInfo& port = add_port(tree(), "0/1/1");
  ASSERT_EQ(tree().set_card_up(17), 0);
  add_vlan(tree(), 10);
  EXPECT_EQ(answer_without_memory(
                [this] { return _target.card_state_observer_0_1_card_state_change(17, 0); }),
            OKAY);
  EXPECT_FALSE(port.card_ready);
  EXPECT_EQ(answer_without_memory([this] { return _target.vlan_observer_0_1_vlan_event(0, 10); }),
            OKAY);
  EXPECT_EQ(tree().find_vlan(10), nullptr);
}

TEST_F(TargetOutOfMemory, ADescriptionThatDoesNotFitIsRefusedAndTheOldOneStays) {
  add_rule(tree(), 10, 1);
  ASSERT_EQ(tree().find_acl(10)->set_description("acl"), 0);
  ASSERT_EQ(tree().find_rule_info(10, 1)->set_description("rule"), 0);
  EXPECT_EQ(answer_without_memory(
                [this] { return _target.policy_config_0_1_set_acl_description(10, LONG); }),
            "102 out of memory.");
  EXPECT_EQ(answer_without_memory(
                [this] { return _target.policy_config_0_1_set_rule_description(10, 1, LONG); }),
            "102 out of memory.");
  EXPECT_EQ(tree().find_acl(10)->description(), "acl");
  EXPECT_EQ(tree().find_rule_info(10, 1)->description(), "rule");
}

TEST_F(TargetOutOfMemory, ADescriptionCanBeUnset) {
  add_rule(tree(), 10, 1);
  ASSERT_EQ(tree().find_acl(10)->set_description("acl"), 0);
  ASSERT_EQ(tree().find_rule_info(10, 1)->set_description("rule"), 0);
  EXPECT_EQ(
      answer_without_memory([this] { return _target.policy_config_0_1_unset_acl_description(10); }),
      OKAY);
  EXPECT_EQ(answer_without_memory(
                [this] { return _target.policy_config_0_1_unset_rule_description(10, 1); }),
            OKAY);
  EXPECT_EQ(tree().find_acl(10)->description(), "");
  EXPECT_EQ(tree().find_rule_info(10, 1)->description(), "");
}

TEST_F(TargetOutOfMemory, ADscpsQueueIsSet) {
  const XrlAtomList dscps = list_of({4, 10});
  const XrlAtomList queues = list_of({0, 7});
  EXPECT_EQ(answer_without_memory(
                [&] { return _target.policy_config_0_1_set_dscp_queue(dscps, queues); }),
            OKAY);
  std::uint32_t queue = 99;
  EXPECT_EQ(config().get_cos_mapping(4, queue), 0);
  EXPECT_EQ(queue, 0U);
  EXPECT_EQ(config().get_cos_mapping(10, queue), 0);
  EXPECT_EQ(queue, 7U);
}

TEST_F(TargetOutOfMemory, AllPacketFiltersAreClearedOrNone) {
  add_rule(tree(), 10, 1);
  ASSERT_EQ(add_port(tree(), LONG).add_filter({10, 1}), 0);
  ASSERT_EQ(add_vlan(tree(), 5).add_filter({10, 1}), 0);
  const std::string before = picture_of(tree());
  const Request clear = [this] { return _target.policy_config_0_1_clear_all_packet_filters(); };
  std::size_t successes = 0;
  for (; !run(clear, successes); ++successes) {
    ASSERT_EQ(picture_of(tree()), before) << "with " << successes << " allocations";
  }
  EXPECT_GT(successes, 0U) << "takes no memory at all";
  EXPECT_FALSE(tree().is_rule_used(10, 1));
}

TEST_F(TargetOutOfMemory, AProfileLogThatCannotBeSentIsUnlocked) {
  _node.startup();
  Profile& profile = _node.profile();
  profile.enable("policy_profile1");
  profile.log("policy_profile1", {1, 2}, LONG);
  const Request get = [this] {
    return _target.profile_0_1_get_entries("policy_profile1", "tool-1");
  };
  std::size_t successes = 0;
  for (; !run(get, successes); ++successes) {
    ASSERT_EQ(_router.sent(), Texts{});
    // It would throw if the log were locked.
    profile.enable("policy_profile1");
  }
  EXPECT_GT(successes, 0U) << "takes no memory at all";
  EXPECT_EQ(_router.sent().size(), 1U);
}

}  // namespace
