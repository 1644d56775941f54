// Time ranges, access control lists and their rules, asked of a real policyd.
#include "tests/integration/real_daemon.h"

namespace {

class TimeRangeCommands : public RealDaemon {
 protected:
  void SetUp() override { start_without_switch(); }
};

TEST_F(TimeRangeCommands, ARangeIsKeptAsItWasGiven) {
  hold({{"create_time_range?name:txt=night&number1:u32=0&number2:u32=4294967295&flag:bool=true"
         "&number3:u32=7&number4:u32=1",
         "100"},
        {"get_time_range?name:txt=night",
         "100 number1:u32=0&number2:u32=4294967295&flag:bool=true&number3:u32=7&number4:u32=1"}});
}

TEST_F(TimeRangeCommands, ASecondRangeOfANameIsRefusedAndChangesNothing) {
  hold({{"create_time_range?name:txt=a&number1:u32=1&number2:u32=2&flag:bool=false&number3:u32=3"
         "&number4:u32=4",
         "100"},
        {"create_time_range?name:txt=a&number1:u32=9&number2:u32=9&flag:bool=true&number3:u32=9"
         "&number4:u32=9",
         "102 failed to create time range."},
        {"get_time_range?name:txt=a",
         "100 number1:u32=1&number2:u32=2&flag:bool=false&number3:u32=3&number4:u32=4"}});
}

TEST_F(TimeRangeCommands, RangesAreListedByNameByteByByte) {
  hold({{"get_time_ranges",
         "100 "
         "names:list=&number1s:list=&number2s:list=&flags:list=&number3s:list=&number4s:list="}});
  for (const char* name : {"b", "B", "a%FF", "", "a"}) {
    hold({{std::string("create_time_range?name:txt=") + name +
               "&number1:u32=1&number2:u32=2&flag:bool=true&number3:u32=3&number4:u32=4",
           "100"}});
  }
  const std::string answer = policy("get_time_ranges");
  EXPECT_EQ(answer.substr(0, answer.find('&')),
            "100 names:list=:txt=,:txt=B,:txt=a,:txt=a%FF,:txt=b");
  EXPECT_NE(answer.find("&flags:list=:u32=1,:u32=1,:u32=1,:u32=1,:u32=1&"), std::string::npos);
}

TEST_F(TimeRangeCommands, DeletingOneThatDoesNotExistIsNoError) {
  hold({{"delete_time_range?name:txt=nobody", "100"}});
}

TEST_F(TimeRangeCommands, ARangeIsGoneOnceDeletedOrCleared) {
  const std::string create =
      "create_time_range?number1:u32=1&number2:u32=2&flag:bool=true&"
      "number3:u32=3&number4:u32=4&name:txt=";
  hold({{create + "a", "100"},
        {create + "b", "100"},
        {create + "c", "100"},
        {"delete_time_range?name:txt=b", "100"},
        {"get_time_range?name:txt=b", "102 time range does not exist."},
        {"get_time_range?name:txt=A", "102 time range does not exist."},
        {"clear_time_ranges", "100"},
        {"get_time_range?name:txt=a", "102 time range does not exist."},
        {create + "a", "100"}});
}

class AclCommands : public RealDaemon {
 protected:
  void SetUp() override { start_without_switch(); }
};

TEST_F(AclCommands, WithoutAclsThreeEmptyListsAreAnswered) {
  hold({{"get_acls", "100 acls:list=&types:list=&descriptions:list="}});
}

TEST_F(AclCommands, AclsOfBothTypesAreListedByNumber) {
  hold({{"create_acl?acl:u32=4294967295&type:u32=1", "100"},
        {"create_acl?acl:u32=0&type:u32=0", "100"},
        {"create_acl?acl:u32=70&type:u32=1", "100"},
        {"get_acls",
         "100 acls:list=:u32=0,:u32=70,:u32=4294967295&types:list=:u32=0,:u32=1,:u32=1"
         "&descriptions:list=:txt=,:txt=,:txt="}});
}

TEST_F(AclCommands, AnAclOfAnotherTypeOrOfANumberInUseIsRefused) {
  hold({{"create_acl?acl:u32=1&type:u32=2", "102 failed to create acl"},
        {"create_acl?acl:u32=1&type:u32=0", "100"},
        {"create_acl?acl:u32=1&type:u32=1", "102 failed to create acl"},
        {"get_acls", "100 acls:list=:u32=1&types:list=:u32=0&descriptions:list=:txt="}});
}

TEST_F(AclCommands, DescriptionsAreSetReadAndUnset) {
  hold({{"create_acl?acl:u32=1&type:u32=0", "100"},
        {"set_acl_description?acl:u32=1&description:txt=edge%20%2F%20%C3%BC", "100"},
        {"get_acl_description?acl:u32=1", "100 description:txt=edge%20/%20%C3%BC"},
        {"unset_acl_description?acl:u32=1", "100"},
        {"get_acl_description?acl:u32=1", "100 description:txt="}});
}

TEST_F(AclCommands, EveryCommandOnAnAclThatDoesNotExistSaysSo) {
  const std::string missing = "102 the acl does not exist.";
  hold({{"delete_acl?acl:u32=1", "102 failed to delete acl"},
        {"set_acl_description?acl:u32=1&description:txt=a", missing},
        {"get_acl_description?acl:u32=1", missing},
        {"unset_acl_description?acl:u32=1", missing},
        // Before the lists, which are of different lengths, are looked at.
        {"create_rule?acl:u32=1&rule:u32=1&action:u32=0&flags:list=:u32=1&values:list=", missing},
        {"delete_rule?acl:u32=1&rule:u32=1", missing},
        {"set_rule_description?acl:u32=1&rule:u32=1&description:txt=a", missing},
        {"unset_rule_description?acl:u32=1&rule:u32=1", missing},
        {"get_rule_description?acl:u32=1&rule:u32=1", missing},
        {"get_rules?acl:u32=1", missing},
        {"get_rule?acl:u32=1&rule:u32=1", missing}});
}

TEST_F(AclCommands, AnAclIsDeletedWithItsRules) {
  hold({{"create_acl?acl:u32=1&type:u32=1", "100"},
        {"create_rule?acl:u32=1&rule:u32=5&action:u32=0&flags:list=&values:list=", "100"},
        {"delete_acl?acl:u32=1", "100"},
        {"create_acl?acl:u32=1&type:u32=0", "100"},
        {"get_rules?acl:u32=1", "100 rules:list=&type:u32=0"}});
}

class RuleCommands : public RealDaemon {
 protected:
  void SetUp() override {
    start_without_switch();
    hold({{"create_acl?acl:u32=1&type:u32=1", "100"}});
  }
};

TEST_F(RuleCommands, ARuleIsReadBackWithItsFieldsInAscendingOrder) {
  hold({{"create_rule?acl:u32=1&rule:u32=7&action:u32=1"
         "&flags:list=:u32=36,:u32=0,:u32=12&values:list=:txt=last,:txt=first,:txt=10.0.0.0%2F8",
         "100"},
        {"get_rule?acl:u32=1&rule:u32=7",
         "100 action:u32=1&description:txt=&flags:list=:u32=0,:u32=12,:u32=36"
         "&values:list=:txt=first,:txt=10.0.0.0/8,:txt=last"}});
}

TEST_F(RuleCommands, OfTwoValuesForAFieldTheFirstCounts) {
  hold({{"create_rule?acl:u32=1&rule:u32=7&action:u32=0"
         "&flags:list=:u32=3,:u32=3&values:list=:txt=one,:txt=two",
         "100"},
        {"get_rule?acl:u32=1&rule:u32=7",
         "100 action:u32=0&description:txt=&flags:list=:u32=3&values:list=:txt=one"}});
}

TEST_F(RuleCommands, ListsOfDifferentLengthsAreBadAndCreateNothing) {
  hold({{"create_rule?acl:u32=1&rule:u32=7&action:u32=0&flags:list=:u32=1&values:list=",
         "101 bad flags and values."},
        // Before anything else about the rule is looked at.
        {"create_rule?acl:u32=1&rule:u32=7&action:u32=9&flags:list=&values:list=:txt=a",
         "101 bad flags and values."},
        {"get_rules?acl:u32=1", "100 rules:list=&type:u32=1"}});
}

TEST_F(RuleCommands, ARefusedRuleIsToldAsAnAclAndLeavesNothing) {
  const std::string refused = "102 failed to create acl.";
  hold({{"create_rule?acl:u32=1&rule:u32=7&action:u32=2&flags:list=&values:list=", refused},
        {"create_rule?acl:u32=1&rule:u32=7&action:u32=0&flags:list=:u32=1,:u32=37"
         "&values:list=:txt=a,:txt=b",
         refused},
        {"get_rules?acl:u32=1", "100 rules:list=&type:u32=1"},
        {"create_rule?acl:u32=1&rule:u32=7&action:u32=0&flags:list=:u32=36&values:list=:txt=a",
         "100"},
        {"create_rule?acl:u32=1&rule:u32=7&action:u32=1&flags:list=&values:list=", refused},
        {"get_rule?acl:u32=1&rule:u32=7",
         "100 action:u32=0&description:txt=&flags:list=:u32=36&values:list=:txt=a"}});
}

TEST_F(RuleCommands, RulesAreListedByNumberWithTheTypeOfTheirAcl) {
  for (const char* rule : {"9", "4294967295", "0", "10"}) {
    hold({{std::string("create_rule?acl:u32=1&action:u32=0&flags:list=&values:list=&rule:u32=") +
               rule,
           "100"}});
  }
  hold(
      {{"get_rules?acl:u32=1", "100 rules:list=:u32=0,:u32=9,:u32=10,:u32=4294967295&type:u32=1"}});
}

TEST_F(RuleCommands, DescriptionsAreSetReadAndUnset) {
  hold({{"create_rule?acl:u32=1&rule:u32=7&action:u32=0&flags:list=&values:list=", "100"},
        {"set_rule_description?acl:u32=1&rule:u32=7&description:txt=web", "100"},
        {"get_rule_description?acl:u32=1&rule:u32=7", "100 description:txt=web"},
        {"get_rule?acl:u32=1&rule:u32=7",
         "100 action:u32=0&description:txt=web&flags:list=&values:list="},
        {"unset_rule_description?acl:u32=1&rule:u32=7", "100"},
        {"get_rule_description?acl:u32=1&rule:u32=7", "100 description:txt="}});
}

TEST_F(RuleCommands, EveryCommandOnARuleThatDoesNotExistSaysSo) {
  const std::string missing = "102 the rule does not exist.";
  hold({{"delete_rule?acl:u32=1&rule:u32=7", "102 failed to delete rule."},
        {"set_rule_description?acl:u32=1&rule:u32=7&description:txt=a", missing},
        {"unset_rule_description?acl:u32=1&rule:u32=7", missing},
        {"get_rule_description?acl:u32=1&rule:u32=7", missing},
        {"get_rule?acl:u32=1&rule:u32=7", missing}});
}

}  // namespace
