// policyctl at a switch that works.
#include <csignal>
#include <fstream>

#include "tests/integration/policyctl_fixture.h"
#include "tests/integration/random_configuration.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

constexpr const char* EDGE =
    "time-range night 22 6 on 0 0\n"
    "acl 10 type 0 description \"edge in\"\n"
    "  rule 1 permit src-ip 10.0.0.0/8 dst-port 80 description web\n"
    "  rule 2 deny\n"
    "interface eth-0/1/1\n"
    "  cos-value 3\n"
    "  filter acl 10 rule 1\n"
    "  filter acl 10 rule 2\n"
    "  remark acl 10 rule 1 dscp 46\n"
    "vlan 10\n"
    "  filter acl 10 rule 1\n";

class Policyctl : public PolicyctlFixture {
 protected:
  void apply(const std::string& text) {
    const Result result = policyctl({"apply", file("apply.conf", text)});
    ASSERT_EQ(result.status, 0) << result.err;
  }
  std::string show(std::vector<std::string> what) {
    what.insert(what.begin(), "show");
    return policyctl(what).out;
  }
};

TEST_F(Policyctl, ShowsWhatPolicydStartsWith) {
  EXPECT_EQ(shown(),
            "cos flag off\n"
            "cos schedule mode 0\n"
            "cos schedule algorithm 0 weights 12 8 4 1\n"
            "cos priority 0 queue 0\n"
            "cos priority 1 queue 1\n"
            "cos priority 2 queue 2\n"
            "cos priority 3 queue 3\n"
            "cos priority 4 queue 4\n"
            "cos priority 5 queue 5\n"
            "cos priority 6 queue 6\n"
            "cos priority 7 queue 7\n"
            "cos mapping 0 queue 2\n"
            "cos mapping 1 queue 0\n"
            "cos mapping 2 queue 1\n"
            "cos mapping 3 queue 3\n"
            "cos mapping 4 queue 4\n"
            "cos mapping 5 queue 5\n"
            "cos mapping 6 queue 6\n"
            "cos mapping 7 queue 7\n");
}

TEST_F(Policyctl, PlansAppliesAndThenPlansNothing) {
  const std::string edge = file("edge.conf", EDGE);
  const Result plan = policyctl({"plan", edge});
  EXPECT_EQ(plan.status, 2);
  EXPECT_EQ(plan.out,
            "+ time-range night 22 6 on 0 0\n"
            "+ acl 10 type 0 description \"edge in\"\n"
            "  acl 10 type 0 description \"edge in\"\n"
            "+   rule 1 permit src-ip 10.0.0.0/8 dst-port 80 description \"web\"\n"
            "+   rule 2 deny\n"
            "  interface eth-0/1/1\n"
            "~   cos-value 3\n"
            "    was: cos-value 0\n"
            "+   filter acl 10 rule 1\n"
            "+   filter acl 10 rule 2\n"
            "+   remark acl 10 rule 1 dscp 46\n"
            "  vlan 10\n"
            "+   filter acl 10 rule 1\n"
            "8 added, 1 changed, 0 removed; 11 requests.\n");
  const Result applied = policyctl({"apply", edge});
  EXPECT_EQ(applied.status, 0);
  EXPECT_EQ(applied.out, "The change is made. 8 added, 1 changed, 0 removed; 11 requests.\n");
  const Result again = policyctl({"plan", edge});
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.out, "0 added, 0 changed, 0 removed; 0 requests.\n");
  EXPECT_EQ(policyctl({"apply", edge}).out, "There is nothing to change.\n");
}

