// Texts that are no atom, list or request: what is wrong, and at which byte.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "framework/xrl/limits.h"
#include "framework/xrl/xrl.h"
#include "tests/unit/xrl/samples.h"

namespace {

template <typename T>
std::string problem(std::string_view text) {
  try {
    (void)T::parse(text);
  } catch (const XrlParseError& error) {
    const std::string end = " at byte " + std::to_string(error.position());
    EXPECT_TRUE(error.str().ends_with(end)) << error.str();
    EXPECT_LE(error.position(), text.size());
    return error.str();
  }
  return "none";
}

// `text` as often as `count`, joined by `separator`.
std::string repeated(std::string_view text, std::size_t count, char separator) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) {
    if (i != 0) all += separator;
    all += text;
  }
  return all;
}

TEST(TextualFormRefusals, AnAtomHasNameTypeAndValue) {
  EXPECT_EQ(problem<XrlAtom>(""), "no ':' after the name at byte 0");
  EXPECT_EQ(problem<XrlAtom>("acl"), "no ':' after the name at byte 3");
  EXPECT_EQ(problem<XrlAtom>("acl=5"), "no ':' after the name at byte 5");
  EXPECT_EQ(problem<XrlAtom>("acl:u32"), "no '=' after the type at byte 7");
  EXPECT_EQ(problem<XrlAtom>("acl:=5"), "'' is no type at byte 4");
  EXPECT_EQ(problem<XrlAtom>("acl:u33=5"), "'u33' is no type at byte 4");
  EXPECT_EQ(problem<XrlAtom>("acl:none="), "'none' is no type at byte 4");
}

TEST(TextualFormRefusals, NumbersAreDecimalAndInRange) {
  EXPECT_EQ(problem<XrlAtom>("n:u32="), "'' is no u32 at byte 6");
  EXPECT_EQ(problem<XrlAtom>("n:u32=5x"), "'5x' is no u32 at byte 6");
  EXPECT_EQ(problem<XrlAtom>("n:u32=+5"), "'%2B5' is no u32 at byte 6");
  EXPECT_EQ(problem<XrlAtom>("n:u32= 5"), "'%205' is no u32 at byte 6");
  EXPECT_EQ(problem<XrlAtom>("n:u32=0x5"), "'0x5' is no u32 at byte 6");
  EXPECT_EQ(problem<XrlAtom>("n:u32=-1"), "'-1' is no u32 at byte 6");
  EXPECT_EQ(problem<XrlAtom>("n:u32=4294967296"), "'4294967296' is no u32 at byte 6");
  EXPECT_EQ(problem<XrlAtom>("n:i32=2147483648"), "'2147483648' is no i32 at byte 6");
  EXPECT_EQ(problem<XrlAtom>("n:i32=-2147483649"), "'-2147483649' is no i32 at byte 6");
  EXPECT_EQ(problem<XrlAtom>("n:u64=18446744073709551616"),
            "'18446744073709551616' is no u64 at byte 6");
  EXPECT_EQ(problem<XrlAtom>("n:i64=9223372036854775808"),
            "'9223372036854775808' is no i64 at byte 6");
}

TEST(TextualFormRefusals, BoolsAndAddressesAreWellFormed) {
  EXPECT_EQ(problem<XrlAtom>("f:bool=1"), "'1' is no bool at byte 7");
  EXPECT_EQ(problem<XrlAtom>("f:bool=True"), "'True' is no bool at byte 7");
  EXPECT_EQ(problem<XrlAtom>("a:ipv4=127.0.0"), "'127.0.0' is no ipv4 at byte 7");
  EXPECT_EQ(problem<XrlAtom>("a:ipv6=fe80"), "'fe80' is no ipv6 at byte 7");
  EXPECT_EQ(problem<XrlAtom>("a:mac=00"), "'00' is no mac at byte 6");
  EXPECT_EQ(problem<XrlAtom>("a:ipv4=" + std::string(65, '1')),
            "more than 64 bytes of text at byte 71");
}

