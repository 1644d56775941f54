#include "framework/xrl/xrl_atom.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

#include "framework/xrl/xrl_atom_list.h"
#include "tests/unit/xrl/samples.h"

namespace {

std::string refusal(const std::function<void()>& call) {
  try {
    call();
  } catch (const XrlWrongType& error) {
    return error.str();
  }
  return "not refused";
}

TEST(XrlAtomType, NamesAreInverseOfEachOther) {
  const char* const names[] = {"none", "u32",  "i32",  "u64", "i64",    "bool",
                               "txt",  "ipv4", "ipv6", "mac", "binary", "list"};
  for (unsigned number = 0; number < 12; ++number) {
    const auto type = static_cast<XrlAtomType>(number);
    EXPECT_EQ(xrl_atom_type_name(type), names[number]);
    EXPECT_EQ(xrl_atom_type_from_name(names[number]), type);
  }
}

TEST(XrlAtomType, NoOtherTextIsAType) {
  for (const char* text : {"", "U32", "u33", "u32 ", "text", "string", "boolean"}) {
    EXPECT_EQ(xrl_atom_type_from_name(text), XrlAtomType::NONE) << text;
  }
  EXPECT_EQ(xrl_atom_type_name(static_cast<XrlAtomType>(12)), "none");
}

TEST(XrlAtom, WithoutAValueHasNoType) {
  const XrlAtom atom;
  EXPECT_EQ(atom.type(), XrlAtomType::NONE);
  EXPECT_EQ(atom.name(), "");
}

TEST(XrlAtom, HoldsTheValueAndTypeItWasMadeFrom) {
  const IPv6 ipv6{{1, 2, 3}};
  const Mac mac{{1, 2, 3}};
  EXPECT_EQ(XrlAtom("n", std::uint32_t{5}).uint32(), 5U);
  EXPECT_EQ(XrlAtom("n", std::int32_t{-5}).int32(), -5);
  EXPECT_EQ(XrlAtom("n", std::uint64_t{1} << 63U).uint64(), std::uint64_t{1} << 63U);
  EXPECT_EQ(XrlAtom("n", std::int64_t{-5}).int64(), -5);
  EXPECT_TRUE(XrlAtom("n", true).boolean());
  EXPECT_EQ(XrlAtom("n", std::string("text")).text(), "text");
  EXPECT_EQ(XrlAtom("n", "literal").text(), "literal");
  EXPECT_EQ(XrlAtom("n", IPv4(5)).ipv4(), IPv4(5));
  EXPECT_EQ(XrlAtom("n", ipv6).ipv6(), ipv6);
  EXPECT_EQ(XrlAtom("n", mac).mac(), mac);
  EXPECT_EQ(XrlAtom("n", XrlAtom::Binary{1, 2}).binary(), (XrlAtom::Binary{1, 2}));
  EXPECT_EQ(XrlAtom("n", samples::numbers(2)).list(), samples::numbers(2));
  EXPECT_EQ(XrlAtom("n", std::uint32_t{5}).name(), "n");
  EXPECT_EQ(XrlAtom::unnamed(std::uint32_t{5}).name(), "");
  EXPECT_EQ(XrlAtom::unnamed("literal").type(), XrlAtomType::TEXT);
}

TEST(XrlAtom, AskedForAnotherTypeNamesBoth) {
  const XrlAtom text("n", "five");
  const XrlAtom number("n", std::uint32_t{5});
  EXPECT_EQ(refusal([&] { (void)text.uint32(); }), "u32 expected, txt found");
  EXPECT_EQ(refusal([&] { (void)number.int32(); }), "i32 expected, u32 found");
  EXPECT_EQ(refusal([&] { (void)number.uint64(); }), "u64 expected, u32 found");
  EXPECT_EQ(refusal([&] { (void)number.int64(); }), "i64 expected, u32 found");
  EXPECT_EQ(refusal([&] { (void)number.boolean(); }), "bool expected, u32 found");
  EXPECT_EQ(refusal([&] { (void)number.text(); }), "txt expected, u32 found");
  EXPECT_EQ(refusal([&] { (void)number.ipv4(); }), "ipv4 expected, u32 found");
  EXPECT_EQ(refusal([&] { (void)number.ipv6(); }), "ipv6 expected, u32 found");
  EXPECT_EQ(refusal([&] { (void)number.mac(); }), "mac expected, u32 found");
  EXPECT_EQ(refusal([&] { (void)text.binary(); }), "binary expected, txt found");
  EXPECT_EQ(refusal([&] { (void)text.list(); }), "list expected, txt found");
  EXPECT_EQ(refusal([&] { (void)XrlAtom().uint32(); }), "u32 expected, none found");
}

TEST(XrlAtom, IsEqualWhenNameTypeAndValueAre) {
  const XrlAtom five("n", std::uint32_t{5});
  EXPECT_EQ(five, XrlAtom("n", std::uint32_t{5}));
  EXPECT_FALSE(five == XrlAtom("m", std::uint32_t{5}));
  EXPECT_FALSE(five == XrlAtom("n", std::uint32_t{6}));
  EXPECT_FALSE(five == XrlAtom("n", std::int32_t{5}));
  EXPECT_EQ(XrlAtom("l", samples::mixed()), XrlAtom("l", samples::mixed()));
  EXPECT_FALSE(XrlAtom("l", samples::mixed()) == XrlAtom("l", samples::numbers(1)));
}

TEST(XrlAtom, CopiesAreIndependentOfTheOriginal) {
  for (const XrlAtom& atom : samples::every_value()) {
    XrlAtom original = atom;
    XrlAtom copy("other", true);
    copy = original;
    original = XrlAtom("changed", std::uint32_t{1});
    EXPECT_EQ(copy, atom);
  }
}

TEST(XrlAtom, MovedFromHasNoType) {
  for (const XrlAtom& atom : samples::every_value()) {
    XrlAtom original = atom;
    XrlAtom target(std::move(original));
    EXPECT_EQ(target, atom);
    EXPECT_EQ(original.type(), XrlAtomType::NONE);  // NOLINT(bugprone-use-after-move)
    XrlAtom assigned;
    assigned = std::move(target);
    EXPECT_EQ(assigned, atom);
    EXPECT_EQ(target.type(), XrlAtomType::NONE);  // NOLINT(bugprone-use-after-move)
  }
}

TEST(XrlAtom, SelfAssignmentChangesNothing) {
  for (const XrlAtom& atom : samples::every_value()) {
    XrlAtom here = atom;
    XrlAtom& same = here;
    here = same;
    EXPECT_EQ(here, atom);
    here = std::move(same);
    EXPECT_EQ(here, atom);
  }
}

TEST(XrlAtomDeathTest, ANameLongerThanTheLimitIsAFaultOfOurs) {
  const std::string longest(xrl_limits::MAX_NAME_BYTES, 'n');
  EXPECT_EQ(XrlAtom(longest, true).name(), longest);
  EXPECT_DEATH(XrlAtom(longest + "n", true), "256 bytes");
}

}  // namespace
