#include "framework/finder/allow_list.h"

#include <gtest/gtest.h>

#include <string>

namespace {

bool allows(const AllowList& list, const std::string& host) {
  IPv4 address;
  EXPECT_TRUE(IPv4::parse(host, address)) << host;
  return list.allows(NetAddress::tcp(address, 1024));
}

AllowList list_of(std::string_view net) {
  AllowList list;
  EXPECT_TRUE(list.add(net)) << net;
  return list;
}

TEST(AllowList, AllowsThisHostAlone) {
  const AllowList list;
  EXPECT_TRUE(allows(list, "127.0.0.1"));
  EXPECT_TRUE(allows(list, "127.255.255.255"));
  EXPECT_TRUE(list.allows(NetAddress::unix_path("/run/peer")));
  EXPECT_FALSE(allows(list, "126.255.255.255"));
  EXPECT_FALSE(allows(list, "128.0.0.0"));
  EXPECT_FALSE(allows(list, "0.0.0.0"));
  EXPECT_FALSE(allows(list, "10.0.0.1"));
}

TEST(AllowList, AllowsTheHostsOfANetAndStillThisHost) {
  const AllowList list = list_of("10.1.2.0/23");
  EXPECT_TRUE(allows(list, "10.1.2.0"));
  EXPECT_TRUE(allows(list, "10.1.3.255"));
  EXPECT_FALSE(allows(list, "10.1.1.255"));
  EXPECT_FALSE(allows(list, "10.1.4.0"));
  EXPECT_TRUE(allows(list, "127.0.0.1"));
}

TEST(AllowList, AllowsTheHostsOfSeveralNets) {
  AllowList list = list_of("10.0.0.0/8");
  EXPECT_TRUE(list.add("192.168.7.9/32"));
  EXPECT_TRUE(allows(list, "10.200.0.1"));
  EXPECT_TRUE(allows(list, "192.168.7.9"));
  EXPECT_FALSE(allows(list, "192.168.7.8"));
}

TEST(AllowList, AllowsEveryHostWithLengthZero) {
  const AllowList list = list_of("0.0.0.0/0");
  EXPECT_TRUE(allows(list, "0.0.0.0"));
  EXPECT_TRUE(allows(list, "255.255.255.255"));
}

TEST(AllowList, RefusesWhatIsNoNetAndStaysAsItWas) {
  for (const char* net :
       {"", "/", "10.0.0.0", "10.0.0.0/", "/8", "10.0.0.0/33", "10.0.0.0/-1", "10.0.0.0/+8",
        "10.0.0.0/08", "10.0.0.0/8 ", " 10.0.0.0/8", "10.0.0.0/8/8", "10.0.0/8", "10.0.0.256/32",
        "localhost/8", "10.0.0.0/255.0.0.0", "10.0.0.0/99999999999", "0.0.0.0/33",
        "128.0.0.0/33"}) {
    AllowList list;
    EXPECT_FALSE(list.add(net)) << net;
    EXPECT_FALSE(allows(list, "10.0.0.0")) << net;
  }
}

TEST(AllowList, RefusesANetWithBitsBehindItsLength) {
  for (const char* net : {"10.0.0.1/8", "10.1.2.1/31", "0.0.0.1/0"}) {
    AllowList list;
    EXPECT_FALSE(list.add(net)) << net;
  }
}

}  // namespace
