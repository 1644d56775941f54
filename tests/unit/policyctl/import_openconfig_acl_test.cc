#include "tests/unit/policyctl/imported.h"

namespace {

Import imported(const std::string& text, std::uint32_t acl = 1) {
  return import_text(*find_import_format("openconfig-acl"), text, {acl});
}

// One set 'edge' with one entry of number 1, whose members these are besides its
// number; "" for an entry that has an action and nothing else.
Import entry(const std::string& members, const std::string& action = "ACCEPT") {
  return imported(R"({"acl": {"acl-sets": {"acl-set": {"edge": {"acl-entries": {"acl-entry": {"1":
                      {"config": {"sequence-id": 1}, "actions": {"config": {"forwarding-action": ")" +
                  action + "\"}}" + (members.empty() ? "" : ", ") + members + "}}}}}}}}");
}

constexpr const char* ENTRY = "/acl/acl-sets/acl-set/edge/acl-entries/acl-entry/1";

// The rule of the set, without indentation.
std::string rule(const Import& import) {
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  EXPECT_EQ(notes_of(import), Texts{});
  const std::string text = printed(import);
  const std::size_t at = text.find("  rule ");
  return at == std::string::npos ? "" : text.substr(at + 2, text.size() - at - 3);
}

// It is left out with that one note, whose place is below the entry.
void expect_left_out(const Import& import, const std::string& note) {
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  EXPECT_EQ(notes_of(import), Texts{ENTRY + note});
  EXPECT_EQ(printed(import), "acl 1 type 0 description \"edge\"\n");
}

TEST(ImportOpenconfigAcl, TheExampleBecomesTenLists) {
  const Import import = imported(example("sources/acl-tree.json"));
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  EXPECT_EQ(import.configuration.of(ACL).size(), 10U);
  EXPECT_EQ(rules_of(import), 18U);
  const std::string note = ": ICMP with IPv6: the rule matches ICMPv6, protocol 58.";
  const std::string sets = "/acl/acl-sets/acl-set/";
  const std::string entries = "/acl-entries/acl-entry/";
  EXPECT_EQ(notes_of(import), (Texts{sets + "DATAACL_2" + entries + "1" + note,
                                     sets + "DATAACL_2" + entries + "100" + note,
                                     sets + "DATAACLV4V6" + entries + "2" + note,
                                     sets + "DATAACLV4V6" + entries + "3" + note}));
  const std::string text = printed(import);
  for (const char* const line : {
           "acl 1 type 0 description \"sonic-ssh-only\"\n"
           "  rule 1 permit src-ip 192.168.0.0/18 protocol 6 dst-port 22\n"
           "  rule 2 permit src-ip 192.168.192.0/18 protocol 6 dst-port 22\n"
           "acl 2 type 0 description \"Sonic-SNMP_ACL\"\n",
           "  rule 1 permit src-ip6 ::1/128 dst-ip6 ::1/128 protocol 6 src-port 0 dst-port 0\n",
           "  rule 3 permit ethertype 0x88cc vlan 369\n",
           "  rule 1 permit src-ip 20.0.0.2/32 dst-ip 30.0.0.3/32 protocol 1 icmp-type 3 "
           "icmp-code 0\n",
           "  rule 100 permit src-ip6 ::1/128 dst-ip6 ::1/128 protocol 58 icmp6-type 128\n",
           "  rule 1 permit src-ip 172.17.0.200/30 protocol 0 in-ports Ethernet0,Ethernet1,"
           "Ethernet10,",
           "  rule 2 permit protocol 58 icmp6-type 136 icmp6-code 0\n",
           "  rule 2 permit protocol 1 icmp-type 136 icmp-code 0\n",
           "acl 10 type 0 description \"DATAACLV4V6\"\n"
           "  rule 1 permit ethertype 0x0800 vlan 369 src-ip 20.0.0.2/32 dst-ip 30.0.0.3/32 "
           "protocol 6\n",
       }) {
    EXPECT_NE(text.find(line), std::string::npos) << line;
  }
}

TEST(ImportOpenconfigAcl, ActionsPermitOrDeny) {
  EXPECT_EQ(rule(entry("")), "rule 1 permit");
  EXPECT_EQ(rule(entry("", "openconfig-acl:DROP")), "rule 1 deny");
  const Import import = entry("", "REJECT");
  EXPECT_EQ(notes_of(import),
            Texts{ENTRY + std::string("/actions/config/forwarding-action: 'REJECT': "
                                      "the rule denies, and the sender is not told.")});
  EXPECT_EQ(printed(import), "acl 1 type 0 description \"edge\"\n  rule 1 deny\n");
  expect_left_out(entry("", "POLICE"),
                  "/actions/config/forwarding-action: 'POLICE': "
                  "a rule permits or denies; the rule is left out.");
}

TEST(ImportOpenconfigAcl, EachConditionHasItsField) {
  EXPECT_EQ(
      rule(entry(R"("ip": {"config": {"protocol": "oc-pkt:IP_UDP", "dscp": 46, "hop-limit": 1}})")),
      "rule 1 permit protocol 17 dscp 46 ttl 1");
  EXPECT_EQ(rule(entry(R"("ip": {"config": {"source-ip-address": "10.1.2.3/8",
                                            "destination-ip-address": "10.1.2.3"}})")),
            "rule 1 permit src-ip 10.0.0.0/8 dst-ip 10.1.2.3/32");
  EXPECT_EQ(
      rule(entry(
          R"("transport": {"config": {"source-port": "1024..2048", "destination-port": 80}})")),
      "rule 1 permit src-port 1024-2048 dst-port 80");
  EXPECT_EQ(rule(entry(R"("transport": {"config": {"source-port": "ANY"}})")), "rule 1 permit");
  EXPECT_EQ(
      rule(entry(R"("l2": {"config": {"ethertype": "0x88CC", "vlan-id": 7,
                          "source-mac": "00:1B:21:3C:4D:5E", "destination-mac": "01:00:5e:00:00:00"}})")),
      "rule 1 permit src-mac 00:1b:21:3c:4d:5e dst-mac 01:00:5e:00:00:00 ethertype 0x88cc vlan 7");
  EXPECT_EQ(
      rule(entry(R"("input_interface": {"interface_ref": {"config": {"interface": "b,a,b"}}})")),
      "rule 1 permit in-ports a,b");
  EXPECT_EQ(rule(entry(R"("l2": {"config": {"ethertype": "ETHERTYPE_IPV6"}},
                          "icmp": {"config": {"type": 1, "code": 0}})")),
            "rule 1 permit ethertype 0x86dd icmp6-type 1 icmp6-code 0");
  EXPECT_EQ(rule(entry(R"("icmp": {"config": {"type": 8}})")), "rule 1 permit icmp-type 8");
}

TEST(ImportOpenconfigAcl, AnEntryWithAConditionWithoutCounterpartIsLeftOut) {
  expect_left_out(entry(R"("ip": {"config": {"protocol": "IP_FOO"}})"),
                  "/ip/config/protocol: 'IP_FOO': no protocol of this name is known; "
                  "the rule is left out.");
  expect_left_out(entry(R"("l2": {"config": {"ethertype": "ETHERTYPE_FOO"}})"),
                  "/l2/config/ethertype: 'ETHERTYPE_FOO': no EtherType of this name is known; "
                  "the rule is left out.");
  expect_left_out(entry(R"("transport": {"config": {"source-port": "HTTP"}})"),
                  "/transport/config/source-port: 'HTTP': no port of this name is known; "
                  "the rule is left out.");
  expect_left_out(entry(R"("transport": {"config": {"tcp-flags": ["TCP_SYN"]}})"),
                  "/transport/config/tcp-flags: an array: no match field is like it; "
                  "the rule is left out.");
  expect_left_out(entry(R"("mpls": {"config": {"traffic-class": 3}})"),
                  "/mpls/config/traffic-class: '3': no match field is like it; "
                  "the rule is left out.");
  expect_left_out(entry(R"("ip": {"config": {"source-ip-address": "::1",
                                             "destination-ip-address": "10.0.0.0/8"}})"),
                  ": IPv4 and IPv6: no packet is both; the rule is left out.");
}

TEST(ImportOpenconfigAcl, TheStateOfABlockIsNoCondition) {
  const Import import = entry(R"("ip": {"config": {"source-ip-address": "10.0.0.0/8"},
                                        "state": {"source-ip-address": "10.0.0.0/8"}},
      "input_interface": {"interface_ref": {"state": {"interface": "Ethernet1"}}})");
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  EXPECT_EQ(notes_of(import),
            (Texts{std::string(ENTRY) +
                       "/ip/state/source-ip-address: '10.0.0.0/8': a rule has nothing like it.",
                   std::string(ENTRY) + "/input_interface/interface_ref/state/interface: "
                                        "'Ethernet1': a rule has nothing like it."}));
  EXPECT_EQ(printed(import),
            "acl 1 type 0 description \"edge\"\n  rule 1 permit src-ip 10.0.0.0/8\n");
}

