// What a rule and a binding cost, index shares and the allocator's own part
// included.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>
#include <string>

#include "tests/unit/policy/counted_memory.h"
#include "tests/unit/policy/store_samples.h"

namespace {

constexpr double MAX_RULE_BYTES_ABOVE_TEXTS = 200;
constexpr double MAX_BINDING_BYTES = 64;

TEST(StoreMemory, ARuleOfSixShortFieldsStaysSmall) {
  PolicyTree tree;
  ASSERT_EQ(tree.create_acl(1, 0), 0);
  const Numbers flags{1, 2, 3, 4, 5, 6};
  const TextViews values{"10.1.2.0/24", "192.168.1.0/24", "tcp", "80", "1024-65535", "ack"};
  double text_bytes = 0;
  for (const auto value : values) text_bytes += static_cast<double>(value.size());

  constexpr std::uint32_t RULES = 10000;
  const std::size_t before = memory_in_use();
  for (std::uint32_t rule = 0; rule < RULES; ++rule) {
    ASSERT_EQ(tree.find_acl(1)->create_rule(rule, 0, flags, values), 0);
  }
  const double each = static_cast<double>(memory_in_use() - before) / RULES;
  EXPECT_LE(each - text_bytes, MAX_RULE_BYTES_ABOVE_TEXTS);
  RecordProperty("bytes_above_texts", std::to_string(each - text_bytes));
}

TEST(StoreMemory, FieldsTakeTheirTextsAndTwoBytesEachOrMoreWhenTheyAreLong) {
  for (const std::size_t length : {0U, 1U, 126U, 127U, 128U, 129U, 1000U, 16383U, 16384U, 20000U}) {
    const std::string text(length, 'x');
    const PolicyFieldValues values(Numbers{1, 2}, TextViews{text, "yes"});
    const std::size_t bytes_of_length = length < 128 ? 1 : length < 16384 ? 2 : 3;

    const std::size_t before = memory_asked_for();
    const PolicyRuleFields fields(values);
    EXPECT_EQ(memory_asked_for() - before, 1 + (1 + bytes_of_length + length) + (1 + 1 + 3))
        << length;
  }
}

// What is counted against the store's bound is no less than what is taken.
TEST(StoreMemory, IsCountedForWhatItIsOrMore) {
  PolicyTree tree;
  add_vlan(tree, 1);
  std::mt19937 random(1);
  const auto text = [&random] { return std::string(random() % 200, 'x'); };
  const std::size_t before = memory_in_use();
  for (std::uint32_t i = 0; i < 3000; ++i) {
    const auto acl = static_cast<std::uint32_t>(random() % 300);
    static_cast<void>(tree.create_acl(acl, 0));
    ASSERT_EQ(tree.find_acl(acl)->set_description(text()), 0);
    const auto rule = static_cast<std::uint32_t>(random());
    ASSERT_EQ(tree.find_acl(acl)->create_rule(rule, 1, Numbers{1, 2}, TextViews{text(), text()}),
              0);
    ASSERT_EQ(tree.find_rule_info(acl, rule)->set_description(text()), 0);
    ASSERT_EQ(tree.find_vlan(1)->add_filter({acl, rule}), 0);
    ASSERT_EQ(tree.find_vlan(1)->actions().set_action({acl, rule}, 0, 1), 0);
    ASSERT_EQ(tree.create_time_range(text() + std::to_string(i), 0, 0, false, 0, 0), 0);
  }
  const std::size_t taken = memory_in_use() - before;
  EXPECT_GE(tree.stored().bytes(), taken);
  EXPECT_LE(tree.stored().bytes(), taken + taken / 2);
}

struct Layout {
  const char* name;
  std::uint32_t vlans;
  std::uint32_t acls;
  std::uint32_t rules;  // of each ACL
  std::uint32_t bindings_per_vlan;
};

class BindingMemory : public ::testing::TestWithParam<Layout> {
 protected:
  void SetUp() override {
    const Layout& layout = GetParam();
    for (std::uint32_t acl = 0; acl < layout.acls; ++acl) {
      for (std::uint32_t rule = 0; rule < layout.rules; ++rule) add_rule(_tree, acl, rule);
    }
    for (std::uint32_t vlan = 0; vlan < layout.vlans; ++vlan) add_vlan(_tree, vlan);
  }

  // Binds drawn rules in a drawn order of VLANs; `bind` answers 0 when it did.
  template <typename Bind>
  void expect_small(Bind bind) {
    const Layout& layout = GetParam();
    std::mt19937 random(1);
    double bound = 0;
    const std::size_t before = memory_in_use();
    for (std::uint32_t i = 0; i < layout.vlans * layout.bindings_per_vlan; ++i) {
      const auto vlan = static_cast<std::uint32_t>(random() % layout.vlans);
      const PolicyBindingKey key{static_cast<std::uint32_t>(random() % layout.acls),
                                 static_cast<std::uint32_t>(random() % layout.rules)};
      if (bind(*_tree.find_vlan(vlan), key) == 0) ++bound;
    }
    const double each = static_cast<double>(memory_in_use() - before) / bound;
    EXPECT_LE(each, MAX_BINDING_BYTES);
    RecordProperty("bytes", std::to_string(each));
  }

  PolicyTree _tree;
};

TEST_P(BindingMemory, AFilterStaysSmall) {
  expect_small([](PolicyInfo& info, const PolicyBindingKey& key) { return info.add_filter(key); });
}

TEST_P(BindingMemory, AnActionStaysSmall) {
  expect_small([](PolicyInfo& info, const PolicyBindingKey& key) {
    return info.actions().set_action(key, 0, 1);
  });
}

INSTANTIATE_TEST_SUITE_P(Layouts, BindingMemory,
                         ::testing::Values(Layout{"OneAcl", 200, 1, 2000, 1000},
                                           Layout{"AclsOfOneRule", 300, 1000, 1, 500},
                                           Layout{"JustPastAFullRun", 66, 66, 1, 300},
                                           Layout{"FewOnMany", 20000, 20000, 1, 1}),
                         [](const auto& layout) { return layout.param.name; });

}  // namespace
