#include "common/match_values.h"

#include <gtest/gtest.h>

#include "common/match_fields.h"

namespace {

std::string problem(std::string_view field, std::string_view value) {
  return match_value_problem(*find_match_field(field), value);
}

TEST(MatchValues, ANumberIsDecimalAndWithinItsBounds) {
  EXPECT_EQ(problem("vlan", "1"), "");
  EXPECT_EQ(problem("vlan", "4094"), "");
  EXPECT_EQ(problem("vlan", "0"), "'0' is no number 1..4094.");
  EXPECT_EQ(problem("vlan", "4095"), "'4095' is no number 1..4094.");
  EXPECT_EQ(problem("dscp", "0"), "");
  EXPECT_EQ(problem("flow-label", "1048575"), "");
  EXPECT_EQ(problem("flow-label", "1048576"), "'1048576' is no number 0..1048575.");
  EXPECT_EQ(problem("dscp", "4294967296"), "'4294967296' is no number 0..63.");
}

TEST(MatchValues, ANumberHasOneSpelling) {
  for (const char* const text : {"", " 7", "7 ", "+7", "-7", "07", "0x7", "7.0", "7-7"}) {
    EXPECT_EQ(problem("precedence", text), "'" + std::string(text) + "' is no number 0..7.");
  }
}

TEST(MatchValues, ALongTextIsCutInTheSentence) {
  const std::string text = std::string(59, 'x') + "\xc3\xa4" + std::string(1000, 'y');
  EXPECT_EQ(problem("vlan", text), "'" + std::string(59, 'x') + "...' is no number 1..4094.");
}

TEST(MatchValues, BytesThatCannotBeShownAreMarkedInTheSentence) {
  EXPECT_EQ(problem("vlan", "1\x1b[2J\xa4\xe2\x80\xae"), "'1?[2J?\?\?\?' is no number 1..4094.");
  EXPECT_EQ(problem("vlan", std::string(100, '\xa4')),
            "'" + std::string(60, '?') + "...' is no number 1..4094.");
}

TEST(MatchValues, ARangeIsANumberOrTwoInOrder) {
  EXPECT_EQ(problem("src-port", "0"), "");
  EXPECT_EQ(problem("src-port", "1024-65535"), "");
  EXPECT_EQ(problem("src-port", "0-65535"), "");
  EXPECT_EQ(problem("src-port", "80-80"), "a range of one number is written 80.");
  EXPECT_EQ(problem("src-port", "81-80"), "the range '81-80' ends before it begins.");
  EXPECT_EQ(problem("src-port", "80-65536"), "'65536' is no number 0..65535.");
  EXPECT_EQ(problem("src-port", "80-"), "'' is no number 0..65535.");
  EXPECT_EQ(problem("src-port", "-80"), "'' is no number 0..65535.");
  EXPECT_EQ(problem("src-port", "1-2-3"), "'2-3' is no number 0..65535.");
  EXPECT_EQ(problem("src-port", "1 - 2"), "'1 ' is no number 0..65535.");
}

TEST(MatchValues, AnEtherTypeIsFourHexadecimalDigits) {
  EXPECT_EQ(problem("ethertype", "0x0800"), "");
  EXPECT_EQ(problem("ethertype", "0x88e5"), "");
  for (const char* const text :
       {"0x800", "0x00800", "0X0800", "0800", "2048", "0x88E5", "0x08g0", "0x", "", "0x-800"}) {
    EXPECT_EQ(problem("ethertype", text),
              "'" + std::string(text) + "' is not 0x and four digits 0-9a-f.");
  }
}

TEST(MatchValues, BitsAreAValueWithinAMask) {
  EXPECT_EQ(problem("tcp-flags", "0x0002/0x0012"), "");
  EXPECT_EQ(problem("tcp-flags", "0x0000/0x0200"), "");
  EXPECT_EQ(problem("tcp-flags", "0x0002"), "'0x0002' has no /MASK.");
  EXPECT_EQ(problem("tcp-flags", "0x0002/18"), "'18' is not 0x and four digits 0-9a-f.");
  EXPECT_EQ(problem("tcp-flags", "syn/0x0012"), "'syn' is not 0x and four digits 0-9a-f.");
  EXPECT_EQ(problem("tcp-flags", "0x0003/0x0012"),
            "bits outside of the mask must be zero, written 0x0002/0x0012.");
}

TEST(MatchValues, AMacAddressMayHaveAMask) {
  EXPECT_EQ(problem("src-mac", "00:1b:21:3c:4d:5e"), "");
  EXPECT_EQ(problem("src-mac", "00:1b:21:00:00:00/ff:ff:ff:00:00:00"), "");
  EXPECT_EQ(problem("src-mac", "00:1b:21:3c:4d"), "'00:1b:21:3c:4d' is no MAC address.");
  EXPECT_EQ(problem("src-mac", "00:1B:21:3C:4D:5E"),
            "'00:1B:21:3C:4D:5E' is written 00:1b:21:3c:4d:5e.");
  EXPECT_EQ(problem("src-mac", "00:1b:21/ff:ff:ff:00:00:00"), "'00:1b:21' is no MAC address.");
  EXPECT_EQ(problem("src-mac", "00:1b:21:00:00:00/24"), "'24' is no mask of a MAC address.");
  EXPECT_EQ(problem("src-mac", "00:1b:21:3c:4d:5e/ff:ff:ff:00:00:00"),
            "bits outside of the mask must be zero, written 00:1b:21:00:00:00/ff:ff:ff:00:00:00.");
  EXPECT_EQ(problem("src-mac", "00:1b:21:3c:4d:5e/ff:ff:ff:ff:ff:ff"),
            "a whole address is written 00:1b:21:3c:4d:5e.");
}

TEST(MatchValues, AnIpv4PrefixHasALengthAndNoHostBits) {
  EXPECT_EQ(problem("src-ip", "0.0.0.0/0"), "");
  EXPECT_EQ(problem("src-ip", "10.1.0.0/16"), "");
  EXPECT_EQ(problem("src-ip", "192.0.2.7/32"), "");
  EXPECT_EQ(problem("src-ip", "192.0.2.7"), "'192.0.2.7' has no /LENGTH.");
  EXPECT_EQ(problem("src-ip", "192.0.2/24"), "'192.0.2' is no IPv4 address.");
  EXPECT_EQ(problem("src-ip", "2001:db8::/32"), "'2001:db8::' is no IPv4 address.");
  EXPECT_EQ(problem("src-ip", "10.0.0.0/33"), "'33' is no prefix length 0..32.");
  EXPECT_EQ(problem("src-ip", "10.0.0.0/08"), "'08' is no prefix length 0..32.");
  EXPECT_EQ(problem("src-ip", "10.0.0.0/"), "'' is no prefix length 0..32.");
  EXPECT_EQ(problem("src-ip", "10.0.0.0/255.0.0.0"), "'255.0.0.0' is no prefix length 0..32.");
  EXPECT_EQ(problem("src-ip", "10.1.0.0/8"), "host bits must be zero, written 10.0.0.0/8.");
  EXPECT_EQ(problem("src-ip", "128.0.0.0/0"), "host bits must be zero, written 0.0.0.0/0.");
  EXPECT_EQ(problem("src-ip", "10.0.0.1/31"), "host bits must be zero, written 10.0.0.0/31.");
}

TEST(MatchValues, AnIpv6PrefixHasALengthAndNoHostBits) {
  EXPECT_EQ(problem("dst-ip6", "::/0"), "");
  EXPECT_EQ(problem("dst-ip6", "2001:db8::/32"), "");
  EXPECT_EQ(problem("dst-ip6", "2001:db8::1/128"), "");
  EXPECT_EQ(problem("dst-ip6", "2001:DB8::/32"), "'2001:DB8::' is written 2001:db8::.");
  EXPECT_EQ(problem("dst-ip6", "2001:db8:0::/32"), "'2001:db8:0::' is written 2001:db8::.");
  EXPECT_EQ(problem("dst-ip6", "10.0.0.0/8"), "'10.0.0.0' is no IPv6 address.");
  EXPECT_EQ(problem("dst-ip6", "2001:db8::/129"), "'129' is no prefix length 0..128.");
  EXPECT_EQ(problem("dst-ip6", "2001:db8::1/127"),
            "host bits must be zero, written 2001:db8::/127.");
  EXPECT_EQ(problem("dst-ip6", "2001:dc0::/25"), "host bits must be zero, written 2001:d80::/25.");
}

TEST(MatchValues, AWordIsOneOfAFew) {
  EXPECT_EQ(problem("fragment", "no"), "");
  EXPECT_EQ(problem("fragment", "not-first"), "");
  EXPECT_EQ(problem("fragment", "not"), "'not' is none of no, any, first, not-first.");
  EXPECT_EQ(problem("fragment", ""), "'' is none of no, any, first, not-first.");
  EXPECT_EQ(problem("fragment", "no|any"), "'no|any' is none of no, any, first, not-first.");
}

TEST(MatchValues, ANameIsPrintableAndNotEmpty) {
  EXPECT_EQ(problem("time-range", "office hours"), "");
  EXPECT_EQ(problem("time-range", "B\xc3\xbcrozeit"), "");
  EXPECT_EQ(problem("time-range", ""), "a name is missing.");
  EXPECT_EQ(problem("time-range", "a\nb"), "'a?b' has control characters.");
}

TEST(MatchValues, InterfacesAreEachNamedOnceInOrder) {
  EXPECT_EQ(problem("in-ports", "lag1"), "");
  EXPECT_EQ(problem("in-ports", "eth-0/3/10,eth-0/3/2,lag1"), "");
  EXPECT_EQ(problem("in-ports", ""), "a name is missing.");
  EXPECT_EQ(problem("in-ports", "lag1,"), "a name is missing.");
  EXPECT_EQ(problem("in-ports", "lag1,lag1"),
            "'lag1' must not stand behind 'lag1': each interface once, in ascending order of "
            "bytes.");
  EXPECT_EQ(problem("in-ports", "lag1,eth-0/3/1"),
            "'eth-0/3/1' must not stand behind 'lag1': each interface once, in ascending order of "
            "bytes.");
}

TEST(MatchValues, HexadecimalNumbersHaveFourDigits) {
  EXPECT_EQ(match_hex(0), "0x0000");
  EXPECT_EQ(match_hex(0x8e5), "0x08e5");
  EXPECT_EQ(match_hex(0xffff), "0xffff");
}

}  // namespace
