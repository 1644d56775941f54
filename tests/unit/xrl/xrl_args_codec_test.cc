#include "framework/xrl/xrl_args_codec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/xrl_args.h"
#include "tests/unit/xrl/samples.h"
#include "tests/unit/xrl/wire_bytes.h"

namespace {

using wire_bytes::hex;
using wire_bytes::span_of;

XrlArgs read_all(const ByteBuffer& buffer) {
  XrlArgsReader reader(buffer.bytes());
  XrlArgs args;
  EXPECT_TRUE(reader.all(args)) << reader.problem();
  EXPECT_TRUE(reader.finish());
  return args;
}

// One argument of each type.
void write_every_type(XrlArgsWriter writer) {
  const std::uint8_t binary[] = {0x00, 0xff};
  writer.u32("a", 1);
  writer.i32("b", -2);
  writer.u64("c", 3);
  writer.i64("d", -4);
  writer.boolean("e", true);
  writer.text("f", "hi");
  writer.ipv4("g", IPv4::loopback());
  writer.ipv6("h", IPv6{{0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}});
  writer.mac("i", Mac{{0x00, 0x1b, 0x21, 0x00, 0x00, 0x01}});
  writer.binary("j", binary);
  writer.list("k", samples::numbers(2));
}

TEST(XrlArgsWriter, LaysEveryTypeOutAsDocumented) {
  ByteBuffer buffer;
  write_every_type(XrlArgsWriter(buffer));
  EXPECT_EQ(hex(buffer.bytes()),
            "010161"
            "00000001"
            "020162"
            "fffffffe"
            "030163"
            "0000000000000003"
            "040164"
            "fffffffffffffffc"
            "050165"
            "01"
            "060166"
            "000000026869"
            "070167"
            "7f000001"
            "080168"
            "fe800000000000000000000000000001"
            "090169"
            "001b21000001"
            "0a016a"
            "0000000200ff"
            "0b016b"
            "01"
            "00000002"
            "00000008"
            "00000000"
            "00000001");
}

TEST(XrlArgsWriter, LaysMixedAndEmptyListsOutAsDocumented) {
  ByteBuffer buffer;
  XrlArgsWriter writer(buffer);
  XrlAtomList mixed = samples::numbers(1);
  mixed.append(XrlAtom("n", "x"));
  writer.list("m", mixed);
  writer.list("e", XrlAtomList());
  EXPECT_EQ(hex(buffer.bytes()),
            "0b016d"
            "00"
            "00000002"
            "0000000e"
            "0100"
            "00000000"
            "06016e"
            "0000000178"
            "0b0165"
            "00"
            "00000000"
            "00000000");
}

TEST(XrlArgsWriter, AppendsBehindWhatTheBufferHolds) {
  ByteBuffer buffer;
  buffer.append("head", 4);
  XrlArgsWriter(buffer).boolean("b", false);
  EXPECT_EQ(hex(buffer.bytes()),
            "68656164"
            "050162"
            "00");
}

TEST(XrlArgsWriter, WritesAnAtomAsItsTypedFunctionDoes) {
  ByteBuffer typed;
  write_every_type(XrlArgsWriter(typed));
  ByteBuffer by_atoms;
  XrlArgsWriter writer(by_atoms);
  for (const XrlAtom& atom : read_all(typed)) writer.atom(atom);
  EXPECT_EQ(hex(by_atoms.bytes()), hex(typed.bytes()));
}

TEST(XrlArgsCodec, GivesEveryValueBack) {
  const XrlArgs args = samples::every_value();
  ByteBuffer buffer;
  bool past_limit = false;
  XrlArgsWriter writer(buffer, &past_limit);
  for (const XrlAtom& atom : args) writer.atom(atom);
  EXPECT_FALSE(past_limit);
  EXPECT_EQ(read_all(buffer), args);
}

TEST(XrlArgsReader, ReadsEveryTypeInTheOrderWritten) {
  ByteBuffer buffer;
  write_every_type(XrlArgsWriter(buffer));
  XrlArgsReader reader(buffer.bytes());
  std::uint32_t a = 0;
  std::int32_t b = 0;
  std::uint64_t c = 0;
  std::int64_t d = 0;
  bool e = false;
  std::string_view f;
  IPv4 g;
  IPv6 h;
  Mac i;
  std::span<const std::uint8_t> j;
  XrlAtomList k;
  EXPECT_TRUE(reader.u32("a", a) && reader.i32("b", b) && reader.u64("c", c) &&
              reader.i64("d", d) && reader.boolean("e", e) && reader.text("f", f) &&
              reader.ipv4("g", g) && reader.ipv6("h", h) && reader.mac("i", i) &&
              reader.binary("j", j) && reader.list("k", k, XrlAtomType::U32) && reader.finish());
  EXPECT_EQ(a, 1U);
  EXPECT_EQ(b, -2);
  EXPECT_EQ(c, 3U);
  EXPECT_EQ(d, -4);
  EXPECT_TRUE(e);
  EXPECT_EQ(f, "hi");
  EXPECT_EQ(g, IPv4::loopback());
  EXPECT_EQ(h.str(), "fe80::1");
  EXPECT_EQ(i.str(), "00:1b:21:00:00:01");
  EXPECT_EQ(hex(j), "00ff");
  EXPECT_EQ(k, samples::numbers(2));
  EXPECT_EQ(reader.problem(), "");
}

TEST(XrlArgsReader, ReadsEveryTypeInTheReverseOrder) {
  ByteBuffer buffer;
  write_every_type(XrlArgsWriter(buffer));
  XrlArgsReader reader(buffer.bytes());
  std::uint32_t a = 0;
  std::int32_t b = 0;
  std::uint64_t c = 0;
  std::int64_t d = 0;
  bool e = false;
  std::string_view f;
  IPv4 g;
  IPv6 h;
  Mac i;
  std::span<const std::uint8_t> j;
  XrlAtomList k;
  EXPECT_TRUE(reader.list("k", k) && reader.binary("j", j) && reader.mac("i", i) &&
              reader.ipv6("h", h) && reader.ipv4("g", g) && reader.text("f", f) &&
              reader.boolean("e", e) && reader.i64("d", d) && reader.u64("c", c) &&
              reader.i32("b", b) && reader.u32("a", a) && reader.finish());
  EXPECT_EQ(a, 1U);
  EXPECT_EQ(b, -2);
  EXPECT_EQ(c, 3U);
  EXPECT_EQ(d, -4);
  EXPECT_TRUE(e);
  EXPECT_EQ(f, "hi");
  EXPECT_EQ(g, IPv4::loopback());
  EXPECT_EQ(h.str(), "fe80::1");
  EXPECT_EQ(i.str(), "00:1b:21:00:00:01");
  EXPECT_EQ(hex(j), "00ff");
  EXPECT_EQ(k, samples::numbers(2));
}

TEST(XrlArgsReader, FindsArgumentsInEveryOrder) {
  ByteBuffer buffer;
  XrlArgsWriter writer(buffer);
  writer.u32("acl", 10);
  writer.text("name", "ge1");
  writer.u32("rule", 7);
  std::vector<std::string> order = {"acl", "name", "rule"};
  do {
    XrlArgsReader reader(buffer.bytes());
    for (const std::string& name : order) {
      std::uint32_t number = 0;
      std::string_view text;
      EXPECT_TRUE(name == "name" ? reader.text(name, text) : reader.u32(name, number));
      EXPECT_EQ(text, name == "name" ? "ge1" : "");
      EXPECT_EQ(number, name == "acl" ? 10U : name == "rule" ? 7U : 0U);
    }
    EXPECT_TRUE(reader.finish()) << reader.problem();
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST(XrlArgsReader, TextsBinariesAndListsLieInTheFrame) {
  ByteBuffer buffer;
  XrlArgsWriter writer(buffer);
  writer.text("t", "text");
  writer.list("l", samples::texts(3));
  XrlArgsReader reader(buffer.bytes());
  std::string_view text;
  XrlAtomList list;
  ASSERT_TRUE(reader.text("t", text) && reader.list("l", list, XrlAtomType::TEXT));
  const auto* begin = reinterpret_cast<const char*>(buffer.data());
  EXPECT_EQ(text.data(), begin + 2 + 1 + 4);
  EXPECT_EQ(list.encoded().data() + list.encoded().size(), begin + buffer.size());
}

TEST(XrlArgsReader, OfNoArgumentsIsFinishedAtOnce) {
  XrlArgsReader reader({});
  EXPECT_TRUE(reader.finish());
  XrlArgs args;
  EXPECT_TRUE(reader.all(args));
  EXPECT_TRUE(args.empty());
}

TEST(XrlArgsReader, AllArgumentsAreThereWhicheverWereRead) {
  ByteBuffer buffer;
  write_every_type(XrlArgsWriter(buffer));
  XrlArgsReader reader(buffer.bytes());
  std::int32_t second = 0;
  EXPECT_TRUE(reader.i32("b", second));
  XrlArgs args;
  EXPECT_TRUE(reader.all(args));
  EXPECT_EQ(args, read_all(buffer));
}

TEST(XrlArgsReader, AnyListIsTakenWhenNoElementTypeIsAskedFor) {
  for (const XrlAtomList& list : {XrlAtomList(), samples::numbers(1), samples::texts(2),
                                  samples::mixed(), samples::nested(3)}) {
    ByteBuffer buffer;
    XrlArgsWriter(buffer).list("l", list);
    XrlArgsReader reader(buffer.bytes());
    XrlAtomList found;
    EXPECT_TRUE(reader.list("l", found) && reader.finish());
    EXPECT_EQ(found, list);
  }
}

TEST(XrlArgsReader, AnEmptyListSatisfiesEveryElementType) {
  ByteBuffer buffer;
  XrlArgsWriter(buffer).list("l", XrlAtomList());
  for (unsigned type = 0; type <= 11; ++type) {
    XrlArgsReader reader(buffer.bytes());
    XrlAtomList found = samples::numbers(1);
    EXPECT_TRUE(reader.list("l", found, static_cast<XrlAtomType>(type)) && reader.finish());
    EXPECT_TRUE(found.empty());
  }
}

TEST(XrlArgsReader, AListWrittenAsWholeAtomsOfOneTypeIsOneOfThatType) {
  const std::string bytes =
      wire_bytes::atom(11, "l",
                       wire_bytes::list(0, 2,
                                        wire_bytes::atom(1, "", wire_bytes::u32(0)) +
                                            wire_bytes::atom(1, "", wire_bytes::u32(1))));
  XrlArgsReader reader(span_of(bytes));
  XrlAtomList list;
  EXPECT_TRUE(reader.list("l", list, XrlAtomType::U32) && reader.finish()) << reader.problem();
  EXPECT_EQ(list, samples::numbers(2));
}

TEST(XrlArgsReader, ListsOfTheMostElementsArrive) {
  for (const std::uint32_t count : {65536U, xrl_limits::MAX_LIST_ELEMENTS}) {
    for (const XrlAtomList& list : {samples::numbers(count), samples::texts(count)}) {
      ByteBuffer buffer;
      XrlArgsWriter(buffer).list("l", list);
      XrlArgsReader reader(buffer.bytes());
      XrlAtomList found;
      ASSERT_TRUE(reader.list("l", found, list.element_type()) && reader.finish());
      EXPECT_EQ(found.size(), count);
      EXPECT_EQ(found, list);
    }
  }
}

TEST(XrlArgsWriter, RefusesOneElementMoreThanTheMost) {
  bool past_limit = false;
  ByteBuffer buffer;
  XrlArgsWriter writer(buffer, &past_limit);
  writer.list("l", samples::numbers(xrl_limits::MAX_LIST_ELEMENTS));
  EXPECT_FALSE(past_limit);
  buffer.clear();
  writer.list("l", samples::numbers(xrl_limits::MAX_LIST_ELEMENTS + 1));
  EXPECT_TRUE(past_limit);
  EXPECT_EQ(read_all(buffer).find("l")->list(), XrlAtomList());
}

TEST(XrlArgsWriter, RefusesOneByteMoreThanTheLongestText) {
  const std::string longest(xrl_limits::MAX_TEXT_BYTES, 'x');
  const std::string too_long = longest + "x";
  bool past_limit = false;
  ByteBuffer buffer;
  XrlArgsWriter writer(buffer, &past_limit);
  writer.text("t", longest);
  writer.binary("b", span_of(longest));
  EXPECT_FALSE(past_limit);
  EXPECT_EQ(read_all(buffer).find("t")->text(), longest);
  buffer.clear();
  writer.text("t", too_long);
  EXPECT_TRUE(past_limit);
  past_limit = false;
  writer.binary("b", span_of(too_long));
  EXPECT_TRUE(past_limit);
  EXPECT_EQ(read_all(buffer).str(), "t:txt=&b:binary=");
}

TEST(XrlArgsWriter, RefusesOneListMoreInEachOtherThanTheMost) {
  bool past_limit = false;
  ByteBuffer buffer;
  XrlArgsWriter writer(buffer, &past_limit);
  writer.list("l", samples::nested(xrl_limits::MAX_LIST_DEPTH));
  EXPECT_FALSE(past_limit);
  writer.list("m", samples::nested(xrl_limits::MAX_LIST_DEPTH + 1));
  EXPECT_TRUE(past_limit);
  EXPECT_EQ(read_all(buffer).find("m")->list(), XrlAtomList());
}

TEST(XrlArgsWriter, RefusesWithoutSomeoneToTell) {
  ByteBuffer buffer;
  XrlArgsWriter(buffer).text("t", std::string(xrl_limits::MAX_TEXT_BYTES + 1, 'x'));
  EXPECT_EQ(read_all(buffer).str(), "t:txt=");
}

TEST(XrlArgs, FindsTheFirstOfAName) {
  XrlArgs args;
  EXPECT_TRUE(args.empty());
  EXPECT_EQ(args.find("a"), nullptr);
  args.add(XrlAtom("a", std::uint32_t{1}));
  args.add(XrlAtom("b", std::uint32_t{2}));
  args.add(XrlAtom("a", std::uint32_t{3}));
  EXPECT_EQ(args.size(), 3U);
  EXPECT_EQ(args.find("a"), &args[0]);
  EXPECT_EQ(args.find("b"), &args[1]);
  EXPECT_EQ(args.find("c"), nullptr);
}

TEST(XrlArgs, WithANameTwiceStillPassTheWireInOrder) {
  XrlArgs args;
  args.add(XrlAtom("a", std::uint32_t{1}));
  args.add(XrlAtom("a", "again"));
  ByteBuffer buffer;
  XrlArgsWriter writer(buffer);
  for (const XrlAtom& atom : args) writer.atom(atom);
  EXPECT_EQ(read_all(buffer), args);
}

}  // namespace