TEST(ImportOpenconfigAcl, WhatIsNoConditionIsNotedAndTheRuleStays) {
  const Import import = imported(
      R"({"x": 1, "openconfig-acl:acl": {"interfaces": {}, "acl-sets": {"acl-set": {"edge": {
          "config": {"name": "other", "type": "ACL_IPV4", "description": "uplinks"}, "state": {},
          "acl-entries": {"acl-entry": {"1": {"config": {"sequence-id": "7", "description": "web",
            "colour": null}, "actions": {"config": {"forwarding-action": "ACCEPT",
            "log-action": "LOG_SYSLOG"}}, "state": {"matched-packets": 3}}}}}}}}})");
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  const std::string set = "/openconfig-acl:acl/acl-sets/acl-set/edge";
  const std::string entry = set + "/acl-entries/acl-entry/1";
  EXPECT_EQ(notes_of(import),
            (Texts{"/x: '1': policyd has nothing like it.",
                   "/openconfig-acl:acl/interfaces: an object: policyd has nothing like it.",
                   set + "/config/name: 'other': policyd has nothing like it.",
                   set + "/config/type: 'ACL_IPV4': policyd has nothing like it.",
                   set + "/state: an object: policyd has nothing like it.",
                   entry + "/config/colour: null: a rule has nothing like it.",
                   entry + "/actions/config/log-action: 'LOG_SYSLOG': a rule has nothing like it.",
                   entry + "/state/matched-packets: '3': a rule has nothing like it."}));
  EXPECT_EQ(printed(import),
            "acl 1 type 0 description \"edge: uplinks\"\n  rule 7 permit description \"web\"\n");
}