TEST(TextualFormRefusals, BytesThatHaveAMeaningAreEscaped) {
  EXPECT_EQ(problem<XrlAtom>("t:txt=hello world"), "a byte to be written %20 at byte 11");
  EXPECT_EQ(problem<XrlAtom>("t:txt=a:b"), "a byte to be written %3A at byte 7");
  EXPECT_EQ(problem<XrlAtom>("t:txt=a&b"), "a byte to be written %26 at byte 7");
  EXPECT_EQ(problem<XrlAtom>("a b:txt="), "a byte to be written %20 at byte 1");
  EXPECT_EQ(problem<XrlAtom>("t:txt=\xc3\xa9"), "a byte to be written %C3 at byte 6");
  EXPECT_EQ(problem<XrlAtom>(std::string_view("t:txt=\0", 7)),
            "a byte to be written %00 at byte 6");
}

TEST(TextualFormRefusals, AnEscapeHasTwoHexadecimalDigits) {
  for (const char* value : {"%", "%4", "%4g", "%g4", "%%20", "%-1"}) {
    EXPECT_EQ(problem<XrlAtom>("t:txt=x" + std::string(value)),
              "'%' without two hexadecimal digits at byte 7");
  }
}

TEST(TextualFormRefusals, ArgumentsAreAllThere) {
  EXPECT_EQ(problem<XrlArgs>("a:u32=1&"), "no ':' after the name at byte 8");
  EXPECT_EQ(problem<XrlArgs>("&a:u32=1"), "no ':' after the name at byte 0");
  EXPECT_EQ(problem<XrlArgs>("a:u32=1&&b:u32=2"), "no ':' after the name at byte 8");
  EXPECT_EQ(problem<XrlArgs>("a:u32=1&b:u32=x"), "'x' is no u32 at byte 14");
}

TEST(TextualFormRefusals, ElementsAreAllThere) {
  EXPECT_EQ(problem<XrlAtom>("l:list=:u32=1,"), "no ':' after the name at byte 14");
  EXPECT_EQ(problem<XrlAtom>("l:list=,:u32=1"), "no ':' after the name at byte 7");
  EXPECT_EQ(problem<XrlAtom>("l:list=:u32=1,:u32=x"), "'x' is no u32 at byte 19");
  EXPECT_EQ(problem<XrlArgs>("a:u32=1&l:list=:u32=x"), "'x' is no u32 at byte 20");
}

TEST(TextualFormRefusals, APositionInAListWithinAListIsThatInTheWholeText) {
  EXPECT_EQ(problem<XrlAtom>("l:list=:list=%3Au32%3D1%2C%3Au32%3Dx"), "'x' is no u32 at byte 35");
  EXPECT_EQ(problem<XrlAtom>("l:list=:list=%3Alist%3D%253Au32%253Dx"), "'x' is no u32 at byte 36");
  EXPECT_EQ(problem<XrlAtom>("l:list=:list=:u32=1"), "a byte to be written %3A at byte 13");
}

