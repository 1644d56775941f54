#include "tests/unit/policy/target_fixture.h"

namespace {

class AclCommands : public TargetFixture {
 protected:
  // ACL 10 with rule 1 and no fields.
  void make_rule() {
    expect({{"create_acl?acl:u32=10&type:u32=1", "100 "},
            {"create_rule?acl:u32=10&rule:u32=1&action:u32=1&flags:list=&values:list=", "100 "}});
  }
};

using TimeRangeCommands = AclCommands;
using RuleCommands = AclCommands;

TEST_F(TimeRangeCommands, CreateKeepsTheFiveValues) {
  expect({{"create_time_range?name:txt=night&number1:u32=1&number2:u32=2&flag:bool=true&"
           "number3:u32=3&number4:u32=4294967295",
           "100 "},
          {"get_time_range?name:txt=night",
           "100 number1:u32=1&number2:u32=2&flag:bool=true&number3:u32=3&number4:u32=4294967295"}});
}

TEST_F(TimeRangeCommands, CreateRefusesANameThatIsTaken) {
  expect({{"create_time_range?name:txt=a&number1:u32=1&number2:u32=2&flag:bool=false&"
           "number3:u32=3&number4:u32=4",
           "100 "},
          {"create_time_range?name:txt=a&number1:u32=5&number2:u32=6&flag:bool=true&"
           "number3:u32=7&number4:u32=8",
           "102 failed to create time range."},
          {"get_time_range?name:txt=a",
           "100 number1:u32=1&number2:u32=2&flag:bool=false&number3:u32=3&number4:u32=4"}});
}

TEST_F(TimeRangeCommands, DeleteAnswersOkayForAnUnknownName) {
  expect({{"delete_time_range?name:txt=nobody", "100 "},
          {"create_time_range?name:txt=a&number1:u32=1&number2:u32=2&flag:bool=false&"
           "number3:u32=3&number4:u32=4",
           "100 "},
          {"delete_time_range?name:txt=a", "100 "},
          {"get_time_range?name:txt=a", "102 time range does not exist."}});
}

TEST_F(TimeRangeCommands, GetRefusesAnUnknownName) {
  EXPECT_EQ(call("get_time_range?name:txt=night"), "102 time range does not exist.");
}

TEST_F(TimeRangeCommands, ListingGivesAlignedListsInOrderOfName) {
  expect({{"create_time_range?name:txt=b&number1:u32=1&number2:u32=2&flag:bool=true&"
           "number3:u32=3&number4:u32=4",
           "100 "},
          {"create_time_range?name:txt=a&number1:u32=5&number2:u32=6&flag:bool=false&"
           "number3:u32=7&number4:u32=8",
           "100 "},
          {"get_time_ranges",
           "100 names:list=:txt=a,:txt=b&number1s:list=:u32=5,:u32=1&number2s:list=:u32=6,:u32=2&"
           "flags:list=:u32=0,:u32=1&number3s:list=:u32=7,:u32=3&number4s:list=:u32=8,:u32=4"}});
}

TEST_F(TimeRangeCommands, ClearRemovesThemAll) {
  expect({{"create_time_range?name:txt=b&number1:u32=1&number2:u32=2&flag:bool=true&"
           "number3:u32=3&number4:u32=4",
           "100 "},
          {"clear_time_ranges", "100 "},
          {"get_time_ranges",
           "100 names:list=&number1s:list=&number2s:list=&flags:list=&number3s:list=&"
           "number4s:list="},
          {"clear_time_ranges", "100 "}});
}

TEST_F(AclCommands, CreateRefusesATypeAboveOneAndANumberThatIsTaken) {
  expect({{"create_acl?acl:u32=10&type:u32=2", "102 failed to create acl"},
          {"create_acl?acl:u32=10&type:u32=1", "100 "},
          {"create_acl?acl:u32=10&type:u32=0", "102 failed to create acl"},
          {"create_acl?acl:u32=4294967295&type:u32=0", "100 "},
          {"get_acls",
           "100 acls:list=:u32=10,:u32=4294967295&types:list=:u32=1,:u32=0&"
           "descriptions:list=:txt=,:txt="}});
}

TEST_F(AclCommands, AnEmptyStoreListsThreeEmptyLists) {
  EXPECT_EQ(call("get_acls"), "100 acls:list=&types:list=&descriptions:list=");
}

TEST_F(AclCommands, ListingGivesAlignedListsInOrderOfNumber) {
  expect({{"create_acl?acl:u32=20&type:u32=0", "100 "},
          {"create_acl?acl:u32=3&type:u32=1", "100 "},
          {"set_acl_description?acl:u32=20&description:txt=web", "100 "},
          {"get_acls",
           "100 acls:list=:u32=3,:u32=20&types:list=:u32=1,:u32=0&descriptions:list=:txt=,"
           ":txt=web"}});
}

TEST_F(AclCommands, DeleteRefusesAMissingAcl) {
  expect({{"delete_acl?acl:u32=10", "102 failed to delete acl"},
          {"create_acl?acl:u32=10&type:u32=0", "100 "},
          {"delete_acl?acl:u32=10", "100 "},
          {"get_acls", "100 acls:list=&types:list=&descriptions:list="}});
}

TEST_F(AclCommands, DeleteRefusesABoundAclAndTheLogNamesItsUser) {
  make_rule();
  ASSERT_EQ(add_vlan(tree(), 7).add_filter({10, 1}), 0);
  LogCapture log;
  EXPECT_EQ(call("delete_acl?acl:u32=10"), "102 failed to delete acl");
  EXPECT_EQ(log.take_lines(), Texts{"WARNING POLICY is_acl_used: acl 10 is still used in vlan 7."});
  ASSERT_EQ(add_port(tree(), "ge1").add_filter({10, 1}), 0);
  EXPECT_EQ(call("delete_acl?acl:u32=10"), "102 failed to delete acl");
  EXPECT_EQ(log.take_lines(),
            Texts{"WARNING POLICY is_acl_used: acl 10 is still used in port ge1."});
}

TEST_F(AclCommands, DescriptionsAreSetReadAndUnset) {
  expect({{"create_acl?acl:u32=10&type:u32=0", "100 "},
          {"get_acl_description?acl:u32=10", "100 description:txt="},
          {"set_acl_description?acl:u32=10&description:txt=web%20%00%FF", "100 "},
          {"get_acl_description?acl:u32=10", "100 description:txt=web%20%00%FF"},
          {"set_acl_description?acl:u32=10&description:txt=other", "100 "},
          {"get_acl_description?acl:u32=10", "100 description:txt=other"},
          {"unset_acl_description?acl:u32=10", "100 "},
          {"get_acl_description?acl:u32=10", "100 description:txt="}});
}

TEST_F(AclCommands, DescriptionsOfAMissingAclAreRefused) {
  expect({{"set_acl_description?acl:u32=10&description:txt=web", "102 the acl does not exist."},
          {"get_acl_description?acl:u32=10", "102 the acl does not exist."},
          {"unset_acl_description?acl:u32=10", "102 the acl does not exist."}});
}

TEST_F(RuleCommands, ARuleIsReadBackInOrderOfField) {
  expect({{"create_acl?acl:u32=10&type:u32=1", "100 "},
          {"create_rule?acl:u32=10&rule:u32=4&action:u32=1&"
           "flags:list=:u32=36,:u32=0,:u32=36&values:list=:txt=last,:txt=%00%FF,:txt=ignored",
           "100 "},
          {"set_rule_description?acl:u32=10&rule:u32=4&description:txt=why", "100 "},
          {"get_rule?acl:u32=10&rule:u32=4",
           "100 action:u32=1&description:txt=why&flags:list=:u32=0,:u32=36&"
           "values:list=:txt=%00%FF,:txt=last"}});
}

TEST_F(RuleCommands, RulesAreListedInOrderWithTheAclsType) {
  expect({{"create_acl?acl:u32=10&type:u32=1", "100 "},
          {"get_rules?acl:u32=10", "100 rules:list=&type:u32=1"},
          {"create_rule?acl:u32=10&rule:u32=9&action:u32=0&flags:list=&values:list=", "100 "},
          {"create_rule?acl:u32=10&rule:u32=0&action:u32=0&flags:list=&values:list=", "100 "},
          {"get_rules?acl:u32=10", "100 rules:list=:u32=0,:u32=9&type:u32=1"}});
}

TEST_F(RuleCommands, CreateLooksForTheAclBeforeItLooksAtTheLists) {
  EXPECT_EQ(call("create_rule?acl:u32=10&rule:u32=1&action:u32=9&flags:list=:u32=1&values:list="),
            "102 the acl does not exist.");
}

TEST_F(RuleCommands, CreateLooksAtTheListsBeforeItLooksAtTheRest) {
  make_rule();
  // The rule exists and the action is bad, too.
  expect({{"create_rule?acl:u32=10&rule:u32=1&action:u32=9&flags:list=:u32=99&values:list=",
           "101 bad flags and values."},
          {"create_rule?acl:u32=10&rule:u32=2&action:u32=0&flags:list=&values:list=:txt=a",
           "101 bad flags and values."},
          {"get_rules?acl:u32=10", "100 rules:list=:u32=1&type:u32=1"}});
}

TEST_F(RuleCommands, CreateIsRefusedAsIfItWereAnAcl) {
  make_rule();
  expect({{"create_rule?acl:u32=10&rule:u32=1&action:u32=0&flags:list=&values:list=",
           "102 failed to create acl."},
          {"create_rule?acl:u32=10&rule:u32=2&action:u32=2&flags:list=&values:list=",
           "102 failed to create acl."},
          {"create_rule?acl:u32=10&rule:u32=2&action:u32=1&flags:list=:u32=1,:u32=37&"
           "values:list=:txt=a,:txt=b",
           "102 failed to create acl."},
          {"get_rules?acl:u32=10", "100 rules:list=:u32=1&type:u32=1"}});
}

TEST_F(RuleCommands, DeleteRefusesAMissingAclAMissingRuleAndABoundRule) {
  expect({{"delete_rule?acl:u32=10&rule:u32=1", "102 the acl does not exist."}});
  make_rule();
  expect({{"delete_rule?acl:u32=10&rule:u32=2", "102 failed to delete rule."}});
  PolicyPortInfo& port = add_port(tree(), "ge1");
  ASSERT_EQ(port.add_filter({10, 1}), 0);
  expect({{"delete_rule?acl:u32=10&rule:u32=1", "102 failed to delete rule."}});
  ASSERT_EQ(port.delete_filter({10, 1}), 0);
  expect({{"delete_rule?acl:u32=10&rule:u32=1", "100 "},
          {"get_rules?acl:u32=10", "100 rules:list=&type:u32=1"}});
}

TEST_F(RuleCommands, DescriptionsAreSetReadAndUnset) {
  make_rule();
  expect({{"get_rule_description?acl:u32=10&rule:u32=1", "100 description:txt="},
          {"set_rule_description?acl:u32=10&rule:u32=1&description:txt=web", "100 "},
          {"get_rule_description?acl:u32=10&rule:u32=1", "100 description:txt=web"},
          {"unset_rule_description?acl:u32=10&rule:u32=1", "100 "},
          {"get_rule_description?acl:u32=10&rule:u32=1", "100 description:txt="}});
}

TEST_F(RuleCommands, AMissingAclIsToldBeforeAMissingRule) {
  for (const char* request : {
           "set_rule_description?acl:u32=10&rule:u32=1&description:txt=web",
           "unset_rule_description?acl:u32=10&rule:u32=1",
           "get_rule_description?acl:u32=10&rule:u32=1",
           "get_rule?acl:u32=10&rule:u32=1",
       }) {
    EXPECT_EQ(call(request), "102 the acl does not exist.") << request;
  }
  EXPECT_EQ(call("get_rules?acl:u32=10"), "102 the acl does not exist.");
  ASSERT_EQ(tree().create_acl(10, 0), 0);
  for (const char* request : {
           "set_rule_description?acl:u32=10&rule:u32=1&description:txt=web",
           "unset_rule_description?acl:u32=10&rule:u32=1",
           "get_rule_description?acl:u32=10&rule:u32=1",
           "get_rule?acl:u32=10&rule:u32=1",
       }) {
    EXPECT_EQ(call(request), "102 the rule does not exist.") << request;
  }
}

TEST_F(RuleCommands, ListsOfAnotherTypeAreRefusedBeforeTheHandlerRuns) {
  make_rule();
  expect({{"create_rule?acl:u32=10&rule:u32=2&action:u32=0&flags:list=:txt=1&values:list=:txt=a",
           "101 list 'flags' holds txt, u32 expected."},
          {"create_rule?acl:u32=10&rule:u32=2&action:u32=0&flags:list=:u32=1&values:list=:u32=1",
           "101 list 'values' holds u32, txt expected."},
          {"get_rules?acl:u32=10", "100 rules:list=:u32=1&type:u32=1"}});
}

}  // namespace
