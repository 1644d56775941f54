// Arguments that are whole but not the ones asked for, and what the caller is
// told.
#include <gtest/gtest.h>

#include <span>
#include <string>
#include <string_view>

#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/xrl_args.h"
#include "framework/xrl/xrl_args_codec.h"
#include "tests/unit/xrl/samples.h"

namespace {

ByteBuffer encode(std::string_view args) {
  ByteBuffer buffer;
  XrlArgsWriter writer(buffer);
  for (const XrlAtom& atom : XrlArgs::parse(args)) writer.atom(atom);
  return buffer;
}

// What a handler for `acl:u32 & type:u32` answers to `args`; empty when it
// takes them.
std::string create_acl(std::string_view args) {
  const ByteBuffer buffer = encode(args);
  XrlArgsReader in(buffer.bytes());
  std::uint32_t acl = 0;
  std::uint32_t type = 0;
  if (in.u32("acl", acl) && in.u32("type", type) && in.finish()) return {};
  EXPECT_EQ(in.bad_args().error(), XrlError::BAD_ARGS());
  EXPECT_EQ(in.bad_args().note(), in.problem());
  return in.problem();
}

// Likewise for `queues:list<u32>`.
std::string set_queues(std::string_view args) {
  const ByteBuffer buffer = encode(args);
  XrlArgsReader in(buffer.bytes());
  XrlAtomList queues;
  if (in.list("queues", queues, XrlAtomType::U32) && in.finish()) return {};
  return in.problem();
}

TEST(XrlArgsRefusals, TheRightArgumentsAreTakenInAnyOrder) {
  EXPECT_EQ(create_acl("acl:u32=10&type:u32=0"), "");
  EXPECT_EQ(create_acl("type:u32=0&acl:u32=10"), "");
}

TEST(XrlArgsRefusals, AMissingArgumentIsNamed) {
  EXPECT_EQ(create_acl(""), "missing argument 'acl'.");
  EXPECT_EQ(create_acl("type:u32=0"), "missing argument 'acl'.");
  EXPECT_EQ(create_acl("acl:u32=10"), "missing argument 'type'.");
  EXPECT_EQ(create_acl("acl:u32=10&colour:txt=red"), "missing argument 'type'.");
}

TEST(XrlArgsRefusals, AMisspeltArgumentIsNamedWithTheMissingOne) {
  EXPECT_EQ(create_acl("acll:u32=10&type:u32=0"), "missing argument 'acl' (found 'acll').");
  EXPECT_EQ(create_acl("acl:u32=10&tpye:u32=0"), "missing argument 'type' (found 'tpye').");
  EXPECT_EQ(create_acl("acl:u32=10&typo:u32=0&typ:u32=1"),
            "missing argument 'type' (found 'typo').");
}

TEST(XrlArgsRefusals, AnArgumentThatWasReadIsNoMisspelling) {
  const ByteBuffer buffer = encode("acl1:u32=1");
  XrlArgsReader in(buffer.bytes());
  std::uint32_t number = 0;
  EXPECT_TRUE(in.u32("acl1", number));
  EXPECT_FALSE(in.u32("acl2", number));
  EXPECT_EQ(in.problem(), "missing argument 'acl2'.");
}

TEST(XrlArgsRefusals, ASurplusArgumentIsNamed) {
  EXPECT_EQ(create_acl("acl:u32=10&type:u32=0&colour:txt=red"), "surplus argument 'colour'.");
  EXPECT_EQ(create_acl("colour:txt=red&acl:u32=10&type:u32=0"), "surplus argument 'colour'.");
  EXPECT_EQ(create_acl("acl:u32=10&type:u32=0&:u32=1"), "surplus argument ''.");
}

TEST(XrlArgsRefusals, AnArgumentOfAnotherTypeIsNamedWithBothTypes) {
  EXPECT_EQ(create_acl("acl:txt=10&type:u32=0"), "argument 'acl' is txt, u32 expected.");
  EXPECT_EQ(create_acl("acl:u32=10&type:i32=0"), "argument 'type' is i32, u32 expected.");
  EXPECT_EQ(set_queues("queues:u32=1"), "argument 'queues' is u32, list expected.");
}

TEST(XrlArgsRefusals, EveryGetterRefusesEveryOtherType) {
  for (const XrlAtom& atom : samples::every_value()) {
    ByteBuffer buffer;
    XrlArgsWriter(buffer).atom(atom);
    const auto refused = [&](XrlAtomType type, auto getter, auto value) {
      XrlArgsReader in(buffer.bytes());
      const bool taken = (in.*getter)(atom.name(), value) && in.finish();
      EXPECT_EQ(taken, type == atom.type()) << atom.str();
      if (!taken) {
        EXPECT_NE(in.problem().find("is " + std::string(xrl_atom_type_name(atom.type())) + ", " +
                                    std::string(xrl_atom_type_name(type)) + " expected."),
                  std::string::npos)
            << in.problem();
      }
    };
    refused(XrlAtomType::U32, &XrlArgsReader::u32, std::uint32_t{0});
    refused(XrlAtomType::I32, &XrlArgsReader::i32, std::int32_t{0});
    refused(XrlAtomType::U64, &XrlArgsReader::u64, std::uint64_t{0});
    refused(XrlAtomType::I64, &XrlArgsReader::i64, std::int64_t{0});
    refused(XrlAtomType::BOOLEAN, &XrlArgsReader::boolean, false);
    refused(XrlAtomType::TEXT, &XrlArgsReader::text, std::string_view());
    refused(XrlAtomType::IPV4, &XrlArgsReader::ipv4, IPv4());
    refused(XrlAtomType::IPV6, &XrlArgsReader::ipv6, IPv6());
    refused(XrlAtomType::MAC, &XrlArgsReader::mac, Mac());
    refused(XrlAtomType::BINARY, &XrlArgsReader::binary, std::span<const std::uint8_t>());
  }
}

TEST(XrlArgsRefusals, AnArgumentGivenTwiceIsNamed) {
  EXPECT_EQ(create_acl("acl:u32=1&acl:u32=2&type:u32=0"), "argument 'acl' given twice.");
  EXPECT_EQ(create_acl("acl:u32=1&type:u32=0&acl:u32=2"), "argument 'acl' given twice.");
  EXPECT_EQ(create_acl("acl:u32=1&type:u32=0&acl:txt=x"), "argument 'acl' given twice.");
  EXPECT_EQ(create_acl("type:u32=0&acl:u32=1&type:u32=0"), "argument 'type' given twice.");
}

TEST(XrlArgsRefusals, AnElementOfAnotherTypeIsNamedWithItsList) {
  EXPECT_EQ(set_queues("queues:list=:u32=1"), "");
  EXPECT_EQ(set_queues("queues:list=:txt=x"), "list 'queues' holds txt, u32 expected.");
  EXPECT_EQ(set_queues("queues:list=:u32=1,:bool=true"), "list 'queues' holds bool, u32 expected.");
  EXPECT_EQ(set_queues("queues:list=:list="), "list 'queues' holds list, u32 expected.");
  EXPECT_EQ(set_queues("queues:list=:u32=1,n:u32=2"),
            "list 'queues' holds named u32, u32 expected.");
}

TEST(XrlArgsRefusals, ARefusedArgumentLeavesTheOutputAlone) {
  const ByteBuffer buffer = encode("a:u32=1&l:list=:txt=x");
  std::string_view text = "before";
  XrlArgsReader wrong_type(buffer.bytes());
  EXPECT_FALSE(wrong_type.text("a", text));
  EXPECT_EQ(text, "before");
  XrlAtomList list = samples::numbers(1);
  XrlArgsReader wrong_element(buffer.bytes());
  EXPECT_FALSE(wrong_element.list("l", list, XrlAtomType::U32));
  EXPECT_EQ(list, samples::numbers(1));
}

TEST(XrlArgsRefusals, TheFirstProblemStays) {
  const ByteBuffer buffer = encode("acl:u32=1&type:txt=x");
  XrlArgsReader in(buffer.bytes());
  std::uint32_t number = 7;
  EXPECT_FALSE(in.u32("type", number));
  EXPECT_FALSE(in.u32("rule", number));
  EXPECT_FALSE(in.u32("acl", number));
  EXPECT_FALSE(in.finish());
  XrlArgs args;
  EXPECT_FALSE(in.all(args));
  EXPECT_EQ(number, 7U);
  EXPECT_EQ(in.problem(), "argument 'type' is txt, u32 expected.");
}

TEST(XrlArgsRefusals, AMissingArgumentIsNotForgottenWhereNoneIsLeft) {
  XrlArgsReader in({});
  std::uint32_t number = 7;
  EXPECT_FALSE(in.u32("acl", number));
  EXPECT_FALSE(in.finish());
  EXPECT_EQ(in.problem(), "missing argument 'acl'.");
}

TEST(XrlArgsRefusals, AnArgumentIsThereOnce) {
  const ByteBuffer buffer = encode("acl:u32=1&type:u32=0");
  XrlArgsReader in(buffer.bytes());
  std::uint32_t number = 7;
  EXPECT_TRUE(in.u32("type", number));
  EXPECT_FALSE(in.u32("type", number));
  EXPECT_EQ(in.problem(), "missing argument 'type'.");
}

TEST(XrlArgsRefusals, NothingIsTakenBehindDamage) {
  const ByteBuffer buffer = encode("acl:u32=1&type:u32=0");
  const auto bytes = buffer.bytes();
  XrlArgsReader in(bytes.first(bytes.size() - 1));
  std::uint32_t number = 7;
  EXPECT_FALSE(in.u32("type", number));
  EXPECT_FALSE(in.u32("acl", number));
  EXPECT_EQ(number, 7U);
}

TEST(XrlArgsRefusals, AProblemIsOnePrintableLineWhateverTheNames) {
  ByteBuffer buffer;
  XrlArgsWriter(buffer).u32("a\n'\xff", 1);
  XrlArgsReader in(buffer.bytes());
  EXPECT_FALSE(in.finish());
  EXPECT_EQ(in.problem(), "surplus argument 'a%0A%27%FF'.");
}

}  // namespace
