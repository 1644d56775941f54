#include "framework/base/host_name.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const IPv4 UNTOUCHED(0x01020304);

TEST(HostName, ADottedAddressIsTakenAsItIs) {
  IPv4 address;
  EXPECT_TRUE(resolve_host_name("10.1.2.3", address));
  EXPECT_EQ(address.str(), "10.1.2.3");
}

TEST(HostName, ANameThatTheMachineKnowsHasItsAddress) {
  IPv4 address;
  EXPECT_TRUE(resolve_host_name("localhost", address));
  EXPECT_TRUE(address.is_loopback()) << address.str();
}

TEST(HostName, WhatIsNoNameLeavesTheAddressAlone) {
  // Longer than a name may be, so that no name service is asked.
  for (const std::string& host : {std::string(), std::string(300, 'x')}) {
    IPv4 address = UNTOUCHED;
    EXPECT_FALSE(resolve_host_name(host, address)) << host;
    EXPECT_EQ(address, UNTOUCHED) << host;
  }
}

}  // namespace
