#include "framework/base/ipv4.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class ValidIPv4 : public ::testing::TestWithParam<std::pair<const char*, std::uint32_t>> {};

TEST_P(ValidIPv4, ParsesAndPrintsItselfAgain) {
  const auto& [text, host_order] = GetParam();
  IPv4 address;
  ASSERT_TRUE(IPv4::parse(text, address));
  EXPECT_EQ(address.host_order(), host_order);
  EXPECT_EQ(address.str(), text);
}

INSTANTIATE_TEST_SUITE_P(Table, ValidIPv4,
                         ::testing::Values(std::pair{"0.0.0.0", 0U},
                                           std::pair{"127.0.0.1", 0x7f000001U},
                                           std::pair{"1.2.3.4", 0x01020304U},
                                           std::pair{"10.0.255.100", 0x0a00ff64U},
                                           std::pair{"255.255.255.255", 0xffffffffU}));

class InvalidIPv4 : public ::testing::TestWithParam<std::string> {};

TEST_P(InvalidIPv4, IsRefusedAndChangesNothing) {
  IPv4 address(42);
  EXPECT_FALSE(IPv4::parse(GetParam(), address));
  EXPECT_EQ(address, IPv4(42));
}

INSTANTIATE_TEST_SUITE_P(Table, InvalidIPv4,
                         ::testing::Values("", ".", "1", "1.2.3", "1.2.3.", ".1.2.3", "1.2.3.4.",
                                           "1.2.3.4.5", "1..2.3", "256.0.0.1", "1.2.3.999",
                                           "01.2.3.4", "1.2.3.04", "00.0.0.0", " 1.2.3.4",
                                           "1.2.3.4 ", "+1.2.3.4", "-1.2.3.4", "0x1.2.3.4",
                                           "a.b.c.d", "1,2,3,4", "1.2.3.4/8", "::1"));

TEST(IPv4, LoopbackIsItsFirstAddress) {
  EXPECT_EQ(IPv4::loopback().str(), "127.0.0.1");
}

TEST(IPv4, KnowsTheWholeLoopbackNetwork) {
  EXPECT_TRUE(IPv4(0x7f000000).is_loopback());
  EXPECT_TRUE(IPv4(0x7fffffff).is_loopback());
  EXPECT_FALSE(IPv4(0x7effffff).is_loopback());
  EXPECT_FALSE(IPv4(0x80000000).is_loopback());
}

struct IPv6Row {
  const char* text;
  const char* printed;
};

class ValidIPv6 : public ::testing::TestWithParam<IPv6Row> {};

TEST_P(ValidIPv6, PrintsInTheRecommendedFormWhichParsesToTheSame) {
  IPv6 address;
  ASSERT_TRUE(IPv6::parse(GetParam().text, address));
  EXPECT_EQ(address.str(), GetParam().printed);
  IPv6 again;
  ASSERT_TRUE(IPv6::parse(address.str(), again));
  EXPECT_EQ(again, address);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ValidIPv6,
    ::testing::Values(
        IPv6Row{"::", "::"}, IPv6Row{"::1", "::1"}, IPv6Row{"1::", "1::"},
        IPv6Row{"0:0:0:0:0:0:0:0", "::"},
        IPv6Row{"2001:0DB8:0000:0000:0000:0000:0002:0001", "2001:db8::2:1"},
        // A single zero group stays as it is.
        IPv6Row{"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
        IPv6Row{"2001:db8::1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
        // Of two runs the longer, of equal ones the first.
        IPv6Row{"1:0:0:2:0:0:0:3", "1:0:0:2::3"},
        IPv6Row{"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},
        IPv6Row{"1:2:3:4:5:6:0:0", "1:2:3:4:5:6::"}, IPv6Row{"0:0:3:4:5:6:7:8", "::3:4:5:6:7:8"},
        IPv6Row{"fe80::1:2:3:4", "fe80::1:2:3:4"}, IPv6Row{"::ffff:1.2.3.4", "::ffff:1.2.3.4"},
        IPv6Row{"::FFFF:102:304", "::ffff:1.2.3.4"}, IPv6Row{"::1.2.3.4", "::102:304"},
        IPv6Row{"::1234:102:304", "::1234:102:304"},
        IPv6Row{"64:ff9b::192.0.2.33", "64:ff9b::c000:221"},
        IPv6Row{"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff",
                "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
        IPv6Row{"1:2:3:4:5:6:255.255.255.255", "1:2:3:4:5:6:ffff:ffff"}));

class InvalidIPv6 : public ::testing::TestWithParam<std::string> {};

TEST_P(InvalidIPv6, IsRefusedAndChangesNothing) {
  IPv6 address;
  address.bytes.fill(7);
  const IPv6 before = address;
  EXPECT_FALSE(IPv6::parse(GetParam(), address));
  EXPECT_EQ(address, before);
}

INSTANTIATE_TEST_SUITE_P(Table, InvalidIPv6,
                         ::testing::Values("", ":", ":::", "1", "1:2:3:4:5:6:7",
                                           "1:2:3:4:5:6:7:8:9", "1:2:3:4:5:6:7:", ":2:3:4:5:6:7:8",
                                           "1::2::3", "12345::", "g::", "fe80::1%eth0", "::1/128",
                                           " ::1", "::1 ", "::1.2.3", "::1.2.3.256", "::1.2.3.4:5",
                                           "[::1]", "1.2.3.4"));

TEST(Mac, ParsesEitherCaseAndPrintsLowerCase) {
  Mac mac;
  ASSERT_TRUE(Mac::parse("00:1A:2b:C3:dE:ff", mac));
  EXPECT_EQ(mac.bytes, (std::array<std::uint8_t, 6>{0x00, 0x1a, 0x2b, 0xc3, 0xde, 0xff}));
  EXPECT_EQ(mac.str(), "00:1a:2b:c3:de:ff");
}

class InvalidMac : public ::testing::TestWithParam<std::string> {};

TEST_P(InvalidMac, IsRefusedAndChangesNothing) {
  Mac mac;
  mac.bytes.fill(7);
  const Mac before = mac;
  EXPECT_FALSE(Mac::parse(GetParam(), mac));
  EXPECT_EQ(mac, before);
}

INSTANTIATE_TEST_SUITE_P(Table, InvalidMac,
                         ::testing::Values("", "00:11:22:33:44", "00:11:22:33:44:55:66",
                                           "00:11:22:33:44:5", "0:11:22:33:44:55",
                                           "00-11-22-33-44-55", "001122334455", "00:11:22:33:44:5g",
                                           "00:11:22:33:44:55 ", "00:11:22:33:4455:",
                                           "00:11:22:33:44 55", "+0:11:22:33:44:55"));

TEST(Addresses, AreNotCutAtAZeroByte) {
  IPv4 ipv4;
  IPv6 ipv6;
  EXPECT_FALSE(IPv4::parse(std::string_view("127.0.0.1\0", 10), ipv4));
  EXPECT_FALSE(IPv6::parse(std::string_view("::1\0", 4), ipv6));
}

TEST(Addresses, MayBeHandedTextsOfAnyLength) {
  const std::string text(5000, '1');
  IPv4 ipv4;
  IPv6 ipv6;
  Mac mac;
  EXPECT_FALSE(IPv4::parse(text, ipv4));
  EXPECT_FALSE(IPv6::parse(text, ipv6));
  EXPECT_FALSE(Mac::parse(text, mac));
}

}  // namespace
