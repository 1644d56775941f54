#include "tools/policyctl/import/match_spelling.h"

#include <gtest/gtest.h>

namespace {

// The spelling, or "! " and the problem.
std::string spelling(std::string_view field, std::string_view text) {
  const MatchSpelling spelling = spell_match(*find_match_field(field), text);
  return spelling.problem.empty() ? spelling.text : "! " + spelling.problem;
}

TEST(MatchSpelling, PrefixesGetTheirLengthAndLoseTheirHostBits) {
  EXPECT_EQ(spelling("src-ip", "10.1.2.3"), "10.1.2.3/32");
  EXPECT_EQ(spelling("src-ip", "10.1.2.3/8"), "10.0.0.0/8");
  EXPECT_EQ(spelling("src-ip", "10.1.2.3/0"), "0.0.0.0/0");
  EXPECT_EQ(spelling("src-ip6", "2001:DB8:0:0::1"), "2001:db8::1/128");
  EXPECT_EQ(spelling("src-ip6", "2001:db8:ffff::/33"), "2001:db8:8000::/33");
  EXPECT_EQ(spelling("src-ip", "10.0.0.999/8"), "! '10.0.0.999' is no IPv4 address.");
  EXPECT_EQ(spelling("src-ip", "10.0.0.0/33"), "! '33' is no prefix length 0..32.");
  EXPECT_EQ(spelling("src-ip", ""), "! '' is no IPv4 address.");
}

TEST(MatchSpelling, NumbersBecomeDecimal) {
  EXPECT_EQ(spelling("protocol", "06"), "6");
  EXPECT_EQ(spelling("protocol", "0x11"), "17");
  EXPECT_EQ(spelling("protocol", "256"), "! '256' is no number 0..255.");
  EXPECT_EQ(spelling("protocol", "1e2"), "! '1e2' is no number 0..255.");
  EXPECT_EQ(spelling("vlan", "99999999999999999999"),
            "! '99999999999999999999' is no number 1..4094.");
}

TEST(MatchSpelling, RangesHaveAHyphen) {
  EXPECT_EQ(spelling("dst-port", "80"), "80");
  EXPECT_EQ(spelling("dst-port", "80..90"), "80-90");
  EXPECT_EQ(spelling("dst-port", "80-80"), "80");
  EXPECT_EQ(spelling("dst-port", "90-80"), "! the range '90-80' ends before it begins.");
  EXPECT_EQ(spelling("dst-port", "80.."), "! '' is no number 0..65535.");
}

TEST(MatchSpelling, EtherTypesAndFlagsBecomeFourDigits) {
  EXPECT_EQ(spelling("ethertype", "2048"), "0x0800");
  EXPECT_EQ(spelling("ethertype", "0x86DD"), "0x86dd");
  EXPECT_EQ(spelling("ethertype", "65536"), "! '65536' is not 0x and four digits 0-9a-f.");
  EXPECT_EQ(spelling("tcp-flags", "0x12/0x12"), "0x0012/0x0012");
  EXPECT_EQ(spelling("tcp-flags", "18"), "! '18' has no /MASK.");
  EXPECT_EQ(spelling("tcp-flags", "0x3/0x1"),
            "! bits outside of the mask must be zero, written 0x0001/0x0001.");
}

TEST(MatchSpelling, InterfacesAreSortedAndStandOnce) {
  EXPECT_EQ(spelling("in-ports", "b, a,b,,a10"), "a,a10,b");
  EXPECT_EQ(spelling("in-ports", ","), "! a name is missing.");
}

TEST(MatchSpelling, MacAddressesAreLowerCase) {
  EXPECT_EQ(spelling("src-mac", "00:1B:21:3C:4D:5E"), "00:1b:21:3c:4d:5e");
  EXPECT_EQ(spelling("src-mac", "00:1b"), "! '00:1b' is no MAC address.");
}

TEST(MatchSpelling, ForeignNumbersHaveABoundAndNoSign) {
  EXPECT_EQ(foreign_number("4294967295"), 4294967295U);
  EXPECT_EQ(foreign_number("0xffffffff"), 4294967295U);
  for (const char* const text : {"", "0x", "-1", "+1", "4294967296", "1.0", " 1", "a"}) {
    EXPECT_EQ(foreign_number(text), std::nullopt) << text;
  }
}

}  // namespace
