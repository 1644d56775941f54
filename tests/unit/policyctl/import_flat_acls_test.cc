#include "tests/unit/policyctl/imported.h"

namespace {

Import imported(const std::string& text, std::uint32_t acl = 1) {
  return import_text(*find_import_format("flat-config"), text, {acl});
}

constexpr const char* NUMBERED =
    "ACL_RULE: PRIORITY: rules are numbered from 1, those of the highest priority first.";

// A table 'T' on the port p1 with a rule 'R' that has these members besides its
// priority.
Import with_rule(const std::string& members) {
  return imported(R"({"ACL_TABLE|T": {"ports@": "p1", "stage": "ingress"},
                      "ACL_RULE|T|R": {"PRIORITY": "5", )" +
                  members + "}}");
}

std::string rule(const Import& import) {
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  const std::string text = printed(import);
  const std::size_t at = text.find("  rule ");
  return at == std::string::npos ? "" : text.substr(at + 2, text.find('\n', at) - at - 2);
}

TEST(ImportFlatAcls, TheExampleBecomesSeventeenLists) {
  const Import import = imported(example("sources/config-flat.json"));
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  EXPECT_EQ(import.configuration.of(ACL).size(), 17U);
  EXPECT_EQ(rules_of(import), 21U);
  EXPECT_EQ(import.configuration.of(INTERFACE).size(), 17U);
  EXPECT_EQ(import.notes.size(), 107U);
  const std::string text = printed(import);
  EXPECT_TRUE(
      text.starts_with("acl 1 type 0 description \"NULL_ROUTE_V4: DATAACL\"\n"
                       "  rule 1 deny src-ip 10.0.0.1/32 description \"RULE_1\"\n"
                       "  rule 2 deny src-ip 10.0.0.2/32 description \"BLOCK_RULE_10.0.0.2/32\"\n"
                       "  rule 3 permit src-ip 10.0.0.3/32 description \"BLOCK_RULE_10.0.0.3/32\"\n"
                       "  rule 4 deny description \"DEFAULT_RULE\"\n"))
      << text;
  for (const char* const line : {
           "  rule 7 permit dst-port 4661 description \"RULE_9\"\n"
           "  rule 8 deny src-ip 10.0.0.3/32 description \"RULE_10\"\n"
           "  rule 9 deny description \"DEFAULT_RULE\"\n"
           "acl 7 type 0 description \"DATAACL_NO_COUNTER: DATAACL\"\n"
           "  rule 1 permit protocol 126 description \"RULE_NO_COUNTER\"\n",
           "  rule 1 permit tcp-flags 0x0012/0x0012 description \"RULE_6\"\n",
           "acl 17 type 0 description \"SSH_ONLY\"\ninterface Ethernet100\n  filter acl 6 rule 1\n",
           "interface Ethernet124\n  filter acl 6 rule 1\n",
           "  filter acl 7 rule 1\n  filter acl 11 rule 1\n  filter acl 13 rule 1\n",
       }) {
    EXPECT_NE(text.find(line), std::string::npos) << line;
  }
}

TEST(ImportFlatAcls, TheExamplesNotesNameWhatIsNotImported) {
  const Texts notes = notes_of(imported(example("sources/config-flat.json")));
  for (const char* const note : {
           NUMBERED,
           "/ACL_RULE|DATAACL|RULE_10/priority: '9989': this is taken for PRIORITY.",
           "/ACL_RULE|NULL_ROUTE_V4|DEFAULT_RULE: no condition: the rule matches every packet.",
           "/ACL_TABLE|DATAACLV4V6/ttl: '-0.001': a mark of the dump; the entry is imported as if "
           "it were lasting.",
           "/ACL_TABLE|NULL_ROUTE_V4/ports@: PortChannel0005, PortChannel0008, PortChannel0011, "
           "PortChannel0014, PortChannel0017, PortChannel0020, PortChannel0023: neither PORT nor "
           "PORTCHANNEL has them; nothing is bound there.",
           "/ACL_TABLE|DATAACL_3/stage: 'egress': packet filters look at what comes in; the rules "
           "are bound nowhere.",
           "/ACL_TABLE|SSH_ONLY/services@: 'SSH': policyd guards no services of the switch; the "
           "rules are bound nowhere.",
           "/ACL_TABLE|EVERFLOW/type: 'MIRROR': a list of policyd has rules of any kind.",
           "QUEUE: 203 entries: policyd has one schedule for all ports, and some have none here; "
           "the schedule is left out.",
           "BGP_NEIGHBOR: 91 entries: policyd keeps no such table.",
           "SAG: 1 entry: policyd keeps no such table.",
       }) {
    EXPECT_EQ(std::count(notes.begin(), notes.end(), note), 1) << note;
  }
}

TEST(ImportFlatAcls, HigherPrioritiesComeFirstAndEqualOnesStayInOrder) {
  const Import import = imported(R"({
      "ACL_RULE|T|low": {"PRIORITY": "1", "PACKET_ACTION": "DROP", "VLAN_ID": "1"},
      "ACL_RULE|T|none": {"PACKET_ACTION": "DROP", "VLAN_ID": "2"},
      "ACL_RULE|T|b": {"PRIORITY": "9999", "PACKET_ACTION": "FORWARD", "VLAN_ID": "3"},
      "ACL_RULE|T|a": {"PRIORITY": "9999", "PACKET_ACTION": "FORWARD", "VLAN_ID": "4"},
      "ACL_TABLE": {"T": {"policy_desc": "edge in", "ports@": "p2,p1,p2"}}})",
                                 40);
  EXPECT_EQ(shown_faults(import.faults), Texts{});
  EXPECT_EQ(notes_of(import),
            (Texts{"/ACL_RULE|T|none: no PRIORITY: the rule comes last.", NUMBERED}));
  EXPECT_EQ(printed(import),
            "acl 40 type 0 description \"T: edge in\"\n"
            "  rule 1 permit vlan 3 description \"b\"\n"
            "  rule 2 permit vlan 4 description \"a\"\n"
            "  rule 3 deny vlan 1 description \"low\"\n"
            "  rule 4 deny vlan 2 description \"none\"\n"
            "interface p1\n"
            "  filter acl 40 rule 1\n  filter acl 40 rule 2\n"
            "  filter acl 40 rule 3\n  filter acl 40 rule 4\n"
            "interface p2\n"
            "  filter acl 40 rule 1\n  filter acl 40 rule 2\n"
            "  filter acl 40 rule 3\n  filter acl 40 rule 4\n");
}

