#include "framework/xrl/textual_form.h"

#include <gtest/gtest.h>

#include <string>

#include "framework/xrl/xrl.h"
#include "tests/unit/xrl/samples.h"

namespace {

TEST(TextualForm, OfEveryTypeIsAsDocumented) {
  const struct {
    XrlAtom atom;
    const char* text;
  } rows[] = {
      {XrlAtom("acl", std::uint32_t{10}), "acl:u32=10"},
      {XrlAtom("n", std::uint32_t{4294967295U}), "n:u32=4294967295"},
      {XrlAtom("n", std::int32_t{-2147483647 - 1}), "n:i32=-2147483648"},
      {XrlAtom("n", std::uint64_t{18446744073709551615U}), "n:u64=18446744073709551615"},
      {XrlAtom("n", std::int64_t{-9223372036854775807 - 1}), "n:i64=-9223372036854775808"},
      {XrlAtom("flag", true), "flag:bool=true"},
      {XrlAtom("flag", false), "flag:bool=false"},
      {XrlAtom("t", ""), "t:txt="},
      {XrlAtom("t", "Permit any"), "t:txt=Permit%20any"},
      {XrlAtom("name", "eth-0/1/1"), "name:txt=eth-0/1/1"},
      {XrlAtom("t", "A-Z_a.z~0/9"), "t:txt=A-Z_a.z~0/9"},
      {XrlAtom("t", "%&,:=?+#"), "t:txt=%25%26%2C%3A%3D%3F%2B%23"},
      {XrlAtom("host", IPv4::loopback()), "host:ipv4=127.0.0.1"},
      {XrlAtom("host", IPv6{{0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}}),
       "host:ipv6=fe80%3A%3A1"},
      {XrlAtom("port", Mac{{0x00, 0x1b, 0x21, 0, 0, 1}}), "port:mac=00%3A1b%3A21%3A00%3A00%3A01"},
      {XrlAtom("b", XrlAtom::Binary{0, 65, 255}), "b:binary=%00A%FF"},
      {XrlAtom("priorities", samples::numbers(2)), "priorities:list=:u32=0,:u32=1"},
      {XrlAtom("queues", XrlAtomList()), "queues:list="},
      {XrlAtom("a b", std::uint32_t{1}), "a%20b:u32=1"},
      {XrlAtom::unnamed(std::uint32_t{5}), ":u32=5"},
      {XrlAtom("l", samples::mixed()),
       "l:list=:u32=7,:txt=a%2Cb%26c%3Dd%3Ae,named:u32=8,inner:list=%3Au32%3D0%2C%3Au32%3D1,"
       ":bool=false"},
      {XrlAtom("l", samples::nested(3)), "l:list=:list=%3Alist%3D"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.atom.str(), row.text);
    EXPECT_EQ(XrlAtom::parse(row.text), row.atom) << row.text;
  }
}

TEST(TextualForm, OfAnEmptyListDiffersFromOneThatHoldsAnEmptyElement) {
  XrlAtomList empty_list_within;
  empty_list_within.append(XrlAtom::unnamed(XrlAtomList()));
  XrlAtomList empty_text_within;
  empty_text_within.append("");
  EXPECT_EQ(XrlAtomList().str(), "");
  EXPECT_EQ(empty_list_within.str(), ":list=");
  EXPECT_EQ(empty_text_within.str(), ":txt=");
  EXPECT_EQ(XrlAtomList::parse(""), XrlAtomList());
  EXPECT_EQ(XrlAtomList::parse(":list="), empty_list_within);
  EXPECT_EQ(XrlAtomList::parse(":txt="), empty_text_within);
}

TEST(TextualForm, ComesBackForEveryValue) {
  for (const XrlAtom& atom : samples::every_value()) {
    EXPECT_EQ(XrlAtom::parse(atom.str()), atom) << atom.str();
    XrlAtomList list;
    list.append(atom);
    list.append(std::uint32_t{1});
    if (!list.within_limits()) continue;  // one list more around the deepest
    EXPECT_EQ(XrlAtomList::parse(list.str()), list) << list.str();
  }
  const XrlArgs args = samples::every_value();
  EXPECT_EQ(XrlArgs::parse(args.str()), args);
}

TEST(TextualForm, ComesBackForEveryByteInNamesAndTexts) {
  for (const char byte : samples::every_byte()) {
    const std::string text(1, byte);
    const XrlAtom atom(text, text);
    EXPECT_EQ(XrlAtom::parse(atom.str()), atom);
    const Xrl request{text, "i/0.1/" + (byte == '/' ? std::string("m") : text), {}};
    EXPECT_EQ(Xrl::parse(request.str()), request) << request.str();
  }
}

TEST(TextualForm, EscapesAllButLettersDigitsAndAFewSigns) {
  const std::string_view plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.~/";
  for (int byte = 0; byte < 256; ++byte) {
    const char character = static_cast<char>(byte);
    const bool is_plain = plain.find(character) != std::string_view::npos;
    const std::string text = XrlAtom("a", std::string(1, character)).str();
    EXPECT_EQ(text.size(), std::string_view("a:txt=x").size() + (is_plain ? 0 : 2)) << byte;
  }
}

TEST(TextualForm, OfArgumentsJoinsAtomsByAmpersands) {
  const XrlArgs args = XrlArgs::parse("acl:u32=10&type:u32=0");
  ASSERT_EQ(args.size(), 2U);
  EXPECT_EQ(args[0], XrlAtom("acl", std::uint32_t{10}));
  EXPECT_EQ(args[1], XrlAtom("type", std::uint32_t{0}));
  EXPECT_EQ(args.str(), "acl:u32=10&type:u32=0");
  EXPECT_EQ(XrlArgs::parse(""), XrlArgs());
  EXPECT_EQ(XrlArgs().str(), "");
}

TEST(TextualForm, OfARequestNamesTargetMethodAndArguments) {
  const char text[] = "finder://policy/policy_config/0.1/create_acl?acl:u32=10&type:u32=0";
  const Xrl request = Xrl::parse(text);
  EXPECT_EQ(request.target, "policy");
  EXPECT_EQ(request.method, "policy_config/0.1/create_acl");
  EXPECT_EQ(request.args, XrlArgs::parse("acl:u32=10&type:u32=0"));
  EXPECT_EQ(request.str(), text);
}

TEST(TextualForm, OfARequestWithoutArgumentsEndsWithTheMethod) {
  const Xrl request = Xrl::parse("finder://policy/common/0.1/get_version");
  EXPECT_EQ(request.method, "common/0.1/get_version");
  EXPECT_TRUE(request.args.empty());
  EXPECT_EQ(request.str(), "finder://policy/common/0.1/get_version");
  EXPECT_EQ(Xrl::parse("finder://policy/common/0.1/get_version?"), request);
}

TEST(TextualForm, OfARequestEscapesASlashInTheTarget) {
  const Xrl request{"a/b?c", "i/0.1/m", {}};
  EXPECT_EQ(request.str(), "finder://a%2Fb%3Fc/i/0.1/m");
  EXPECT_EQ(Xrl::parse(request.str()), request);
}

TEST(TextualForm, TakesHexadecimalDigitsOfEitherCase) {
  EXPECT_EQ(XrlAtom::parse("t:txt=%2c%2C").text(), ",,");
}

TEST(TextualForm, TakesEscapesThatAreNotNeeded) {
  EXPECT_EQ(Xrl::parse("finder://p%6Flicy/co%6Dmon/0.1/get_%76ersion").str(),
            "finder://policy/common/0.1/get_version");
}

TEST(TextualForm, TakesAQuestionMarkWithoutArguments) {
  EXPECT_EQ(Xrl::parse("finder://t/i/0.1/m?").str(), "finder://t/i/0.1/m");
}

TEST(TextualForm, TakesAMinusInFrontOfZero) {
  EXPECT_EQ(XrlAtom::parse("n:i32=-0").str(), "n:i32=0");
}

TEST(TextualForm, TakesLeadingZerosOfNumbers) {
  EXPECT_EQ(XrlAtom::parse("n:u32=007").uint32(), 7U);
  EXPECT_EQ(XrlAtom::parse("n:i32=-007").int32(), -7);
}

TEST(TextualForm, OfLongListsIsReadAsItWasPrinted) {
  const XrlAtomList numbers = samples::numbers(100000);
  EXPECT_EQ(XrlAtomList::parse(numbers.str()), numbers);
  XrlAtomList mixed = samples::texts(100000);
  mixed.append(std::uint32_t{1});
  EXPECT_EQ(XrlAtomList::parse(mixed.str()), mixed);
}

}  // namespace