TEST_F(Policyctl, ShowsAPartOfTheSwitch) {
  apply(EDGE);
  EXPECT_EQ(show({"time-ranges"}), "time-range night 22 6 on 0 0\n");
  EXPECT_EQ(show({"acl", "10", "rule", "2"}),
            "acl 10 type 0 description \"edge in\"\n  rule 2 deny\n");
  EXPECT_EQ(show({"vlans"}), "vlan 10\n  filter acl 10 rule 1\n");
  EXPECT_EQ(show({"vlan", "20"}), "");
  const Result missing = policyctl({"show", "interface", "eth-0/1/7"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err,
            "policyctl: there is no interface eth-0/1/7 on the switch.\n"
            "  Is 'eth-0/1/1' meant? See 'policyctl show interfaces'.\n");
}

TEST_F(Policyctl, KeepsTheBindingsOfARuleThatChanges) {
  apply(EDGE);
  arm("none", 0);
  apply("acl 10 type 0 description \"edge in\"\n  rule 1 permit src-ip 11.0.0.0/8\n");
  // Two filters behind each other and a remark on the port, one filter on the
  // VLAN: unbound, bound again; and the rule itself.
  EXPECT_EQ(changes(), 4U + 2U + 4U);
  EXPECT_EQ(show({"interface", "eth-0/1/1"}),
            "interface eth-0/1/1\n  cos-value 3\n  filter acl 10 rule 1\n  filter acl 10 rule 2\n"
            "  remark acl 10 rule 1 dscp 46\n");
  EXPECT_EQ(show({"vlan", "10"}), "vlan 10\n  filter acl 10 rule 1\n");
}

TEST_F(Policyctl, SendsOnlyTheRequestsOfWhatChanges) {
  std::string many = "acl 1 type 0\n";
  for (int rule = 1; rule <= 1000; ++rule) {
    many += "  rule " + std::to_string(rule) + " permit protocol 6\n";
  }
  apply(many);
  arm("none", 0);
  many.replace(many.find("rule 500 permit protocol 6"), 26, "rule 500 permit protocol 7");
  apply(many);
  EXPECT_EQ(changes(), 2U);
}

TEST_F(Policyctl, LeavesAloneWhatTheFileDoesNotName) {
  apply(EDGE);
  apply("acl 20 type 1\ninterface eth-0/1/1\n  filter acl 10 rule 2\n");
  EXPECT_EQ(show({"acls"}),
            "acl 10 type 0 description \"edge in\"\n"
            "  rule 1 permit src-ip 10.0.0.0/8 dst-port 80 description \"web\"\n"
            "  rule 2 deny\n"
            "acl 20 type 1\n");
  EXPECT_EQ(show({"interface", "eth-0/1/1"}),
            "interface eth-0/1/1\n  cos-value 3\n  filter acl 10 rule 1\n  filter acl 10 rule 2\n"
            "  remark acl 10 rule 1 dscp 46\n");
}

TEST_F(Policyctl, PrunesWhatTheFileDoesNotName) {
  const std::string defaults = shown();
  apply(EDGE);
  become("acl 20 type 1\n");
  EXPECT_EQ(shown(), defaults + "acl 20 type 1\n");
}

TEST_F(Policyctl, PutsFiltersInTheOrderOfTheFile) {
  apply(EDGE);
  apply("interface eth-0/1/1\n  filter acl 10 rule 2\n  filter acl 10 rule 1\n");
  EXPECT_EQ(show({"interface", "eth-0/1/1"}),
            "interface eth-0/1/1\n  cos-value 3\n  filter acl 10 rule 2\n  filter acl 10 rule 1\n"
            "  remark acl 10 rule 1 dscp 46\n");
}

TEST_F(Policyctl, NamesWhatTheSwitchDoesNotHave) {
  const std::string path = file("wrong.conf",
                                "interface eth-0/1/3\n"
                                "  filter acl 7 rule 1\n"
                                "vlan 11\n");
  const Result result = policyctl({"apply", path});
  EXPECT_EQ(result.status, 65);
  EXPECT_EQ(result.err, path +
                            ":1:11: the switch has no interface eth-0/1/3.\n"
                            "  interface eth-0/1/3\n"
                            "            ^~~~~~~~~\n"
                            "  Is 'eth-0/1/1' meant?\n" +
                            path +
                            ":2:21: there is no acl 7 rule 1, neither here nor on the switch.\n"
                            "    filter acl 7 rule 1\n"
                            "                      ^\n"
                            "  Add the rule, or leave this out.\n" +
                            path +
                            ":3:6: the switch has no VLAN 11.\n"
                            "  vlan 11\n"
                            "       ^~\n"
                            "  Create it at the VLAN manager first, or leave it out.\n" +
                            path + ": 3 faults.\n");
}

TEST_F(Policyctl, NamesTheRemarkOfARuleThatIsToDeny) {
  apply(EDGE);
  const std::string path = file("deny.conf", "acl 10 type 0\n  rule 1 deny\n  rule 2 deny\n");
  for (const char* const command : {"plan", "apply"}) {
    const Result result = policyctl({command, path});
    EXPECT_EQ(result.status, 65);
    EXPECT_EQ(result.err, path +
                              ":2:8: a remark uses this rule, so it has to permit.\n"
                              "    rule 1 deny\n"
                              "         ^\n"
                              "  interface eth-0/1/1: remark acl 10 rule 1 dscp 46; delete that "
                              "first.\n" +
                              path + ": 1 fault.\n");
  }
  EXPECT_EQ(policyctl({"plan", "--prune", path}).status, 2);
}

TEST_F(Policyctl, TellsWhoUsesAListOrRule) {
  apply(EDGE);
  const std::string uses_of_rule_1 =
      "interface eth-0/1/1\n"
      "  filter acl 10 rule 1\n"
      "  remark acl 10 rule 1 dscp 46\n"
      "vlan 10\n"
      "  filter acl 10 rule 1\n";
  EXPECT_EQ(policyctl({"who-uses", "acl", "10", "rule", "1"}).out, uses_of_rule_1);
  apply("acl 20 type 1\n");
  EXPECT_EQ(policyctl({"who-uses", "acl", "20"}).out, "acl 20 is not in use.\n");
  const Result refused = policyctl({"delete", "acl", "10", "rule", "1"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.err,
            "policyctl: delete acl 10 rule 1: it is in use by 3 bindings. Nothing was changed.\n" +
                uses_of_rule_1 + "  Unbind it first, or delete it with --cascade.\n");
}

TEST_F(Policyctl, ListsTheFirstUsesOfWhatIsToBeDeletedAndAllWhenAsked) {
  std::string text = "acl 10 type 0\n";
  std::string filters = "vlan 10\n";
  for (int rule = 1; rule <= 25; ++rule) {
    text += "  rule " + std::to_string(rule) + " permit protocol 6\n";
    filters += "  filter acl 10 rule " + std::to_string(rule) + "\n";
  }
  apply(text + filters);
  const Result some = policyctl({"delete", "acl", "10"});
  EXPECT_EQ(some.status, 1);
  EXPECT_TRUE(some.err.starts_with(
      "policyctl: delete acl 10: it is in use by 25 bindings. Nothing was changed.\nvlan 10\n"))
      << some.err;
  EXPECT_EQ(std::count(some.err.begin(), some.err.end(), '\n'), 1 + 1 + 20 + 1 + 1) << some.err;
  EXPECT_NE(some.err.find("--all"), std::string::npos) << some.err;
  const Result all = policyctl({"delete", "acl", "10", "--all"});
  EXPECT_EQ(all.status, 1);
  EXPECT_EQ(all.err,
            "policyctl: delete acl 10: it is in use by 25 bindings. Nothing was changed.\n" +
                filters + "  Unbind it first, or delete it with --cascade.\n");
  EXPECT_EQ(policyctl({"who-uses", "acl", "10"}).out, filters);
}

TEST_F(Policyctl, DeletesWithAllThatIsBound) {
  apply(EDGE);
  const Result result = policyctl({"delete", "acl", "10", "--cascade"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(show({"acls"}), "");
  EXPECT_EQ(show({"interface", "eth-0/1/1"}), "interface eth-0/1/1\n  cos-value 3\n");
  EXPECT_EQ(policyctl({"delete", "time-range", "night"}).status, 0);
  EXPECT_EQ(show({"time-ranges"}), "");
  const Result missing = policyctl({"delete", "time-range", "nihgt"});
  EXPECT_EQ(missing.err,
            "policyctl: there is no time-range nihgt on the switch. Nothing was changed.\n"
            "  See 'policyctl show time-ranges'.\n");
}

TEST_F(Policyctl, NamesAMissingObjectAlikeInEveryCommand) {
  apply(EDGE);
  EXPECT_EQ(policyctl({"show", "acl", "12"}).err,
            "policyctl: there is no acl 12 on the switch.\n"
            "  Is '10' meant? See 'policyctl show acls'.\n");
  EXPECT_EQ(policyctl({"who-uses", "acl", "12"}).err,
            "policyctl: there is no acl 12 on the switch.\n"
            "  Is '10' meant? See 'policyctl show acls'.\n");
  EXPECT_EQ(policyctl({"delete", "acl", "10", "rule", "7"}).err,
            "policyctl: there is no acl 10 rule 7 on the switch. Nothing was changed.\n"
            "  Is '1' meant? See 'policyctl show acl 10'.\n");
}

TEST_F(Policyctl, GoesBackToACheckpoint) {
  const std::string defaults = shown();
  apply(EDGE);
  const std::string edge = shown();
  EXPECT_EQ(policyctl({"checkpoint", "before the night"}).out, "Kept as checkpoint 1.\n");
  apply("acl 20 type 1\n");
  const std::string listed = policyctl({"checkpoints"}).out;
  EXPECT_NE(listed.find("before the night\n"), std::string::npos);
  EXPECT_EQ(policyctl({"diff", "checkpoint:1", "switch"}).out,
            "+ acl 20 type 1\n1 added, 0 changed, 0 removed; 1 request.\n");
  EXPECT_EQ(policyctl({"rollback", "2"}).status, 0);
  EXPECT_EQ(shown(), edge);
  EXPECT_EQ(policyctl({"rollback", "4"}).status, 0);
  EXPECT_EQ(shown(), defaults);
  const Result missing = policyctl({"rollback", "99"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.err,
            "policyctl: there is no checkpoint 99, only 5.\n  See 'policyctl checkpoints'.\n");
}

TEST_F(Policyctl, GoesBackWithoutWhatTheSwitchHasNoLonger) {
  apply(
      "acl 10 type 0\n  rule 1 permit\ninterface lag1\n  filter acl 10 rule 1\n"
      "vlan 20\n  remark acl 10 rule 1 dscp 46\n");
  become("");
  Client& client = plane.client();
  for (const char* const gone : {"remove_interface?name:txt=lag1", "delete_vlan?vlan_id:u32=20"}) {
    ASSERT_EQ(client.ask(std::string("chassis/chassis/0.1/") + gone), "100");
  }
  ASSERT_TRUE(client.until([this] {
    return policyctl({"show", "interface", "lag1"}).status == 1 &&
           policyctl({"show", "vlan", "20"}).status == 1;
  }));
  const Result result = policyctl({"rollback", "1"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out,
            "The change is made. Left out, as the switch has them no longer: interface lag1, "
            "vlan 20. 2 added, 0 changed, 0 removed; 2 requests.\n");
  EXPECT_EQ(acls(), "acl 10 type 0\n  rule 1 permit\n");
}

TEST_F(Policyctl, TellsTheDifferenceToAFileThatDoesNotSayACosValue) {
  const std::string said = file("said.conf", "interface eth-0/1/1\n  cos-value 3\n");
  const std::string unsaid = file("unsaid.conf", "");
  const std::string goes =
      "  interface eth-0/1/1\n~   cos-value 0\n    was: cos-value 3\n"
      "0 added, 1 changed, 0 removed; 1 request.\n";
  const std::string comes =
      "  interface eth-0/1/1\n~   cos-value 3\n    was: cos-value 0\n"
      "0 added, 1 changed, 0 removed; 1 request.\n";
  EXPECT_EQ(policyctl({"diff", said, unsaid}).out, goes);
  EXPECT_EQ(policyctl({"diff", unsaid, said}).out, comes);
  become("interface eth-0/1/1\n  cos-value 3\n");
  EXPECT_EQ(policyctl({"diff", "switch", unsaid}).out, goes);
  EXPECT_EQ(policyctl({"diff", unsaid, "switch"}).out, comes);
  EXPECT_EQ(policyctl({"diff", "switch", said}).status, 0);
}

TEST_F(Policyctl, SavesAFileThatCanBeApplied) {
  apply(EDGE);
  const std::string path = folder + "/saved.conf";
  EXPECT_EQ(policyctl({"save", path}).out, "Saved to " + path + ".\n");
  EXPECT_EQ(policyctl({"diff", path, "switch"}).status, 0);
}

TEST_F(Policyctl, WaitsUntilTheMappingReadsBack) {
  apply("cos mapping 3 queue 6\n");
  EXPECT_NE(shown().find("cos mapping 3 queue 6\n"), std::string::npos);
}

TEST_F(Policyctl, TellsTheLineCardsOnlyOfThePriorityThatChanges) {
  apply("cos mapping 5 queue 7\n");
  EXPECT_EQ(plane.client().ask("chassis/chassis/0.1/get_port_cos_mapping?name:txt=eth-0/1/1"),
            "100 priorities:list=:u32=5&queues:list=:u32=7");
}

TEST_F(Policyctl, SaysWhichPriorityTheLineCardsDoNotConfirm) {
  for (const char* const slot : {"0", "1", "2"}) {
    ASSERT_EQ(plane.client().ask(std::string("chassis/chassis/0.1/set_line_card_fault?slot:u32=") +
                                 slot + "&fault:txt=refuse"),
              "100");
  }
  Result result;
  EXPECT_TRUE(with_growing_patience([&](const std::string& patience_s) {
    result =
        policyctl({"--timeout", patience_s, "apply", file("a.conf", "cos mapping 3 queue 6\n")});
    return result.status == 75 &&
           result.err.find(
               "The change is made, but the line cards have not confirmed the "
               "mapping: priority 3 reads back as queue 3, not 6.\n") != std::string::npos;
  })) << result.err;
}

TEST_F(Policyctl, SetsTheQueueOfADscp) {
  EXPECT_EQ(policyctl({"dscp-queue", "3", "7"}).status, 0);
  EXPECT_NE(shown().find("cos mapping 3 queue 7\n"), std::string::npos);
  EXPECT_EQ(policyctl({"dscp-queue", "64", "7"}).status, 64);
}

class RoundTrip : public PolicyctlFixture, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(RoundTrip, WhatIsShownCanBeAppliedAndIsShownAgain) {
  RandomConfiguration random(GetParam(), {"eth-0/1/1", "eth-0/2/1", "lag1"}, {10, 20});
  const std::string empty = shown();
  for (int round = 0; round < 10; ++round) {
    const std::string text = write_configuration(random.make());
    become(text);
    EXPECT_EQ(policyctl({"plan", "--prune", file("again.conf", text)}).status, 0);
    const std::string first = shown();
    become(empty);
    ASSERT_EQ(shown(), empty);
    const Result applied = policyctl({"apply", file("shown.conf", first)});
    ASSERT_EQ(applied.status, 0) << applied.err;
    EXPECT_EQ(shown(), first);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RoundTrip, testing::Range(100U, 110U));

}  // namespace
