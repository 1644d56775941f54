#include "tools/policyctl/render/tables_of_switch.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <sstream>

#include "tests/unit/policyctl/random_configuration.h"
#include "tools/policyctl/language/read_configuration.h"

namespace {

constexpr const char* EDGE = R"(cos flag on
cos schedule mode 1
cos schedule algorithm 2 weights 12 8 4 1
cos priority 4 queue 4
cos priority 5 queue 7
cos mapping 5 queue 6
time-range night 22 6 on 0 0
acl 10 type 0 description "edge in"
  rule 1 permit src-ip 10.0.0.0/8 dst-port 80 description "web"
  rule 20 deny dst-port 1024-65535
acl 11 type 1
interface eth-0/1/1
interface eth-0/1/2
  cos-value 3
  filter acl 10 rule 20
  filter acl 10 rule 1
  remark acl 10 rule 1 dscp 46
vlan 100
  filter acl 10 rule 1
vlan 200
)";

std::string shown(const std::string& text, const std::string& what, const TableStyle& style = {}) {
  ReadConfiguration read = read_configuration(text);
  EXPECT_TRUE(read.faults.empty());
  std::istringstream in(what);
  std::vector<std::string> words;
  for (std::string word; in >> word;) words.push_back(word);
  return tables_of_switch(std::move(read.configuration), Selection::parse(words), style);
}

TEST(TablesOfSwitch, ShowClassOfServiceAsAMatrix) {
  EXPECT_EQ(shown(EDGE, "cos"),
            "cos flag on\n"
            "cos schedule mode 1\n"
            "cos schedule algorithm 2 weights 12 8 4 1\n"
            "PRIORITY              4  5\n"
            "queue (cos priority)  4  7\n"
            "queue (cos mapping)      6\n");
}

TEST(TablesOfSwitch, ShowTimeRanges) {
  EXPECT_EQ(shown(EDGE, "time-ranges"),
            "1 time range:\n"
            "TIME-RANGE  NUMBER  NUMBER  SWITCH  NUMBER  NUMBER\n"
            "night           22       6  on           0       0\n");
  EXPECT_EQ(shown("", "time-ranges"), "No time ranges.\n");
}

TEST(TablesOfSwitch, CountTheRulesAndBindingsOfLists) {
  EXPECT_EQ(shown(EDGE, "acls"),
            "2 access control lists:\n"
            "ACL  TYPE  RULES  BINDINGS  DESCRIPTION\n"
            " 10     0      2         3  edge in\n"
            " 11     1      0         0\n");
}

TEST(TablesOfSwitch, GiveEachMatchFieldOfTheRulesAColumn) {
  EXPECT_EQ(shown(EDGE, "acl 10"),
            "acl 10 type 0, 2 rules: edge in\n"
            "RULE  ACTION  SRC-IP      DST-PORT    BINDINGS  DESCRIPTION\n"
            "   1  permit  10.0.0.0/8  80                 2  web\n"
            "  20  deny                1024-65535         1\n");
  EXPECT_EQ(shown(EDGE, "acl 10 rule 20"),
            "acl 10 type 0, 1 rule: edge in\n"
            "RULE  ACTION  DST-PORT    BINDINGS\n"
            "  20  deny    1024-65535         1\n");
}

TEST(TablesOfSwitch, WriteFieldsOneAfterTheOtherWhereTheWindowIsTooNarrow) {
  EXPECT_EQ(shown(EDGE, "acl 10", {50, false}),
            "acl 10 type 0, 2 rules: edge in\n"
            "RULE  ACTION  BINDINGS  MATCH\n"
            "   1  permit         2  src-ip 10.0.0.0/8\n"
            "                        dst-port 80 \"web\"\n"
            "  20  deny           1  dst-port 1024-65535\n");
}

TEST(TablesOfSwitch, MarkAValueThatIsNoneOfItsField) {
  EXPECT_EQ(shown("acl 1 type 0\n rule 1 deny 13 \"http\"\n rule 2 deny 36 \"x\"\n", "acl 1"),
            "acl 1 type 0, 2 rules\n"
            "RULE  ACTION  DST-PORT  FIELD 36\n"
            "   1  deny    \"http\"\n"
            "   2  deny              \"x\"\n");
}

TEST(TablesOfSwitch, ShowWhatIsBoundAndCountTheOthers) {
  EXPECT_EQ(shown(EDGE, "interfaces"),
            "1 interface, 1 more with nothing bound:\n"
            "INTERFACE  COS-VALUE  FILTERS         REMARKS\n"
            "eth-0/1/2          3  acl 10 rule 20  acl 10 rule 1 dscp 46\n"
            "                      acl 10 rule 1\n");
  EXPECT_EQ(shown(EDGE, "vlan 100"),
            "1 VLAN:\n"
            "VLAN  FILTERS\n"
            "100   acl 10 rule 1\n");
  EXPECT_EQ(shown("vlan 1\nvlan 2\n", "vlans"), "Nothing is bound to the 2 VLANs.\n");
}

TEST(TablesOfSwitch, ShowEverythingWhenNothingIsSelected) {
  const std::string all = shown(EDGE, "");
  for (const char* title :
       {"PRIORITY ", "TIME-RANGE ", "ACL  TYPE", "RULE  ACTION", "INTERFACE  ", "VLAN  "}) {
    EXPECT_NE(all.find(title), std::string::npos) << title;
  }
}

TEST(TablesOfSwitch, KeepWithinTheWindow) {
  const std::string long_text(300, 'x');
  const std::string shown_text =
      shown("acl 1 type 0 description \"" + long_text +
                "\"\n rule 1 permit src-ip 10.0.0.0/8 description \"" + long_text + "\"\n",
            "", {60, false});
  std::istringstream lines(shown_text);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t ellipses = line.find("\xe2\x80\xa6") == std::string::npos ? 0 : 2;
    EXPECT_LE(line.size() - ellipses, 60U) << line;
  }
}

TEST(TablesOfSwitch, SendATerminalNothingThatItObeys) {
  EXPECT_TRUE(rc::check([] {
    const auto width = *rc::gen::inRange<std::size_t>(1, 200);
    const std::string text =
        tables_of_switch(any_configuration().entries(), Selection::parse({}), {width, false});
    for (const char c : text) {
      const auto byte = static_cast<unsigned char>(c);
      RC_ASSERT(byte == '\n' || (byte >= 0x20 && byte != 0x7f));
    }
  }));
}

}  // namespace
