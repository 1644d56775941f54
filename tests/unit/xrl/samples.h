// Values of every type, the smallest, the largest and the odd ones.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "framework/xrl/limits.h"
#include "framework/xrl/xrl_args.h"
#include "framework/xrl/xrl_atom.h"
#include "framework/xrl/xrl_atom_list.h"

namespace samples {

inline std::string every_byte() {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes.push_back(static_cast<char>(byte));
  return bytes;
}

inline XrlAtomList numbers(std::uint32_t count) {
  XrlAtomList list;
  for (std::uint32_t i = 0; i < count; ++i) list.append(i);
  return list;
}

inline XrlAtomList texts(std::uint32_t count) {
  XrlAtomList list;
  for (std::uint32_t i = 0; i < count; ++i) list.append(std::to_string(i));
  return list;
}

// Lists in each other, `depth` of them, the innermost one empty.
inline XrlAtomList nested(std::size_t depth) {
  XrlAtomList list;
  for (std::size_t i = 1; i < depth; ++i) {
    XrlAtomList outer;
    outer.append(XrlAtom::unnamed(list));
    list = std::move(outer);
  }
  return list;
}

inline XrlAtomList mixed() {
  XrlAtomList list;
  list.append(std::uint32_t{7});
  list.append("a,b&c=d:e");
  list.append(XrlAtom("named", std::uint32_t{8}));
  list.append(XrlAtom("inner", numbers(2)));
  list.append(XrlAtom::unnamed(false));
  return list;
}

// One atom of each kind of value, under names of their own.
inline XrlArgs every_value() {
  std::vector<XrlAtom> atoms;
  const auto name = [&atoms] { return "v" + std::to_string(atoms.size()); };
  const auto add = [&](auto value) { atoms.emplace_back(name(), std::move(value)); };
  add(std::uint32_t{0});
  add(std::numeric_limits<std::uint32_t>::max());
  add(std::numeric_limits<std::int32_t>::min());
  add(std::int32_t{-1});
  add(std::numeric_limits<std::int32_t>::max());
  add(std::uint64_t{0});
  add(std::numeric_limits<std::uint64_t>::max());
  add(std::numeric_limits<std::int64_t>::min());
  add(std::numeric_limits<std::int64_t>::max());
  add(false);
  add(true);
  add(std::string());
  add(std::string("Permit any"));
  add(every_byte());
  add(IPv4());
  add(IPv4(0xffffffffU));
  add(IPv4::loopback());
  add(IPv6());
  add(IPv6{{0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}});
  add(Mac());
  add(Mac{{0x00, 0x1b, 0x21, 0xff, 0xfe, 0x01}});
  add(XrlAtom::Binary());
  add(XrlAtom::Binary{0, 1, 127, 128, 255});
  add(XrlAtomList());
  add(numbers(1));
  add(numbers(8));
  add(texts(3));
  add(mixed());
  add(nested(2));
  add(nested(xrl_limits::MAX_LIST_DEPTH));
  atoms.emplace_back(every_byte().substr(0, xrl_limits::MAX_NAME_BYTES), std::uint32_t{1});
  atoms.emplace_back("", std::uint32_t{2});
  XrlArgs args;
  for (XrlAtom& atom : atoms) args.add(std::move(atom));
  return args;
}

}  // namespace samples
