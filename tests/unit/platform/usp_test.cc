#include "platform/usp.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/card_id.h"

namespace {

std::string read(std::string_view name) {
  Usp usp{91, 92, 93};
  const int result = ifname_to_usp(name, usp);
  if (result == -1 && usp == Usp{91, 92, 93}) return "untouched";
  return std::to_string(result) + ": " + std::to_string(usp.unit) + "/" + std::to_string(usp.slot) +
         "/" + std::to_string(usp.port);
}

}  // namespace

TEST(Usp, ThreeNumbersNameUnitSlotAndPort) {
  EXPECT_EQ(read("1/2/3"), "0: 1/2/3");
}

TEST(Usp, LettersAndAHyphenMayStandInFront) {
  EXPECT_EQ(read("eth-1/2/3"), "0: 1/2/3");
  EXPECT_EQ(read("GE-0/12/48"), "0: 0/12/48");
}

TEST(Usp, ThePrefixMayHaveAnyLetterAndNoNeighbourOfOne) {
  for (const char* name : {"a-1/2/3", "z-1/2/3", "A-1/2/3", "Z-1/2/3", "azAZ-1/2/3"}) {
    EXPECT_EQ(read(name), "0: 1/2/3") << name;
  }
  for (const char* name : {"`-1/2/3", "{-1/2/3", "@-1/2/3", "[-1/2/3"}) {
    EXPECT_EQ(read(name), "untouched") << name;
  }
}

TEST(Usp, ThePrefixIsOneRunOfLettersWithItsHyphen) {
  for (const char* name : {"-1/2/3", "eth1/2/3", "eth--1/2/3", "eth0-1/2/3", "e t-1/2/3", "eth-",
                           "eth-ge-1/2/3", "\xc3\xa4-1/2/3", "eth_1/2/3"}) {
    EXPECT_EQ(read(name), "untouched") << name;
  }
}

TEST(Usp, AnAggregateOrAVlanInterfaceIsNoPort) {
  for (const char* name : {"lag1", "vlan10", "lag-1", "", "/", "//", "1", "1/2", "eth-1/2"}) {
    EXPECT_EQ(read(name), "untouched") << name;
  }
}

TEST(Usp, WhatStandsBehindTheNameIsNotLookedAt) {
  for (const std::size_t length : {0U, 1U, 2U, 3U, 4U}) {
    EXPECT_EQ(read(std::string_view("1/2/3", length)), "untouched") << length;
  }
  EXPECT_EQ(read(std::string_view("1/2/34", 5)), "0: 1/2/3");
}

TEST(Usp, NothingMayFollowThePort) {
  for (const char* name : {"1/2/3/4", "1/2/3/", "1/2/3 ", "1/2/3\n", "1/2/3a", "1/2/3.100"}) {
    EXPECT_EQ(read(name), "untouched") << name;
  }
  EXPECT_EQ(read(std::string_view("1/2/3\0", 6)), "untouched");
}

TEST(Usp, NumbersAreDecimalDigitsOnly) {
  for (const char* name : {"+1/2/3", "1/-2/3", "1/2/-3", " 1/2/3", "1/ 2/3", "0x1/2/3", "1/2/1e1",
                           "1//3", "/2/3", "1/2/", "a/2/3", "1/2/\xd9\xa3"}) {
    EXPECT_EQ(read(name), "untouched") << name;
  }
}

TEST(Usp, LeadingZerosDoNotCount) {
  EXPECT_EQ(read("01/002/0003"), "0: 1/2/3");
  EXPECT_EQ(read("0/1/" + std::string(1000, '0') + "7"), "0: 0/1/7");
}

TEST(Usp, NumbersPastTheirLimitsNameNoPort) {
  EXPECT_EQ(read("16777214/255/4294967295"), "0: 16777214/255/4294967295");
  for (const char* name :
       {"16777215/1/1", "1/256/1", "1/1/4294967296", "4294967297/1/1", "1/4294967297/1",
        "18446744073709551617/1/1", "1/1/99999999999999999999999999999999"}) {
    EXPECT_EQ(read(name), "untouched") << name;
  }
}

TEST(CardId, APortsCardIsNumberedByUnitAndSlot) {
  EXPECT_EQ(get_card_id("0/0/1"), 16U);
  EXPECT_EQ(get_card_id("eth-0/1/1"), 17U);
  EXPECT_EQ(get_card_id("eth-0/1/48"), 17U);
  EXPECT_EQ(get_card_id("1/2/3"), 16U + 256U + 2U);
}

TEST(CardId, CardsOfNeighbouringUnitsNeverShareAnId) {
  EXPECT_EQ(get_card_id("0/255/1"), 271U);
  EXPECT_EQ(get_card_id("1/0/1"), 272U);
  EXPECT_EQ(get_card_id("16777214/255/1"), 4294967055U);
}

TEST(CardId, AnyOtherNameHasNoCardOfItsOwn) {
  for (const char* name : {"lag1", "", "vlan10", "0/256/1", "16777215/0/1", "eth0/1/1"}) {
    EXPECT_EQ(get_card_id(name), NO_CARD_ID) << name;
  }
}