TEST(ImportOpenconfigAcl, ValuesOfTheWrongKindAreFaultsWithTheirPaths) {
  const auto fault = [](const std::string& members) {
    const Texts faults = shown_faults(entry(members).faults);
    return faults.size() == 1 ? faults[0].substr(faults[0].find("entry/1") + 7) : "not one";
  };
  EXPECT_EQ(fault(R"("ip": {"config": {"source-ip-address": "10.0.0.999"}})"),
            "/ip/config/source-ip-address: '10.0.0.999' is no IPv4 address.");
  EXPECT_EQ(fault(R"("ip": {"config": {"protocol": "999999999999999999999"}})"),
            "/ip/config/protocol: '999999999999999999999' is no number 0..255.");
  EXPECT_EQ(fault(R"("ip": {"config": {"protocol": ["IP_TCP"]}})"),
            "/ip/config/protocol: a text or number is expected, not an array.");
  EXPECT_EQ(fault(R"("l2": {"config": {"vlan-id": null}})"),
            "/l2/config/vlan-id: a text or number is expected, not null.");
  EXPECT_EQ(fault(R"("icmp": {"config": {"type": "echo"}})"),
            "/icmp/config/type: 'echo' is no number 0..255.");
  EXPECT_EQ(fault(R"("input_interface": {"interface_ref": {"config": {"interface": "a\u0007"}}})"),
            "/input_interface/interface_ref/config/interface: 'a?' has control characters.");
}

