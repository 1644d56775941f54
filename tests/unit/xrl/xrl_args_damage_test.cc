// Arguments that are not whole: each kind of damage is told with the byte at
// which the field that cannot be right begins, and nothing beyond the end is
// ever looked at (the tests run under the address sanitizer too).
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/xrl_args.h"
#include "framework/xrl/xrl_args_codec.h"
#include "tests/unit/xrl/samples.h"
#include "tests/unit/xrl/wire_bytes.h"

namespace {

using wire_bytes::atom;
using wire_bytes::Bytes;
using wire_bytes::list;
using wire_bytes::text;
using wire_bytes::u32;
using wire_bytes::u8;

constexpr unsigned U32 = 1;
constexpr unsigned BOOLEAN = 5;
constexpr unsigned TEXT = 6;
constexpr unsigned BINARY = 10;
constexpr unsigned LIST = 11;

// A block of memory of exactly the size of `bytes`.
class ExactCopy {
 public:
  explicit ExactCopy(std::string_view bytes)
      : _bytes(std::make_unique<std::uint8_t[]>(bytes.size())), _size(bytes.size()) {
    if (_size != 0) std::memcpy(_bytes.get(), bytes.data(), _size);
  }
  [[nodiscard]] std::span<const std::uint8_t> span() const { return {_bytes.get(), _size}; }

