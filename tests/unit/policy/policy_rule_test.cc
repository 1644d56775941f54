#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tests/unit/policy/store_samples.h"

namespace {

constexpr std::uint32_t MAX_U32 = std::numeric_limits<std::uint32_t>::max();

class Rules : public ::testing::Test {
 protected:
  Rules() {
    EXPECT_EQ(_tree.create_acl(10, 0), 0);
    _acl = _tree.find_acl(10);
  }
  int create(std::uint32_t rule, const Numbers& flags, const TextViews& values,
             std::uint32_t action = 0) {
    return _acl->create_rule(rule, action, flags, values);
  }

  PolicyTree _tree;
  PolicyAclInfo* _acl = nullptr;
};

TEST_F(Rules, AnyRuleNumberIsAccepted) {
  EXPECT_EQ(create(0, {}, {}), 0);
  EXPECT_EQ(create(MAX_U32, {}, {}), 0);
  EXPECT_EQ(rule_ids_of(*_acl), (Numbers{0, MAX_U32}));
}

TEST_F(Rules, ARuleKnowsItsPlace) {
  ASSERT_EQ(create(7, {}, {}, 1), 0);
  const PolicyRuleInfo* rule = _acl->find_rule(7);
  EXPECT_EQ(rule->id(), 7U);
  EXPECT_EQ(rule->action(), 1U);
  EXPECT_EQ(rule->key(), (PolicyBindingKey{10, 7}));
  EXPECT_EQ(&rule->acl(), _acl);
  EXPECT_EQ(&rule->tree(), &_tree);
  EXPECT_EQ(rule->description(), "");
}

TEST_F(Rules, ActionsZeroAndOneAreAcceptedAndTwoIsNot) {
  EXPECT_EQ(create(1, {}, {}, 0), 0);
  EXPECT_EQ(create(2, {}, {}, 1), 0);
  EXPECT_EQ(create(3, {}, {}, 2), -1);
  EXPECT_EQ(create(4, {}, {}, MAX_U32), -1);
  EXPECT_EQ(rule_ids_of(*_acl), (Numbers{1, 2}));
}

TEST_F(Rules, FieldNumber36IsAcceptedAnd37LeavesNoRule) {
  EXPECT_EQ(create(1, {36}, {"v"}), 0);
  EXPECT_EQ(create(2, {37}, {"v"}), -1);
  EXPECT_EQ(create(3, {0, MAX_U32}, {"v", "w"}), -1);
  EXPECT_EQ(rule_ids_of(*_acl), (Numbers{1}));
}

TEST_F(Rules, ListsOfDifferentLengthLeaveNoRule) {
  EXPECT_EQ(create(1, {1, 2}, {"v"}), -1);
  EXPECT_EQ(create(1, {}, {"v"}), -1);
  EXPECT_EQ(_acl->find_rule(1), nullptr);
}

TEST_F(Rules, OfTwoValuesForOneFieldTheFirstWins) {
  ASSERT_EQ(create(1, {5, 3, 5}, {"first", "other", "second"}), 0);
  EXPECT_EQ(fields_of(*_acl->find_rule(1)), (Fields{{3, "other"}, {5, "first"}}));
}

TEST_F(Rules, FieldsComeInAscendingOrderOfNumber) {
  ASSERT_EQ(create(1, {36, 0, 17}, {"a", "b", "c"}), 0);
  EXPECT_EQ(fields_of(*_acl->find_rule(1)), (Fields{{0, "b"}, {17, "c"}, {36, "a"}}));
}

TEST_F(Rules, EmptyListsGiveARuleWithoutFields) {
  ASSERT_EQ(create(1, {}, {}), 0);
  EXPECT_EQ(fields_of(*_acl->find_rule(1)), Fields{});
  EXPECT_EQ(_acl->find_rule(1)->fields().size(), 0U);
}

TEST_F(Rules, All37FieldsCanBeSet) {
  Numbers flags;
  Texts texts;
  Fields expected;
  for (std::uint32_t number = 0; number <= 36; ++number) {
    flags.push_back(36 - number);
    texts.push_back(std::to_string(36 - number));
    expected.emplace_back(number, std::to_string(number));
  }
  ASSERT_EQ(create(1, flags, TextViews(texts.begin(), texts.end())), 0);
  EXPECT_EQ(fields_of(*_acl->find_rule(1)), expected);
  EXPECT_EQ(_acl->find_rule(1)->fields().size(), 37U);
}

TEST_F(Rules, ValuesAreKeptByteForByte) {
  std::string every_byte;
  for (int byte = 0; byte < 256; ++byte) every_byte.push_back(static_cast<char>(byte));
  ASSERT_EQ(create(1, {1, 2}, {every_byte, ""}), 0);
  EXPECT_EQ(fields_of(*_acl->find_rule(1)), (Fields{{1, every_byte}, {2, ""}}));
}

TEST_F(Rules, ValuesOfAnyLengthAreKept) {
  // Lengths around those at which the length itself takes a byte more.
  for (const std::size_t length : {127U, 128U, 16383U, 16384U, 1U << 20U, 1U << 21U}) {
    const std::string value(length, 'x');
    ASSERT_EQ(create(1, {0, 9}, {"before", value}), 0);
    EXPECT_EQ(fields_of(*_acl->find_rule(1)), (Fields{{0, "before"}, {9, value}})) << length;
    ASSERT_EQ(_acl->delete_rule(1), 0);
  }
}

TEST_F(Rules, AnExistingRuleIsNeverReplaced) {
  ASSERT_EQ(create(1, {1}, {"old"}, 0), 0);
  EXPECT_EQ(create(1, {2}, {"new"}, 1), -1);
  EXPECT_EQ(fields_of(*_acl->find_rule(1)), (Fields{{1, "old"}}));
  EXPECT_EQ(_acl->find_rule(1)->action(), 0U);
}

TEST_F(Rules, SetFieldsReplacesAllFields) {
  ASSERT_EQ(create(1, {1, 2}, {"a", "b"}), 0);
  PolicyRuleInfo* rule = _acl->find_rule(1);
  EXPECT_EQ(rule->set_fields(Numbers{3}, TextViews{"c"}), 0);
  EXPECT_EQ(fields_of(*rule), (Fields{{3, "c"}}));
}

TEST_F(Rules, SetFieldsWithListsOfDifferentLengthLeavesTheFields) {
  ASSERT_EQ(create(1, {1}, {"a"}), 0);
  PolicyRuleInfo* rule = _acl->find_rule(1);
  EXPECT_EQ(rule->set_fields(Numbers{2, 3}, TextViews{"b"}), -1);
  EXPECT_EQ(fields_of(*rule), (Fields{{1, "a"}}));
}

TEST_F(Rules, SetFieldsStopsAtABadNumberAndKeepsThePairsBeforeIt) {
  ASSERT_EQ(create(1, {1}, {"a"}), 0);
  PolicyRuleInfo* rule = _acl->find_rule(1);
  EXPECT_EQ(rule->set_fields(Numbers{4, 2, 37, 5}, TextViews{"d", "b", "x", "e"}), -1);
  EXPECT_EQ(fields_of(*rule), (Fields{{2, "b"}, {4, "d"}}));
  EXPECT_EQ(rule->set_fields(Numbers{37}, TextViews{"x"}), -1);
  EXPECT_EQ(fields_of(*rule), Fields{});
}

TEST_F(Rules, GetCopiesActionAndDescriptionAndAppendsTheFields) {
  ASSERT_EQ(create(1, {8, 4}, {"eight", "four"}, 1), 0);
  ASSERT_EQ(_acl->find_rule(1)->set_description("why"), 0);
  std::uint32_t action = 9;
  std::string description = "before";
  Numbers flags{99};
  Texts values{"there already"};
  EXPECT_EQ(_acl->find_rule(1)->get(action, description, flags, values), 0);
  EXPECT_EQ(action, 1U);
  EXPECT_EQ(description, "why");
  EXPECT_EQ(flags, (Numbers{99, 4, 8}));
  EXPECT_EQ(values, (Texts{"there already", "four", "eight"}));
}

TEST_F(Rules, DescriptionsAreSetAndEmptied) {
  ASSERT_EQ(create(1, {}, {}), 0);
  PolicyRuleInfo* rule = _acl->find_rule(1);
  EXPECT_EQ(rule->set_description("web"), 0);
  EXPECT_EQ(rule->description(), "web");
  EXPECT_EQ(rule->set_description(""), 0);
  EXPECT_EQ(rule->description(), "");
}

TEST_F(Rules, RuleNumbersComeInAscendingOrder) {
  for (const std::uint32_t rule : {30U, 1U, 20U}) ASSERT_EQ(create(rule, {}, {}), 0);
  Numbers ids{5};
  _acl->get_rule_ids(ids);
  EXPECT_EQ(ids, (Numbers{5, 1, 20, 30}));
}

TEST_F(Rules, DeletingAMissingRuleFails) {
  EXPECT_EQ(_acl->delete_rule(1), -1);
}

TEST_F(Rules, ADeletedRuleIsGoneAndCanBeCreatedAgain) {
  ASSERT_EQ(create(1, {1}, {"a"}), 0);
  EXPECT_EQ(_acl->delete_rule(1), 0);
  EXPECT_EQ(_acl->find_rule(1), nullptr);
  EXPECT_EQ(create(1, {2}, {"b"}), 0);
  EXPECT_EQ(fields_of(*_acl->find_rule(1)), (Fields{{2, "b"}}));
}

TEST(RuleFields, KeepAValueOfAnyLength) {
  for (const std::size_t length : {0U, 1U, 127U, 128U, 129U, 16383U, 16384U, 2097151U, 2097152U}) {
    const std::string text(length, 'x');
    const PolicyRuleFields fields(PolicyFieldValues(Numbers{1, 2}, TextViews{text, "behind"}));
    Texts values;
    for (const PolicyRuleFields::Field& field : fields) values.emplace_back(field.value);
    EXPECT_EQ(values, (Texts{text, "behind"})) << length;
  }
}

}  // namespace
