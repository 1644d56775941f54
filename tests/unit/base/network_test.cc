#include "framework/base/network.h"

#include <gtest/gtest.h>

namespace {

class ValidNetAddress : public ::testing::TestWithParam<std::pair<const char*, NetAddress>> {};

TEST_P(ValidNetAddress, PrintsAndParsesToTheSame) {
  const auto& [text, address] = GetParam();
  EXPECT_EQ(address.str(), text);
  NetAddress parsed;
  ASSERT_TRUE(NetAddress::parse(text, parsed));
  EXPECT_EQ(parsed, address);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ValidNetAddress,
    ::testing::Values(std::pair{"127.0.0.1:19999", NetAddress::tcp(IPv4::loopback(), 19999)},
                      std::pair{"0.0.0.0:0", NetAddress::tcp(IPv4(), 0)},
                      std::pair{"10.1.2.3:65535", NetAddress::tcp(IPv4(0x0a010203), 65535)},
                      std::pair{"unix:/run/a:b", NetAddress::unix_path("/run/a:b")},
                      std::pair{"unix:@policy", NetAddress::unix_path("@policy")},
                      std::pair{"unix:", NetAddress::unix_path("")}));

class InvalidNetAddress : public ::testing::TestWithParam<std::string> {};

TEST_P(InvalidNetAddress, IsRefusedAndChangesNothing) {
  NetAddress address = NetAddress::unix_path("before");
  EXPECT_FALSE(NetAddress::parse(GetParam(), address));
  EXPECT_EQ(address, NetAddress::unix_path("before"));
}

INSTANTIATE_TEST_SUITE_P(Table, InvalidNetAddress,
                         ::testing::Values("", ":", "127.0.0.1", "127.0.0.1:", ":80",
                                           "127.0.0.1:65536", "127.0.0.1:-1", "127.0.0.1:+1",
                                           "127.0.0.1:01", "127.0.0.1:80 ", "127.0.0.1: 80",
                                           "127.0.0.1:0x50", "localhost:80", "127.0.0.1:80:81",
                                           "UNIX:/run/a", "/run/a", "127.0.0.1:99999999999999"));

}  // namespace
