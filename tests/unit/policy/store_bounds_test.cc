// What commands store is bounded, and what goes makes room again.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "policy/store/store_bounds.h"
#include "tests/unit/policy/store_samples.h"

namespace {

const std::string TEXT(500, 'x');

struct Storing {
  const char* name;
  // The n-th time; answers 0 or -1.
  std::function<int(PolicyTree&, std::uint32_t n)> add;
  // All that was added.
  std::function<void(PolicyTree&, std::uint32_t count)> remove;
};

void PrintTo(const Storing& storing, std::ostream* out) {
  *out << storing.name;
}

// ACL 1 has the rules 0..99 and VLAN 1 no bindings.
void prepare(PolicyTree& tree) {
  for (std::uint32_t rule = 0; rule < 100; ++rule) add_rule(tree, 1, rule);
  add_vlan(tree, 1);
}

// Room for the rules of prepare() and some more.
std::size_t bound() {
  PolicyTree tree;
  prepare(tree);
  return tree.stored().bytes() + 5000;
}

const std::vector<Storing> STORING{
    {"Acls", [](PolicyTree& tree, std::uint32_t n) { return tree.create_acl(100 + n, 0); },
     [](PolicyTree& tree, std::uint32_t count) {
       for (std::uint32_t n = 0; n < count; ++n) EXPECT_EQ(tree.delete_acl(100 + n), 0);
     }},
    {"Rules",
     [](PolicyTree& tree, std::uint32_t n) {
       return tree.find_acl(1)->create_rule(100 + n, 1, Numbers{1, 2}, TextViews{TEXT, "y"});
     },
     [](PolicyTree& tree, std::uint32_t count) {
       for (std::uint32_t n = 0; n < count; ++n) {
         EXPECT_EQ(tree.find_acl(1)->delete_rule(100 + n), 0);
       }
     }},
    {"RulesThatGoWithTheirAcl",
     [](PolicyTree& tree, std::uint32_t n) {
       if (n == 0 && tree.create_acl(2, 0) != 0) return -1;
       return tree.find_acl(2)->create_rule(n, 1, Numbers{1}, TextViews{TEXT});
     },
     [](PolicyTree& tree, std::uint32_t) { EXPECT_EQ(tree.delete_acl(2), 0); }},
    {"FieldsThatAreReplaced",
     [](PolicyTree& tree, std::uint32_t n) {
       const Numbers numbers{1};
       const TextViews values{TEXT};
       return tree.find_rule_info(1, n)->set_fields(numbers, values);
     },
     [](PolicyTree& tree, std::uint32_t count) {
       for (std::uint32_t n = 0; n < count; ++n) {
         EXPECT_EQ(tree.find_rule_info(1, n)->set_fields({}, {}), 0);
       }
     }},
    {"DescriptionsOfRules",
     [](PolicyTree& tree, std::uint32_t n) {
       return tree.find_rule_info(1, n)->set_description(TEXT);
     },
     [](PolicyTree& tree, std::uint32_t count) {
       for (std::uint32_t n = 0; n < count; ++n) {
         EXPECT_EQ(tree.find_rule_info(1, n)->set_description(""), 0);
       }
     }},
    {"ADescriptionThatGrows",
     [](PolicyTree& tree, std::uint32_t n) {
       return tree.find_acl(1)->set_description(std::string(500 * (n + 1), 'x'));
     },
     [](PolicyTree& tree, std::uint32_t) { EXPECT_EQ(tree.find_acl(1)->set_description(""), 0); }},
    {"TimeRanges",
     [](PolicyTree& tree, std::uint32_t n) {
       return tree.create_time_range(TEXT + std::to_string(n), 0, 0, false, 0, 0);
     },
     [](PolicyTree& tree, std::uint32_t count) {
       for (std::uint32_t n = 0; n < count; ++n) tree.delete_time_range(TEXT + std::to_string(n));
     }},
    {"TimeRangesThatAreCleared",
     [](PolicyTree& tree, std::uint32_t n) {
       return tree.create_time_range(TEXT + std::to_string(n), 0, 0, false, 0, 0);
     },
     [](PolicyTree& tree, std::uint32_t) { tree.clear_time_ranges(); }},
    {"Filters",
     [](PolicyTree& tree, std::uint32_t n) {
       return tree.find_vlan(1)->add_filter({1, n});
     },
     [](PolicyTree& tree, std::uint32_t count) {
       for (std::uint32_t n = 0; n < count; ++n) {
         EXPECT_EQ(tree.find_vlan(1)->delete_filter({1, n}), 0);
       }
     }},
    {"FiltersThatAreCleared",
     [](PolicyTree& tree, std::uint32_t n) {
       return tree.find_vlan(1)->add_filter({1, n});
     },
     [](PolicyTree& tree, std::uint32_t) { tree.find_vlan(1)->clear_filters(); }},
    {"ActionsThatGoWithTheirVlan",
     [](PolicyTree& tree, std::uint32_t n) {
       return tree.find_vlan(1)->actions().set_action({1, n}, 0, 1);
     },
     [](PolicyTree& tree, std::uint32_t) { EXPECT_EQ(tree.delete_vlan(1), 0); }},
};

class StoreBounds : public ::testing::TestWithParam<Storing> {};

TEST_P(StoreBounds, EndWhatIsAddedAndGiveTheRoomBack) {
  PolicyTree tree(bound());
  prepare(tree);
  const std::size_t before = tree.stored().bytes();
  std::uint32_t count = 0;
  while (GetParam().add(tree, count) == 0) ASSERT_LT(++count, 100U);
  ASSERT_GT(count, 0U);
  const std::size_t full = tree.stored().bytes();
  EXPECT_LE(full, bound());
  EXPECT_EQ(GetParam().add(tree, count), -1);
  EXPECT_EQ(tree.stored().bytes(), full) << "a refusal takes nothing";
  GetParam().remove(tree, count);
  EXPECT_EQ(tree.stored().bytes(), before);
}

INSTANTIATE_TEST_SUITE_P(Kinds, StoreBounds, ::testing::ValuesIn(STORING),
                         [](const auto& storing) { return std::string(storing.param.name); });

TEST(StoreBoundsAlways, LetAShorterTextTakeThePlaceOfALongerOne) {
  PolicyTree tree(bound());
  prepare(tree);
  PolicyAclInfo& acl = *tree.find_acl(1);
  std::size_t length = 1;
  while (acl.set_description(std::string(length, 'x')) == 0) ++length;
  EXPECT_EQ(acl.set_description(std::string(length - 1, 'y')), 0);
  EXPECT_EQ(acl.set_description(std::string(length - 2, 'z')), 0);
}

TEST(StoreBoundsAlways, RefuseTheRuleAndTheBindingThatCouldNotBeListed) {
  PolicyTree tree;
  add_vlan(tree, 1);
  add_rule(tree, 2, 0);
  ASSERT_EQ(tree.create_acl(1, 0), 0);
  PolicyAclInfo& acl = *tree.find_acl(1);
  PolicyVlanInfo& vlan = *tree.find_vlan(1);
  for (std::uint32_t rule = 0; rule < store_bounds::MAX_LISTED; ++rule) {
    ASSERT_EQ(acl.create_rule(rule, 1, PolicyFieldValues()), 0);
    ASSERT_EQ(vlan.add_filter({1, rule}), 0);
  }
  EXPECT_EQ(acl.create_rule(store_bounds::MAX_LISTED, 1, PolicyFieldValues()), -1);
  EXPECT_EQ(vlan.add_filter({2, 0}), -1);
  ASSERT_EQ(vlan.delete_filter({1, 7}), 0);
  EXPECT_EQ(vlan.add_filter({2, 0}), 0);
  ASSERT_EQ(acl.delete_rule(7), 0);
  EXPECT_EQ(acl.create_rule(store_bounds::MAX_LISTED, 1, PolicyFieldValues()), 0);
}

TEST(StoreBoundsAlways, RefuseTheTimeRangeAndTheDescriptionThatCouldNotBeListed) {
  constexpr std::uint32_t MANY = 24;
  const std::string text(store_bounds::MAX_LISTED_BYTES / MANY, 'x');
  PolicyTree tree;
  for (std::uint32_t n = 0; n <= MANY; ++n) {
    ASSERT_EQ(tree.create_acl(n, 0), 0);
    // The twelve bytes of each ACL leave no room for the last of the texts.
    EXPECT_EQ(tree.find_acl(n)->set_description(text), n < MANY - 1 ? 0 : -1) << n;
    EXPECT_EQ(tree.create_time_range(text + static_cast<char>('a' + n), 0, 0, false, 0, 0),
              n < MANY - 1 ? 0 : -1)
        << n;
  }
  tree.delete_time_range(text + "a");
  EXPECT_EQ(tree.create_time_range(text, 0, 0, false, 0, 0), 0);
  ASSERT_EQ(tree.delete_acl(0), 0);
  EXPECT_EQ(tree.find_acl(MANY)->set_description(text), 0);
}

}  // namespace
