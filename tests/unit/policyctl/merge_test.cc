#include "tools/policyctl/change/difference.h"

#include <gtest/gtest.h>

#include "tests/support/typed_configuration.h"

namespace {

using Names = std::vector<std::string>;

struct Merge {
  Configuration target;
  Names conflicts;
};

Configuration start() {
  Configuration configuration;
  configuration.cos = default_class_of_service();
  configuration.time_ranges["night"] = {22, 6, true, 0, 0};
  Acl& acl = configuration.acls[10];
  acl.rules[1].action = PERMIT;
  acl.rules[2].action = PERMIT;
  acl.rules[3];
  configuration.interfaces["eth"].filters = {{10, 1}, {10, 2}};
  configuration.interfaces["eth"].cos_value = 0;
  configuration.vlans[20];
  return configuration;
}

struct ThreeSides {
  Configuration base = start();
  Configuration wanted = start();
  Configuration now = start();

  [[nodiscard]] Merge merged() const {
    const Difference made =
        carry_over(base.entries(), wanted.entries(), now.whole(), OnClash::REFUSE);
    return {Configuration(made.target), made.clashes};
  }
};

TEST(Merge, WithoutAnotherChangeGivesWhatIsWanted) {
  ThreeSides sides;
  sides.wanted.acls[11].type = 1;
  sides.wanted.acls[10].rules.erase(3);
  sides.wanted.cos.flag = true;
  const Merge merged = sides.merged();
  EXPECT_EQ(merged.conflicts, Names());
  EXPECT_EQ(merged.target, sides.wanted);
}

TEST(Merge, KeepsWhatOthersChangedElsewhere) {
  ThreeSides sides;
  sides.wanted.acls[10].rules[4].action = PERMIT;
  sides.wanted.cos.mapping[0] = 7;
  sides.now.acls[10].rules[5].action = PERMIT;
  sides.now.cos.mapping[1] = 6;
  sides.now.vlans[20].filters = {{10, 1}};
  const Merge merged = sides.merged();
  EXPECT_EQ(merged.conflicts, Names());
  Configuration both = sides.now;
  both.acls[10].rules[4].action = PERMIT;
  both.cos.mapping[0] = 7;
  EXPECT_EQ(merged.target, both);
}

TEST(Merge, NamesEveryEntryThatBothChangedDifferently) {
  ThreeSides sides;
  sides.wanted.cos.flag = true;
  sides.now.cos.flag = std::nullopt;  // which no switch has
  sides.wanted.time_ranges.erase("night");
  sides.now.time_ranges["night"].number1 = 23;
  sides.wanted.acls[10].rules[3].description = "mine";
  sides.now.acls[10].rules[3].description = "theirs";
  sides.wanted.acls[10].description = "mine";
  sides.now.acls[10].description = "theirs";
  sides.wanted.interfaces["eth"].cos_value = 1;
  sides.now.interfaces["eth"].cos_value = 2;
  sides.wanted.vlans[20].remarks[{10, 1}] = {REMARK_DSCP, 1};
  sides.now.vlans[20].remarks[{10, 1}] = {REMARK_DSCP, 2};
  EXPECT_EQ(sides.merged().conflicts,
            (Names{"cos flag", "time-range night", "acl 10 rule 3", "acl 10 description",
                   "interface eth cos-value", "vlan 20 remark acl 10 rule 1"}));
}

TEST(Merge, IsNoConflictWhenBothMadeTheSame) {
  ThreeSides sides;
  sides.wanted.acls[10].rules.erase(3);
  sides.wanted.acls[12].description = "new";
  sides.wanted.interfaces["eth"].filters = {{10, 2}};
  sides.now = sides.wanted;
  const Merge merged = sides.merged();
  EXPECT_EQ(merged.conflicts, Names());
  EXPECT_EQ(merged.target, sides.now);
}

TEST(Merge, TakesAndAddsFiltersAmongThoseOfOthers) {
  ThreeSides sides;
  sides.wanted.interfaces["eth"].filters = {{10, 2}, {10, 3}};
  sides.now.acls[10].rules[4];
  sides.now.interfaces["eth"].filters = {{10, 1}, {10, 2}, {10, 4}};
  const Merge merged = sides.merged();
  EXPECT_EQ(merged.conflicts, Names());
  EXPECT_EQ(merged.target.interfaces.at("eth").filters,
            (std::vector<RuleKey>{{10, 2}, {10, 4}, {10, 3}}));
}

TEST(Merge, RefusesAnotherOrderOfFiltersThatOthersChanged) {
  ThreeSides sides;
  sides.wanted.interfaces["eth"].filters = {{10, 2}, {10, 1}};
  sides.now.interfaces["eth"].filters = {{10, 1}};
  EXPECT_EQ(sides.merged().conflicts, Names{"interface eth filters"});
}

TEST(Merge, RefusesToDeleteAListThatOthersAddedTo) {
  ThreeSides sides;
  sides.wanted.acls.erase(10);
  sides.wanted.interfaces["eth"].filters.clear();
  sides.now.acls[10].rules[4];
  EXPECT_EQ(sides.merged().conflicts, Names{"acl 10 rule 4"});
}

TEST(Merge, RefusesToAddToAListThatOthersDeleted) {
  ThreeSides sides;
  sides.wanted.acls[10].rules[4];
  sides.now.acls.erase(10);
  sides.now.interfaces["eth"].filters.clear();
  EXPECT_EQ(sides.merged().conflicts, Names{"acl 10"});
}

TEST(Merge, RefusesToDeleteARuleThatOthersBoundMeanwhile) {
  ThreeSides sides;
  sides.wanted.acls[10].rules.erase(3);
  sides.now.vlans[20].filters = {{10, 3}};
  EXPECT_EQ(sides.merged().conflicts, Names{"vlan 20 filter acl 10 rule 3"});
}

TEST(Merge, RefusesARemarkOfARuleThatOthersMadeDeny) {
  ThreeSides sides;
  sides.wanted.vlans[20].remarks[{10, 2}] = {REMARK_DSCP, 46};
  sides.now.acls[10].rules[2].action = DENY;
  EXPECT_EQ(sides.merged().conflicts, Names{"vlan 20 remark acl 10 rule 2"});
}

TEST(Merge, RefusesToBindToAnInterfaceThatIsGone) {
  ThreeSides sides;
  sides.wanted.interfaces["eth"].cos_value = 3;
  sides.now.interfaces.clear();
  EXPECT_EQ(sides.merged().conflicts, Names{"interface eth"});
}

TEST(Merge, LeavesInterfacesAloneThatCameOrWentUntouched) {
  ThreeSides sides;
  sides.wanted.cos.flag = true;
  sides.now.interfaces.clear();
  sides.now.interfaces["new"].cos_value = 0;
  const Merge merged = sides.merged();
  EXPECT_EQ(merged.conflicts, Names());
  EXPECT_EQ(merged.target.interfaces, sides.now.interfaces);
}

struct KeptSides : ThreeSides {
  [[nodiscard]] Merge kept() const {
    const Difference made =
        carry_over(base.entries(), wanted.entries(), now.whole(), OnClash::KEEP_THEIRS);
    return {Configuration(made.target), made.clashes};
  }
};

TEST(KeepTheirs, CarriesOverAllButWhatOthersChangedToo) {
  KeptSides sides;
  sides.wanted.cos.flag = true;
  sides.wanted.acls[10].rules[2].action = DENY;
  sides.now.acls[10].rules.erase(2);
  sides.now.interfaces["eth"].filters = {{10, 1}};
  const Merge merged = sides.kept();
  EXPECT_EQ(merged.conflicts, Names{"acl 10 rule 2"});
  Configuration expected = sides.now;
  expected.cos.flag = true;
  EXPECT_EQ(merged.target, expected);
}

TEST(KeepTheirs, KeepsARuleThatOthersBoundMeanwhile) {
  KeptSides sides;
  sides.wanted.acls[10].rules.erase(3);
  sides.now.vlans[20].filters = {{10, 3}};
  const Merge merged = sides.kept();
  EXPECT_EQ(merged.conflicts, Names{"vlan 20 filter acl 10 rule 3"});
  EXPECT_EQ(merged.target, sides.now);
}

TEST(KeepTheirs, KeepsAListThatOthersAddedTo) {
  KeptSides sides;
  sides.wanted.acls.erase(10);
  sides.wanted.interfaces["eth"].filters.clear();
  sides.now.acls[10].rules[4];
  const Merge merged = sides.kept();
  EXPECT_EQ(merged.conflicts, Names{"acl 10 rule 4"});
  EXPECT_EQ(merged.target.acls.at(10).rules.size(), 1U);
}

}  // namespace