TEST(ImportFlatAcls, EachConditionHasItsField) {
  const auto condition = [](const std::string& members) {
    return rule(with_rule("\"PACKET_ACTION\": \"FORWARD\", " + members));
  };
  EXPECT_EQ(condition(R"("SRC_IP": "10.1.2.3/8", "DST_IP": "10.0.0.1")"),
            "rule 1 permit src-ip 10.0.0.0/8 dst-ip 10.0.0.1/32 description \"R\"");
  EXPECT_EQ(condition(R"("SRC_IPV6": "::1", "DST_IPV6": "2001:DB8::/32", "NEXT_HEADER": "58")"),
            "rule 1 permit src-ip6 ::1/128 dst-ip6 2001:db8::/32 protocol 58 description \"R\"");
  EXPECT_EQ(condition(R"("L4_SRC_PORT_RANGE": "1-9", "L4_DST_PORT": "80", "IP_PROTOCOL": "0x06")"),
            "rule 1 permit protocol 6 src-port 1-9 dst-port 80 description \"R\"");
  EXPECT_EQ(
      condition(R"("ETHER_TYPE": "2048", "VLAN_ID": 7, "DSCP": "46", "TCP_FLAGS": "0x2/0x12")"),
      "rule 1 permit ethertype 0x0800 vlan 7 tcp-flags 0x0002/0x0012 dscp 46 "
      "description \"R\"");
  EXPECT_EQ(
      condition(R"("ICMP_TYPE": "8", "ICMP_CODE": "0", "IN_PORTS": "p2,p1", "OUT_PORTS": "p3")"),
      "rule 1 permit icmp-type 8 icmp-code 0 in-ports p1,p2 out-ports p3 description \"R\"");
  EXPECT_EQ(condition(R"("ICMPV6_TYPE": "128", "ICMPV6_CODE": "0", "IP_TYPE": "IPv6ANY")"),
            "rule 1 permit ethertype 0x86dd icmp6-type 128 icmp6-code 0 description \"R\"");
  EXPECT_EQ(condition(R"("IP_TYPE": "ANY")"), "rule 1 permit description \"R\"");
}

TEST(ImportFlatAcls, ARuleWithoutCounterpartIsLeftOut) {
  const auto note = [](const std::string& members) {
    const Import import = with_rule(members);
    EXPECT_EQ(printed(import), "acl 1 type 0 description \"T\"\n");
    EXPECT_EQ(shown_faults(import.faults), Texts{});
    EXPECT_EQ(import.notes.size(), 2U);
    return import.notes.empty() ? "" : note_line(import.notes[0]);
  };
  EXPECT_EQ(note(R"("PACKET_ACTION": "REDIRECT:p7")"),
            "/ACL_RULE|T|R/PACKET_ACTION: 'REDIRECT:p7': a rule permits or denies; "
            "the rule is left out.");
  EXPECT_EQ(note(R"("MIRROR_ACTION": "m1")"),
            "/ACL_RULE|T|R/MIRROR_ACTION: 'm1': a rule permits or denies; the rule is left out.");
  EXPECT_EQ(note(R"("PACKET_ACTION": "DROP", "INNER_SRC_IP": "10.0.0.0/8")"),
            "/ACL_RULE|T|R/INNER_SRC_IP: '10.0.0.0/8': no match field is like it; "
            "the rule is left out.");
  EXPECT_EQ(note(R"("PACKET_ACTION": "DROP", "IP_TYPE": "NON_IP")"),
            "/ACL_RULE|T|R/IP_TYPE: 'NON_IP': no match field is like it; the rule is left out.");
}