TEST(ImportOpenconfigAcl, TheTreeHasToBeThere) {
  const std::string advice = " | The sets are expected in acl/acl-sets/acl-set.";
  EXPECT_EQ(shown_faults(imported("{}").faults),
            Texts{"0:0+0 /: there is no member 'acl'." + advice});
  EXPECT_EQ(shown_faults(imported("[1]").faults),
            Texts{"0:0+0 /: there is no member 'acl'." + advice});
  EXPECT_EQ(shown_faults(imported(R"({"acl": {"acl-sets": 7}})").faults),
            Texts{"0:0+0 /acl/acl-sets: there is no member 'acl-set'." + advice});
  EXPECT_EQ(shown_faults(imported(R"({"acl": {"acl-sets": {"acl-set": {"a": 1, "b": {
                                      "config": [], "acl-entries": {"acl-entry": {"1": "x"}}}}}}})")
                             .faults),
            (Texts{"0:0+0 /acl/acl-sets/acl-set/a: an object is expected, not '1'.",
                   "0:0+0 /acl/acl-sets/acl-set/b/config: an object is expected, not an array.",
                   "0:0+0 /acl/acl-sets/acl-set/b/acl-entries/acl-entry/1: "
                   "an object is expected, not 'x'."}));
}

TEST(ImportOpenconfigAcl, EntriesHaveANumberOfTheirOwnAndAnAction) {
  const auto faults = [](const std::string& entries) {
    return shown_faults(imported(R"({"acl": {"acl-sets": {"acl-set": {"e": {"acl-entries": {
                                     "acl-entry": {)" +
                                 entries + "}}}}}}}")
                            .faults);
  };
  const std::string path = "0:0+0 /acl/acl-sets/acl-set/e/acl-entries/acl-entry/";
  const std::string action = R"("actions": {"config": {"forwarding-action": "DROP"}})";
  EXPECT_EQ(faults(R"("5": {)" + action + "}"), Texts{}) << "the key is the number";
  EXPECT_EQ(faults(R"("a": {)" + action + "}"), Texts{path + "a: config/sequence-id is missing."});
  EXPECT_EQ(faults(R"("5": {})"), Texts{path + "5: actions/config/forwarding-action is missing."});
  EXPECT_EQ(
      faults(R"("5": {)" + action + R"(}, "6": {"config": {"sequence-id": 5}, )" + action + "}"),
      Texts{path + "6: the list has a rule 5 already. | Give the entry another sequence-id."});
  EXPECT_EQ(faults(R"("5": {"config": {"sequence-id": 4294967296}, )" + action + "}"),
            Texts{path + "5/config/sequence-id: '4294967296' is no number 0..4294967295."});
}

TEST(ImportOpenconfigAcl, ListsAreNumberedUpwardsWhileNumbersAreLeft) {
  const std::string two = R"({"acl": {"acl-sets": {"acl-set": {"b": {}, "a": {}}}}})";
  EXPECT_EQ(printed(imported(two, 7)),
            "acl 7 type 0 description \"b\"\nacl 8 type 0 description \"a\"\n");
  EXPECT_EQ(shown_faults(imported(two, 4294967295).faults),
            Texts{"0:0+0 /acl/acl-sets/acl-set/a: no number of an access control list is left."});
}

}  // namespace