 private:
  std::unique_ptr<std::uint8_t[]> _bytes;
  std::size_t _size;
};

std::string problem_of_all(std::string_view bytes) {
  const ExactCopy copy(bytes);
  XrlArgsReader reader(copy.span());
  XrlArgs args;
  return reader.all(args) ? std::string() : reader.problem();
}

// Reading `a` as the type that its first byte claims.
std::string problem_of_get(std::string_view bytes) {
  const ExactCopy copy(bytes);
  XrlArgsReader reader(copy.span());
  std::uint32_t number = 0;
  bool flag = false;
  std::string_view view;
  std::span<const std::uint8_t> binary;
  XrlAtomList elements;
  bool taken = false;
  switch (bytes.empty() ? 0U : static_cast<unsigned char>(bytes[0])) {
    case BOOLEAN:
      taken = reader.boolean("a", flag);
      break;
    case TEXT:
      taken = reader.text("a", view);
      break;
    case BINARY:
      taken = reader.binary("a", binary);
      break;
    case LIST:
      taken = reader.list("a", elements);
      break;
    default:
      taken = reader.u32("a", number);
  }
  return taken && reader.finish() ? std::string() : reader.problem();
}

void expect_whole(std::string_view bytes) {
  EXPECT_EQ(problem_of_all(bytes), "");
  EXPECT_EQ(problem_of_get(bytes), "");
}

void expect_damage(std::string_view bytes, std::size_t position) {
  const std::string expected = "damaged arguments at byte " + std::to_string(position) + ".";
  EXPECT_EQ(problem_of_all(bytes), expected);
  EXPECT_EQ(problem_of_get(bytes), expected);
}

TEST(XrlArgsDamage, ATypeThatIsNoneIsDamage) {
  expect_damage(atom(0, "a", u32(1)), 0);
  expect_damage(atom(12, "a", u32(1)), 0);
  expect_damage(atom(255, "a", u32(1)), 0);
  expect_damage(atom(U32, "b", u32(1)) + atom(0, "a", u32(1)), 7);
}

TEST(XrlArgsDamage, ANameThatIsCutIsDamage) {
  expect_damage(u8(U32), 1);
  expect_damage(u8(U32) + u8(1), 1);
  expect_damage(u8(U32) + u8(255) + Bytes(254, 'a'), 1);
}

TEST(XrlArgsDamage, AValueThatIsCutIsDamage) {
  expect_damage(u8(U32) + u8(1) + "a", 3);
  expect_damage(u8(U32) + u8(1) + "a" + Bytes(3, '\0'), 3);
  expect_damage(u8(BOOLEAN) + u8(1) + "a", 3);
  expect_damage(u8(TEXT) + u8(1) + "a" + Bytes(3, '\0'), 3);
  expect_damage(u8(LIST) + u8(1) + "a" + Bytes(8, '\0'), 3);
}

TEST(XrlArgsDamage, ABoolIsZeroOrOne) {
  expect_whole(atom(BOOLEAN, "a", u8(0)));
  expect_whole(atom(BOOLEAN, "a", u8(1)));
  for (unsigned value = 2; value < 256; ++value) expect_damage(atom(BOOLEAN, "a", u8(value)), 3);
  expect_damage(atom(LIST, "a", list(BOOLEAN, 3, u8(0) + u8(1) + u8(2))), 14);
}

TEST(XrlArgsDamage, ATextIsAsLongAsItSays) {
  for (const unsigned type : {TEXT, BINARY}) {
    expect_whole(atom(type, "a", text("")));
    expect_whole(atom(type, "a", text("x")));
    expect_damage(atom(type, "a", text("", 1)), 3);
    expect_damage(atom(type, "a", text("x", 2)), 3);
    expect_damage(atom(type, "a", text("x", 0x80000000U)), 3);
    expect_damage(atom(type, "a", text("x", 0xffffffffU)), 3);
  }
}

TEST(XrlArgsDamage, ATextIsAtMostTheLimitLong) {
  const std::string longest(xrl_limits::MAX_TEXT_BYTES, 'x');
  for (const unsigned type : {TEXT, BINARY}) {
    expect_whole(atom(type, "a", text(longest)));
    expect_damage(atom(type, "a", text(longest + "x")), 3);
  }
}

TEST(XrlArgsDamage, AListIsAsLongAsItSays) {
  const Bytes one = u32(5);
  const auto claiming = [&](std::uint32_t count, std::uint32_t bytes) {
    return atom(LIST, "a", u8(U32) + u32(count) + text(one, bytes));
  };
  expect_whole(claiming(1, 4));
  expect_damage(claiming(1, 3), 8);
  expect_damage(claiming(1, 5), 8);
  expect_damage(claiming(1, 0), 8);
  expect_damage(claiming(1, 0x80000000U), 8);
  expect_damage(claiming(1, 0xffffffffU), 8);
  expect_damage(claiming(0, 4), 3);
  expect_damage(claiming(2, 4), 8);
  expect_damage(claiming(xrl_limits::MAX_LIST_ELEMENTS, 4), 8);
  expect_damage(claiming(xrl_limits::MAX_LIST_ELEMENTS + 1, 4), 4);
  expect_damage(claiming(0x80000000U, 4), 4);
  expect_damage(claiming(0xffffffffU, 4), 4);
}

TEST(XrlArgsDamage, AListHasAtMostTheLimitsElements) {
  const std::uint32_t most = xrl_limits::MAX_LIST_ELEMENTS;
  expect_whole(atom(LIST, "a", list(U32, most, Bytes(std::size_t{most} * 4, '\1'))));
  expect_damage(atom(LIST, "a", list(U32, most + 1, Bytes((std::size_t{most} + 1) * 4, '\1'))), 4);
  expect_whole(atom(LIST, "a", list(TEXT, most, Bytes(std::size_t{most} * 4, '\0'))));
  expect_damage(atom(LIST, "a", list(TEXT, most + 1, Bytes((std::size_t{most} + 1) * 4, '\0'))), 4);
}

TEST(XrlArgsDamage, AListIsOfAKnownType) {
  expect_damage(atom(LIST, "a", list(12, 1, u32(5))), 3);
  expect_damage(atom(LIST, "a", list(255, 1, u32(5))), 3);
}

TEST(XrlArgsDamage, AnEmptyListHasNoTypeAndNoBytes) {
  expect_whole(atom(LIST, "a", list(0, 0, "")));
  expect_damage(atom(LIST, "a", list(U32, 0, "")), 3);
  expect_damage(atom(LIST, "a", list(TEXT, 0, "")), 3);
  expect_damage(atom(LIST, "a", list(0, 0, "x")), 12);
}

TEST(XrlArgsDamage, TextsOfAListEndWithTheList) {
  expect_whole(atom(LIST, "a", list(TEXT, 2, text("x") + text(""))));
  expect_damage(atom(LIST, "a", list(TEXT, 2, text("x") + text("", 1))), 17);
  expect_damage(atom(LIST, "a", list(TEXT, 2, text("x"))), 17);
  expect_damage(atom(LIST, "a", list(TEXT, 1, text("x") + text(""))), 17);
  expect_damage(atom(LIST, "a", list(TEXT, 2, text("x") + "\1\2\3")), 17);
  expect_damage(atom(LIST, "a", list(TEXT, 1, text("x", 0xffffffffU))), 12);
}

TEST(XrlArgsDamage, AtomsOfAListEndWithTheList) {
  expect_whole(atom(LIST, "a", list(0, 1, atom(U32, "n", u32(1)))));
  expect_damage(atom(LIST, "a", list(0, 2, atom(U32, "n", u32(1)))), 19);
  expect_damage(atom(LIST, "a", list(0, 1, atom(U32, "n", u32(1)) + u8(U32))), 19);
  expect_damage(atom(LIST, "a", list(0, 1, atom(0, "n", u32(1)))), 12);
  expect_damage(atom(LIST, "a", list(0, 1, atom(U32, "n", "\1\2\3"))), 15);
}

TEST(XrlArgsDamage, AListWithinAListEndsWithIt) {
  expect_whole(atom(LIST, "a", list(LIST, 1, list(U32, 1, u32(1)))));
  const Bytes claims_more = u8(U32) + u32(2) + text(u32(1), 8);
  expect_damage(atom(LIST, "a", list(LIST, 1, claims_more) + u32(2)), 17);
}

TEST(XrlArgsDamage, ListsLieInEachOtherUpToTheLimit) {
  for (const bool as_atoms : {false, true}) {
    Bytes value = list(U32, 1, u32(1));
    std::size_t depth = 1;
    std::size_t innermost = 3;
    const auto wrap = [&] {
      value = as_atoms ? list(0, 1, atom(LIST, "", value)) : list(LIST, 1, value);
      innermost += as_atoms ? 11 : 9;
      ++depth;
    };
    while (depth < xrl_limits::MAX_LIST_DEPTH) wrap();
    expect_whole(atom(LIST, "a", value));
    wrap();
    expect_damage(atom(LIST, "a", value), innermost);
  }
}

TEST(XrlArgsDamage, AHundredThousandListsInEachOtherEndAtTheLimit) {
  constexpr std::uint32_t DEPTH = 100000;
  Bytes value;
  for (std::uint32_t inner = DEPTH; inner > 0; --inner) {
    value += u8(LIST) + u32(1) + u32(9 * inner);
  }
  value += list(0, 0, "");
  expect_damage(atom(LIST, "a", value), 3 + 9 * xrl_limits::MAX_LIST_DEPTH);
}

TEST(XrlArgsDamage, ThereAreAtMostTheLimitsArguments) {
  Bytes most;
  for (std::size_t i = 0; i < xrl_limits::MAX_ARGUMENTS; ++i) {
    most += atom(BOOLEAN, std::to_string(i + 1000), u8(0));
  }
  EXPECT_EQ(problem_of_all(most), "");
  EXPECT_EQ(problem_of_get(most), "missing argument 'a'.");
  expect_damage(most + atom(U32, "z", u32(1)), most.size());
}

TEST(XrlArgsDamage, ANameHasAnyLengthThatOneByteTells) {
  for (const std::size_t length : {0U, 1U, 254U, 255U}) {
    const std::string name(length, 'n');
    const Bytes bytes = atom(U32, name, u32(7));
    XrlArgsReader reader(wire_bytes::span_of(bytes));
    std::uint32_t value = 0;
    EXPECT_TRUE(reader.u32(name, value) && reader.finish()) << reader.problem();
    EXPECT_EQ(value, 7U);
  }
}

// The bytes of `args` up to each argument, and up to the end.
std::vector<std::size_t> boundaries(const XrlArgs& args) {
  ByteBuffer buffer;
  XrlArgsWriter writer(buffer);
  std::vector<std::size_t> ends = {0};
  for (const XrlAtom& argument : args) {
    writer.atom(argument);
    ends.push_back(buffer.size());
  }
  return ends;
}

TEST(XrlArgsDamage, EveryTruncationIsDamageOrFewerArguments) {
  const XrlArgs args = samples::every_value();
  const std::vector<std::size_t> ends = boundaries(args);
  ByteBuffer buffer;
  XrlArgsWriter writer(buffer);
  for (const XrlAtom& argument : args) writer.atom(argument);
  std::size_t whole = 0;
  for (std::size_t size = 0; size < buffer.size(); ++size) {
    const ExactCopy cut(std::string_view(reinterpret_cast<const char*>(buffer.data()), size));
    if (size >= ends[whole + 1]) ++whole;
    XrlArgsReader reader(cut.span());
    XrlArgs read;
    if (size == ends[whole]) {
      EXPECT_TRUE(reader.all(read));
      EXPECT_EQ(read.size(), whole);
    } else {
      EXPECT_FALSE(reader.all(read));
      EXPECT_TRUE(read.empty());
      const std::string& problem = reader.problem();
      ASSERT_TRUE(problem.starts_with("damaged arguments at byte ")) << problem;
      const std::size_t position = std::stoul(problem.substr(26));
      EXPECT_GE(position, ends[whole]);
      EXPECT_LE(position, size);
    }
  }
}

TEST(XrlArgsDamage, EveryTruncationOfOneArgumentIsDamageToItsGetter) {
  for (const Bytes& bytes :
       {atom(U32, "a", u32(1)), atom(BOOLEAN, "a", u8(1)), atom(TEXT, "a", text("text")),
        atom(BINARY, "a", text("bytes")), atom(LIST, "a", list(U32, 2, u32(1) + u32(2))),
        atom(LIST, "a", list(TEXT, 2, text("x") + text("yz"))),
        atom(LIST, "a", list(0, 2, atom(U32, "", u32(1)) + atom(TEXT, "n", text("x"))))}) {
    expect_whole(bytes);
    for (std::size_t size = 1; size < bytes.size(); ++size) {
      const std::string problem = problem_of_get(std::string_view(bytes).substr(0, size));
      EXPECT_TRUE(problem.starts_with("damaged arguments at byte ")) << problem;
    }
  }
}

TEST(XrlArgsDamage, EverySingleByteChangedIsReadOrRefusedWithoutHarm) {
  ByteBuffer buffer;
  XrlArgsWriter writer(buffer);
  for (const XrlAtom& argument : XrlArgs::parse(
           "a:u32=1&b:bool=true&c:txt=text&d:list=:u32=1,:u32=2&e:list=:txt=x,n:list=%3Au32%3D1")) {
    writer.atom(argument);
  }
  const std::string valid(reinterpret_cast<const char*>(buffer.data()), buffer.size());
  for (std::size_t at = 0; at < valid.size(); ++at) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string changed = valid;
      changed[at] = static_cast<char>(byte);
      const ExactCopy copy(changed);
      XrlArgsReader reader(copy.span());
      XrlArgs args;
      if (reader.all(args)) {
        EXPECT_EQ(XrlArgs::parse(args.str()), args);
      } else {
        EXPECT_TRUE(reader.problem().starts_with("damaged arguments at byte "));
      }
    }
  }
}

}  // namespace