TEST(ImportFlatAcls, WrongValuesAreFaultsWithTheirPaths) {
  const auto faults = [](const std::string& members) {
    return shown_faults(with_rule(members).faults);
  };
  EXPECT_EQ(faults(R"("PACKET_ACTION": "DROP", "SRC_IP": "10.0.0.999/8", "VLAN_ID": 99999999999)"),
            (Texts{"0:0+0 /ACL_RULE|T|R/SRC_IP: '10.0.0.999' is no IPv4 address.",
                   "0:0+0 /ACL_RULE|T|R/VLAN_ID: '99999999999' is no number 1..4094."}));
  EXPECT_EQ(faults(R"("PACKET_ACTION": ["DROP"])"),
            Texts{"0:0+0 /ACL_RULE|T|R/PACKET_ACTION: a text or number is expected, "
                  "not an array."});
  EXPECT_EQ(faults(R"("VLAN_ID": "1")"), Texts{"0:0+0 /ACL_RULE|T|R: PACKET_ACTION is missing."});
  EXPECT_EQ(faults(R"("PACKET_ACTION": "DROP", "priority": "6")"),
            Texts{"0:0+0 /ACL_RULE|T|R/priority: the rule has a PRIORITY already."});
  EXPECT_EQ(faults(R"("PACKET_ACTION": "DROP", "ETHER_TYPE": "0x0800", "IP_TYPE": "ARP")"),
            Texts{"0:0+0 /ACL_RULE|T|R/IP_TYPE: the rule has ethertype 0x0800 already."});
  EXPECT_EQ(shown_faults(imported(R"({"ACL_RULE|T|R": {"PRIORITY": "-1", "PACKET_ACTION": "DROP"},
                                      "ACL_RULE|T": {}, "ACL_TABLE|U": "x"})")
                             .faults),
            (Texts{"0:0+0 /ACL_TABLE|U: an object is expected, not 'x'.",
                   "0:0+0 /ACL_RULE|T|R/PRIORITY: '-1' is no number 0..4294967295.",
                   "0:0+0 /ACL_RULE|T: a rule is named ACL_RULE|TABLE|RULE."}));
}

TEST(ImportFlatAcls, AnEntryStandsOnceInEitherForm) {
  EXPECT_EQ(shown_faults(imported(R"({"ACL_TABLE|T": {}, "ACL_TABLE": {"T": {}}})").faults),
            Texts{"0:0+0 /ACL_TABLE/T: the entry stands at /ACL_TABLE|T already."});
}

TEST(ImportFlatAcls, OnlyPortsThatThereAreAreBound) {
  const Import import = imported(R"({"PORT|p1": {}, "PORTCHANNEL|lag": {},
      "ACL_TABLE|T": {"ports@": "p1, lag,p9"},
      "ACL_RULE|T|R": {"PRIORITY": 1, "PACKET_ACTION": "DROP", "VLAN_ID": 1}})");
  EXPECT_EQ(notes_of(import)[0],
            "/ACL_TABLE|T/ports@: p9: neither PORT nor PORTCHANNEL has them; "
            "nothing is bound there.");
  EXPECT_EQ(printed(import),
            "acl 1 type 0 description \"T\"\n"
            "  rule 1 deny vlan 1 description \"R\"\n"
            "interface lag\n  filter acl 1 rule 1\n"
            "interface p1\n  filter acl 1 rule 1\n");
}

TEST(ImportFlatAcls, RulesWithoutATableMakeAListThatIsBoundNowhere) {
  const Import import = imported(R"({"ACL_RULE|T|R": {"PRIORITY": 1, "PACKET_ACTION": "DROP",
                                                      "VLAN_ID": 1}})");
  EXPECT_EQ(notes_of(import),
            (Texts{"/ACL_RULE|T|R: no ACL_TABLE: the list is made without one and bound nowhere.",
                   NUMBERED}));
  EXPECT_EQ(printed(import),
            "acl 1 type 0 description \"T\"\n  rule 1 deny vlan 1 description \"R\"\n");
}

TEST(ImportFlatAcls, ASmallFileMakesNoHugeConfiguration) {
  std::string text = R"({"ACL_TABLE|T": {"ports@": ")";
  for (int port = 0; port < 3000; ++port) text += "p" + std::to_string(port) + ",";
  text += "\"}";
  for (int number = 0; number < 400; ++number) {
    text += ", \"ACL_RULE|T|" + std::to_string(number) +
            R"(": {"PRIORITY": 1, "PACKET_ACTION": "DROP", "VLAN_ID": 1})";
  }
  EXPECT_EQ(shown_faults(imported(text + "}").faults),
            Texts{"0:0+0 /ACL_TABLE: the file binds rules to ports more than 1000000 times. | "
                  "Import it in parts."});
}

}  // namespace