TEST(TextualFormRefusals, ARequestHasTargetAndMethod) {
  EXPECT_EQ(problem<Xrl>(""), "no 'finder://' in front at byte 0");
  EXPECT_EQ(problem<Xrl>("http://policy/i/0.1/m"), "no 'finder://' in front at byte 0");
  EXPECT_EQ(problem<Xrl>("finder://policy"), "no '/' after the target at byte 15");
  EXPECT_EQ(problem<Xrl>("finder://policy?a/b"), "no '/' after the target at byte 15");
  EXPECT_EQ(problem<Xrl>("finder:///i/0.1/m"), "no target at byte 9");
  EXPECT_EQ(problem<Xrl>("finder://policy/"), "'' is no INTERFACE/VERSION/METHOD at byte 16");
  EXPECT_EQ(problem<Xrl>("finder://policy/i/0.1"),
            "'i/0.1' is no INTERFACE/VERSION/METHOD at byte 16");
  EXPECT_EQ(problem<Xrl>("finder://policy/i//m"),
            "'i//m' is no INTERFACE/VERSION/METHOD at byte 16");
  EXPECT_EQ(problem<Xrl>("finder://policy/i/0.1/m/n"),
            "'i/0.1/m/n' is no INTERFACE/VERSION/METHOD at byte 16");
  EXPECT_EQ(problem<Xrl>("finder://po licy/i/0.1/m"), "a byte to be written %20 at byte 11");
  EXPECT_EQ(problem<Xrl>("finder://policy/i/0.1/m m"), "a byte to be written %20 at byte 23");
  EXPECT_EQ(problem<Xrl>("finder://policy/i/0.1/m?a:u32=x"), "'x' is no u32 at byte 30");
  EXPECT_EQ(problem<Xrl>("finder://policy/i/0.1/m?a:txt=b?"),
            "a byte to be written %3F at byte 31");
}

TEST(TextualFormRefusals, AWrongPartIsQuotedInPartOnly) {
  EXPECT_EQ(problem<XrlAtom>("n:u32=" + std::string(40, '1')),
            "'" + std::string(32, '1') + "...' is no u32 at byte 6");
}

TEST(TextualFormRefusals, ATextIsAtMostTheLimitLongOnceDecoded) {
  std::string longest(xrl_limits::MAX_TEXT_BYTES - 1, 'x');
  longest += "%FF";
  for (const std::string begin : {":txt=", ":binary="}) {
    std::string text = begin;
    text += longest;
    EXPECT_EQ(problem<XrlAtom>(text), "none");
    EXPECT_EQ(problem<XrlAtom>(text + "%FF"),
              "more than 1048576 bytes of text at byte " + std::to_string(text.size()));
  }
}

TEST(TextualFormRefusals, ANameIsAtMostTheLimitLong) {
  const std::string longest(xrl_limits::MAX_NAME_BYTES, 'n');
  EXPECT_EQ(problem<XrlAtom>(longest + ":u32=1"), "none");
  EXPECT_EQ(problem<XrlAtom>(longest + "n:u32=1"), "more than 255 bytes of text at byte 255");
  EXPECT_EQ(problem<Xrl>("finder://" + longest + "/i/0.1/m"), "none");
  EXPECT_EQ(problem<Xrl>("finder://" + longest + "n/i/0.1/m"),
            "more than 255 bytes of text at byte 264");
}

TEST(TextualFormRefusals, AListHasAtMostTheLimitsElements) {
  const std::string most = repeated(":bool=true", xrl_limits::MAX_LIST_ELEMENTS, ',');
  EXPECT_EQ(XrlAtomList::parse(most).size(), xrl_limits::MAX_LIST_ELEMENTS);
  EXPECT_EQ(problem<XrlAtomList>(most + ",:bool=true"),
            "more than 1048576 elements at byte " + std::to_string(most.size() + 1));
}

TEST(TextualFormRefusals, ThereAreAtMostTheLimitsArguments) {
  const std::string most = repeated("a:u32=1", xrl_limits::MAX_ARGUMENTS, '&');
  EXPECT_EQ(XrlArgs::parse(most).size(), xrl_limits::MAX_ARGUMENTS);
  EXPECT_EQ(problem<XrlArgs>(most + "&a:u32=1"),
            "more than 1024 arguments at byte " + std::to_string(most.size() + 1));
}

TEST(TextualFormRefusals, ListsLieInEachOtherUpToTheLimit) {
  EXPECT_EQ(problem<XrlAtomList>(samples::nested(8).str()), "none");
  const std::string too_deep = samples::nested(9).str();
  EXPECT_EQ(problem<XrlAtomList>(too_deep),
            "more than 8 lists in each other at byte " + std::to_string(too_deep.size()));
}

}  // namespace
