// Any value comes back from the wire and from text. Each test prints the seed
// it drew; RC_PARAMS="seed=..." draws the same values again.
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <array>
#include <cstdint>
#include <string>
#include <utility>

#include "framework/xrl/byte_buffer.h"
#include "framework/xrl/xrl.h"
#include "framework/xrl/xrl_args_codec.h"

namespace {

XrlAtomList any_list(int depth);

template <typename T>
XrlAtom any_of(std::string name) {
  return {std::move(name), *rc::gen::arbitrary<T>()};
}

XrlAtom any_atom(int depth) {
  std::string name = *rc::gen::arbitrary<std::string>();
  switch (*rc::gen::inRange(1, depth < 4 ? 12 : 11)) {
    case 1:
      return any_of<std::uint32_t>(std::move(name));
    case 2:
      return any_of<std::int32_t>(std::move(name));
    case 3:
      return any_of<std::uint64_t>(std::move(name));
    case 4:
      return any_of<std::int64_t>(std::move(name));
    case 5:
      return any_of<bool>(std::move(name));
    case 6:
      return any_of<std::string>(std::move(name));
    case 7:
      return {std::move(name), IPv4(*rc::gen::arbitrary<std::uint32_t>())};
    case 8:
      return {std::move(name), IPv6{*rc::gen::arbitrary<std::array<std::uint8_t, 16>>()}};
    case 9:
      return {std::move(name), Mac{*rc::gen::arbitrary<std::array<std::uint8_t, 6>>()}};
    case 10:
      return any_of<XrlAtom::Binary>(std::move(name));
    default:
      return {std::move(name), any_list(depth + 1)};
  }
}

XrlAtomList any_list(int depth) {
  XrlAtomList list;
  const bool numbers_only = *rc::gen::arbitrary<bool>();
  for (int count = *rc::gen::inRange(0, 6); count > 0; --count) {
    if (numbers_only) {
      list.append(*rc::gen::arbitrary<std::uint32_t>());
    } else {
      list.append(any_atom(depth));
    }
  }
  return list;
}

XrlArgs any_args() {
  XrlArgs args;
  for (int count = *rc::gen::inRange(0, 8); count > 0; --count) args.add(any_atom(0));
  return args;
}

TEST(XrlRoundTrip, AnyArgumentsComeBackFromTheWire) {
  EXPECT_TRUE(rc::check([] {
    const XrlArgs args = any_args();
    ByteBuffer buffer;
    XrlArgsWriter writer(buffer);
    for (const XrlAtom& atom : args) writer.atom(atom);
    XrlArgsReader reader(buffer.bytes());
    XrlArgs read;
    RC_ASSERT(reader.all(read));
    RC_ASSERT(read == args);
  }));
}

TEST(XrlRoundTrip, AnyArgumentsComeBackFromText) {
  EXPECT_TRUE(rc::check([] {
    const XrlArgs args = any_args();
    RC_ASSERT(XrlArgs::parse(args.str()) == args);
  }));
}

TEST(XrlRoundTrip, AnyRequestComesBackFromText) {
  EXPECT_TRUE(rc::check([] {
    const Xrl request{"t" + *rc::gen::arbitrary<std::string>(), "policy_config/0.1/create_acl",
                      any_args()};
    RC_ASSERT(Xrl::parse(request.str()) == request);
  }));
}

TEST(XrlRoundTrip, AnyListIsTheListOfItsElements) {
  EXPECT_TRUE(rc::check([] {
    const XrlAtomList list = any_list(1);
    XrlAtomList rebuilt;
    for (const XrlAtom& element : list.atoms()) rebuilt.append(element);
    RC_ASSERT(rebuilt == list);
    RC_ASSERT(rebuilt.encoded() == list.encoded());
  }));
}

TEST(XrlRoundTrip, AnyTextIsRefusedOrReadAsOneThatPrintsTheSame) {
  EXPECT_TRUE(rc::check([](const std::string& text) {
    try {
      const XrlArgs args = XrlArgs::parse(text);
      RC_ASSERT(XrlArgs::parse(args.str()) == args);
    } catch (const XrlParseError& error) {
      RC_ASSERT(error.position() <= text.size());
    }
  }));
}

}  // namespace
