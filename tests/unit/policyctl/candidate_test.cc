#include "tools/policyctl/shell/candidate.h"

#include <gtest/gtest.h>

#include "tests/support/typed_configuration.h"
#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

class CandidateOfASwitch : public testing::Test {
 protected:
  CandidateOfASwitch() {
    Configuration present;
    present.cos = default_class_of_service();
    present.interfaces["eth-0/1/1"].cos_value = 0;
    present.interfaces["eth-0/1/2"].cos_value = 0;
    present.vlans[20];
    candidate.start_from(present.whole());
    cos = write_configuration(candidate.configuration());
  }

  void enter(const std::string& line) {
    const std::vector<Fault> faults = candidate.enter(line);
    EXPECT_TRUE(faults.empty()) << line << ": " << faults.front().message;
  }
  // The message of its only fault.
  std::string refused(const std::string& line) {
    const SwitchConfiguration before = candidate.configuration();
    const std::vector<Fault> faults = candidate.enter(line);
    EXPECT_TRUE(candidate.configuration() == before);
    return faults.size() == 1 ? faults.front().message : "";
  }
  // Without the class of service, unless it changed.
  [[nodiscard]] std::string text() const {
    const std::string all = write_configuration(candidate.configuration());
    return all.starts_with(cos) ? all.substr(cos.size()) : all;
  }
  [[nodiscard]] EntryKey at_the_open_one(const RuleKey& rule) const {
    return key_at(candidate.open_key(), rule);
  }
  void enter_rule() {
    enter("acl 10 type 0");
    enter("rule 1 permit vlan 3");
  }

  Candidate candidate;
  std::string cos;
};

TEST_F(CandidateOfASwitch, BeginsUnedited) {
  EXPECT_FALSE(candidate.is_edited());
  EXPECT_EQ(text(), "");
  EXPECT_EQ(candidate.place_name(), "");
}

TEST_F(CandidateOfASwitch, TakesStatementsBelowWhatIsOpen) {
  enter_rule();
  EXPECT_EQ(candidate.place_name(), "acl 10");
  enter("interface eth-0/1/1");
  enter("filter acl 10 rule 1");
  EXPECT_EQ(candidate.place_name(), "interface eth-0/1/1");
  enter("vlan 20");
  enter("remark acl 10 rule 1 dscp 46");
  EXPECT_EQ(candidate.place_name(), "vlan 20");
  EXPECT_EQ(text(),
            "acl 10 type 0\n  rule 1 permit vlan 3\n"
            "interface eth-0/1/1\n  filter acl 10 rule 1\n"
            "vlan 20\n  remark acl 10 rule 1 dscp 46\n");
}

TEST_F(CandidateOfASwitch, IsNotEditedByOpeningAnInterface) {
  enter("interface eth-0/1/1");
  EXPECT_FALSE(candidate.is_edited());
  EXPECT_TRUE(candidate.configuration() == candidate.base());
}

TEST_F(CandidateOfASwitch, ReplacesWhatWasSaidOfTheSameBefore) {
  enter_rule();
  enter("rule 1 deny vlan 4 description \"other\"");
  enter("acl 10 type 0 description \"edge\"");
  enter("time-range night 1 2 on 3 4");
  enter("time-range night 1 2 off 3 4");
  EXPECT_EQ(text(),
            "time-range night 1 2 off 3 4\n"
            "acl 10 type 0 description \"edge\"\n"
            "  rule 1 deny vlan 4 description \"other\"\n");
}

TEST_F(CandidateOfASwitch, SetsTheClassOfService) {
  enter("cos flag on");
  enter("cos mapping 3 queue 6");
  const ClassOfService set = Configuration(candidate.configuration()).cos;
  EXPECT_EQ(set.flag, true);
  EXPECT_EQ(set.mapping.at(3), 6U);
}

TEST_F(CandidateOfASwitch, ReturnsToAListThatExists) {
  enter_rule();
  candidate.leave();
  EXPECT_FALSE(candidate.open(ACL, key_of(11)));
  EXPECT_TRUE(candidate.open(ACL, key_of(10)));
  enter("rule 2 deny");
  EXPECT_EQ(text(), "acl 10 type 0\n  rule 1 permit vlan 3\n  rule 2 deny\n");
}

TEST_F(CandidateOfASwitch, RefusesWhatTheSwitchDoesNotHave) {
  EXPECT_EQ(refused("interface eth-0/1/3"), "the switch has no interface eth-0/1/3.");
  EXPECT_EQ(refused("vlan 21"), "the switch has no VLAN 21.");
  enter("vlan 20");
  EXPECT_EQ(refused("filter acl 10 rule 1"),
            "there is no acl 10 rule 1, neither here nor on the switch.");
}

TEST_F(CandidateOfASwitch, RefusesToDenyWhatARemarkUses) {
  enter_rule();
  enter("vlan 20");
  enter("remark acl 10 rule 1 dscp 46");
  candidate.open(ACL, key_of(10));
  EXPECT_EQ(refused("rule 1 deny vlan 3"), "a remark uses this rule, so it has to permit.");
}

TEST_F(CandidateOfASwitch, RefusesToDeleteWhatIsInUseAndNamesWhoUsesIt) {
  enter_rule();
  enter("interface eth-0/1/1");
  enter("filter acl 10 rule 1");
  const ObjectName list{&ACL, key_of(10)};
  try {
    candidate.delete_object(list, false);
    FAIL();
  } catch (const Failure& failure) {
    EXPECT_STREQ(failure.what(), "acl 10 is in use by 1 binding.");
    EXPECT_EQ(failure.advice(),
              "interface eth-0/1/1: filter acl 10 rule 1\n"
              "Unbind it first, or use 'delete acl 10 cascade'.");
  }
  candidate.delete_object(list, true);
  EXPECT_EQ(text(), "");
}

TEST_F(CandidateOfASwitch, DeletesBindings) {
  enter_rule();
  enter("interface eth-0/1/1");
  enter("filter acl 10 rule 1");
  enter("remark acl 10 rule 1 dscp 46");
  enter("cos-value 5");
  candidate.delete_binding(FILTER, at_the_open_one({10, 1}));
  candidate.delete_binding(REMARK, at_the_open_one({10, 1}));
  EXPECT_THROW(candidate.delete_binding(FILTER, at_the_open_one({10, 1})), Failure);
  EXPECT_THROW(candidate.delete_binding(REMARK, at_the_open_one({10, 1})), Failure);
  enter("filter acl 10 rule 1");
  candidate.delete_bindings(INTERFACE, key_of(std::string_view("eth-0/1/1")));
  EXPECT_EQ(text(), "acl 10 type 0\n  rule 1 permit vlan 3\n");
}

TEST_F(CandidateOfASwitch, LeavesTheListThatIsDeleted) {
  enter_rule();
  const ObjectName list{&ACL, key_of(10)};
  candidate.delete_object(list, false);
  EXPECT_EQ(candidate.place_name(), "");
}

TEST_F(CandidateOfASwitch, StaysWhereItIsWhenCommitted) {
  enter_rule();
  candidate.set_committed(candidate.configuration());
  EXPECT_FALSE(candidate.is_edited());
  EXPECT_EQ(candidate.place_name(), "acl 10");
}

}  // namespace
