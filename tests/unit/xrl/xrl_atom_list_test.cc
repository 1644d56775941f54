#include "framework/xrl/xrl_atom_list.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "framework/xrl/limits.h"
#include "tests/unit/xrl/samples.h"
#include "tests/unit/xrl/wire_bytes.h"

namespace {

using wire_bytes::atom;
using wire_bytes::text;
using wire_bytes::u32;

std::string refusal(const std::function<void()>& call) {
  try {
    call();
  } catch (const XrlWrongType& error) {
    return error.str();
  }
  return "not refused";
}

std::vector<XrlAtom> atoms_of(const XrlAtomList& list) {
  std::vector<XrlAtom> atoms;
  for (const XrlAtom& element : list.atoms()) atoms.push_back(element);
  return atoms;
}

TEST(XrlAtomList, IsEmptyAtFirst) {
  const XrlAtomList list;
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(list.size(), 0U);
  EXPECT_EQ(list.element_type(), XrlAtomType::NONE);
  EXPECT_TRUE(atoms_of(list).empty());
}

TEST(XrlAtomList, AnEmptyOneHoldsOnlyWhatOneAsksFor) {
  const XrlAtomList list;
  EXPECT_TRUE(list.holds_only(XrlAtomType::U32));
  EXPECT_TRUE(list.holds_only(XrlAtomType::TEXT));
  EXPECT_EQ(list.u32s().size(), 0U);
  EXPECT_EQ(list.texts().begin(), list.texts().end());
}

TEST(XrlAtomList, OfNumbersIsWalkedInOrder) {
  const XrlAtomList list = samples::numbers(3);
  EXPECT_TRUE(list.holds_only(XrlAtomType::U32));
  EXPECT_FALSE(list.holds_only(XrlAtomType::TEXT));
  std::vector<std::uint32_t> walked;
  for (const std::uint32_t number : list.u32s()) walked.push_back(number);
  EXPECT_EQ(walked, (std::vector<std::uint32_t>{0, 1, 2}));
  EXPECT_EQ(list.u32_at(2), 2U);
  EXPECT_EQ(list.u32s().size(), 3U);
}

TEST(XrlAtomList, OfTextsIsWalkedInOrder) {
  XrlAtomList list;
  list.append("");
  list.append(std::string_view("a\0b", 3));
  list.append(std::string(1000, 'x'));
  EXPECT_TRUE(list.holds_only(XrlAtomType::TEXT));
  std::vector<std::string> walked;
  for (const std::string_view each : list.texts()) walked.emplace_back(each);
  EXPECT_EQ(walked, (std::vector<std::string>{"", std::string("a\0b", 3), std::string(1000, 'x')}));
  EXPECT_EQ(list.texts().size(), 3U);
}

TEST(XrlAtomList, OfOneTypeKeepsBareValuesHoweverTheyAreAppended) {
  XrlAtomList list;
  list.append(std::uint32_t{1});
  list.append(XrlAtom::unnamed(std::uint32_t{2}));
  list.append(std::uint32_t{3});
  EXPECT_EQ(list.encoded(), u32(1) + u32(2) + u32(3));
  EXPECT_EQ(list.element_type(), XrlAtomType::U32);
  XrlAtomList texts;
  texts.append(XrlAtom::unnamed("a"));
  texts.append("bc");
  EXPECT_EQ(texts.encoded(), text("a") + text("bc"));
}

TEST(XrlAtomList, AnElementOfAnotherTypeMakesItMixed) {
  XrlAtomList list = samples::numbers(2);
  list.append("x");
  EXPECT_EQ(list.element_type(), XrlAtomType::NONE);
  EXPECT_FALSE(list.holds_only(XrlAtomType::U32));
  EXPECT_EQ(list.encoded(), atom(1, "", u32(0)) + atom(1, "", u32(1)) + atom(6, "", text("x")));
  list.append(std::uint32_t{5});
  EXPECT_EQ(list.size(), 4U);
  EXPECT_EQ(list.get(1), XrlAtom::unnamed(std::uint32_t{1}));
  EXPECT_EQ(list.get(2), XrlAtom::unnamed("x"));
  EXPECT_EQ(list.get(3), XrlAtom::unnamed(std::uint32_t{5}));
}

TEST(XrlAtomList, ANameMakesItMixed) {
  XrlAtomList first_named;
  first_named.append(XrlAtom("n", std::uint32_t{1}));
  EXPECT_FALSE(first_named.holds_only(XrlAtomType::U32));
  EXPECT_EQ(first_named.get(0).name(), "n");
  XrlAtomList last_named = samples::texts(2);
  last_named.append(XrlAtom("n", "2"));
  EXPECT_FALSE(last_named.holds_only(XrlAtomType::TEXT));
  EXPECT_EQ(last_named.get(1), XrlAtom::unnamed("1"));
  EXPECT_EQ(last_named.get(2), XrlAtom("n", "2"));
}

TEST(XrlAtomList, GivesEveryValueBackByIndexAndInOrder) {
  XrlAtomList all;
  for (const XrlAtom& value : samples::every_value()) {
    all.append(value);
    XrlAtomList twice;
    const XrlAtom unnamed = [&] {
      XrlAtomList one;
      one.append(value);
      return one.get(0);
    }();
    EXPECT_EQ(unnamed, value);
    twice.append(value);
    twice.append(value);
    EXPECT_EQ(twice.get(1), value);
    EXPECT_EQ(atoms_of(twice), (std::vector<XrlAtom>{value, value}));
  }
  const std::vector<XrlAtom> walked = atoms_of(all);
  const XrlArgs expected = samples::every_value();
  ASSERT_EQ(walked.size(), expected.size());
  for (std::size_t i = 0; i < walked.size(); ++i) {
    EXPECT_EQ(walked[i], expected[i]);
    EXPECT_EQ(all.get(i), expected[i]);
  }
}

TEST(XrlAtomList, AskedForAnotherElementTypeNamesBoth) {
  const XrlAtomList texts = samples::texts(1);
  EXPECT_EQ(refusal([&] { (void)texts.u32s(); }), "u32 expected, txt found");
  EXPECT_EQ(refusal([&] { (void)texts.u32_at(0); }), "u32 expected, txt found");
  const XrlAtomList numbers = samples::numbers(1);
  EXPECT_EQ(refusal([&] { (void)numbers.texts(); }), "txt expected, u32 found");
}

TEST(XrlAtomListDeathTest, AnElementThatIsNotThereIsAFaultOfTheCaller) {
  const XrlAtomList list = samples::numbers(2);
  EXPECT_DEATH((void)list.get(2), "element 2 of a list of 2");
  EXPECT_DEATH((void)list.u32_at(5), "element 5 of a list of 2");
  EXPECT_DEATH((void)XrlAtomList().u32_at(0), "element 0 of a list of 0");
}

TEST(XrlAtomListDeathTest, AnAtomWithoutAValueIsAFaultOfTheCaller) {
  XrlAtomList list = samples::numbers(2);
  EXPECT_DEATH(list.append(XrlAtom()), "element 2");
}

TEST(XrlAtomList, ClearedIsAsNew) {
  XrlAtomList list = samples::mixed();
  list.clear();
  EXPECT_EQ(list, XrlAtomList());
  list.append("x");
  EXPECT_TRUE(list.holds_only(XrlAtomType::TEXT));
}

TEST(XrlAtomList, IsEqualWhenElementsNamesAndOrderAre) {
  EXPECT_EQ(samples::numbers(3), samples::numbers(3));
  EXPECT_FALSE(samples::numbers(3) == samples::numbers(2));
  EXPECT_FALSE(samples::numbers(2) == samples::texts(2));
  XrlAtomList other_number;
  other_number.append(std::uint32_t{77});
  EXPECT_FALSE(samples::numbers(1) == other_number);
  EXPECT_EQ(samples::mixed(), samples::mixed());
  XrlAtomList named;
  named.append(XrlAtom("a", std::uint32_t{0}));
  EXPECT_FALSE(named == samples::numbers(1));
  XrlAtomList otherwise_named;
  otherwise_named.append(XrlAtom("b", std::uint32_t{0}));
  EXPECT_FALSE(named == otherwise_named);
}

TEST(XrlAtomList, BorrowedReadsWithoutACopy) {
  const std::string bytes = u32(5) + u32(6);
  const XrlAtomList list = XrlAtomList::borrow(XrlAtomType::U32, 2, bytes);
  EXPECT_EQ(list.encoded().data(), bytes.data());
  EXPECT_EQ(list.u32_at(1), 6U);
}

TEST(XrlAtomList, ACopyOfABorrowedOneOwnsItsElements) {
  std::string bytes = u32(5) + u32(6);
  const XrlAtomList list = XrlAtomList::borrow(XrlAtomType::U32, 2, bytes);
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy is what is tried
  const XrlAtomList copy(list);
  XrlAtomList assigned;
  assigned = list;
  bytes.assign(bytes.size(), 'x');
  EXPECT_EQ(copy.u32_at(0), 5U);
  EXPECT_EQ(assigned.u32_at(1), 6U);
}

TEST(XrlAtomList, MovedStaysBorrowedAndLeavesAnEmptyOne) {
  const std::string bytes = text("a") + text("b");
  XrlAtomList list = XrlAtomList::borrow(XrlAtomType::TEXT, 2, bytes);
  XrlAtomList moved(std::move(list));
  EXPECT_EQ(moved.encoded().data(), bytes.data());
  EXPECT_EQ(list, XrlAtomList());  // NOLINT(bugprone-use-after-move)
  XrlAtomList assigned = samples::numbers(1);
  assigned = std::move(moved);
  EXPECT_EQ(assigned.encoded().data(), bytes.data());
  EXPECT_EQ(assigned, [] {
    XrlAtomList expected;
    expected.append("a");
    expected.append("b");
    return expected;
  }());
}

TEST(XrlAtomList, MovedWhenShortKeepsItsElements) {
  XrlAtomList list = samples::numbers(1);
  XrlAtomList moved(std::move(list));
  EXPECT_EQ(moved, samples::numbers(1));
  list = std::move(moved);
  EXPECT_EQ(list, samples::numbers(1));
}

TEST(XrlAtomList, AppendingToABorrowedOneLeavesTheFrameAlone) {
  const std::string bytes = u32(0) + u32(1);
  XrlAtomList numbers = XrlAtomList::borrow(XrlAtomType::U32, 2, bytes);
  numbers.append(std::uint32_t{2});
  EXPECT_EQ(numbers, samples::numbers(3));
  XrlAtomList becoming_mixed = XrlAtomList::borrow(XrlAtomType::U32, 2, bytes);
  becoming_mixed.append("x");
  EXPECT_EQ(becoming_mixed.size(), 3U);
  EXPECT_EQ(becoming_mixed.get(2).text(), "x");
  EXPECT_EQ(bytes, u32(0) + u32(1));
}

TEST(XrlAtomList, WholeAtomsOfOneTypeEqualBareValues) {
  const std::string bytes = atom(1, "", u32(0)) + atom(1, "", u32(1));
  const XrlAtomList list = XrlAtomList::borrow(XrlAtomType::NONE, 2, bytes);
  EXPECT_TRUE(list.holds_only(XrlAtomType::U32));
  EXPECT_EQ(list, samples::numbers(2));
  EXPECT_EQ(list.encoded(), samples::numbers(2).encoded());
}

TEST(XrlAtomList, ListsWithinAListCompareByTheirElements) {
  const std::string whole_atoms = wire_bytes::list(0, 2, atom(1, "", u32(0)) + atom(1, "", u32(1)));
  const std::string bare_values = wire_bytes::list(1, 2, u32(0) + u32(1));
  const XrlAtomList left = XrlAtomList::borrow(XrlAtomType::LIST, 1, whole_atoms);
  const XrlAtomList right = XrlAtomList::borrow(XrlAtomType::LIST, 1, bare_values);
  EXPECT_NE(left.encoded(), right.encoded());
  EXPECT_EQ(left, right);
  EXPECT_FALSE(left == XrlAtomList::borrow(XrlAtomType::LIST, 1, wire_bytes::list(0, 0, "")));
}

TEST(XrlAtomList, SelfAssignmentChangesNothing) {
  XrlAtomList list = samples::mixed();
  XrlAtomList& same = list;
  list = same;
  EXPECT_EQ(list, samples::mixed());
  list = std::move(same);
  EXPECT_EQ(list, samples::mixed());
}

TEST(XrlAtomList, IsWithinLimitsUpToTheMostElements) {
  XrlAtomList list = samples::numbers(xrl_limits::MAX_LIST_ELEMENTS);
  EXPECT_TRUE(list.within_limits());
  list.append(std::uint32_t{0});
  EXPECT_FALSE(list.within_limits());
}

TEST(XrlAtomList, IsWithinLimitsUpToTheLongestText) {
  XrlAtomList list;
  list.append(std::string(xrl_limits::MAX_TEXT_BYTES, 'x'));
  EXPECT_TRUE(list.within_limits());
  list.append(std::string(xrl_limits::MAX_TEXT_BYTES + 1, 'x'));
  EXPECT_FALSE(list.within_limits());
}

TEST(XrlAtomList, IsWithinLimitsUpToTheDeepestNesting) {
  EXPECT_TRUE(samples::nested(xrl_limits::MAX_LIST_DEPTH).within_limits());
  EXPECT_FALSE(samples::nested(xrl_limits::MAX_LIST_DEPTH + 1).within_limits());
}

TEST(XrlAtomList, IsWithinLimitsUpToTheSizeOfAReply) {
  XrlAtomList list;
  const std::string each(xrl_limits::MAX_TEXT_BYTES - 4, 'x');
  for (std::uint32_t i = 0; i < xrl_limits::MAX_REPLY_BYTES / xrl_limits::MAX_TEXT_BYTES; ++i) {
    list.append(each);
  }
  EXPECT_TRUE(list.within_limits());
  list.append("");
  EXPECT_FALSE(list.within_limits());
}

}  // namespace
