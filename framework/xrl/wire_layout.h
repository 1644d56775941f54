// How values and atoms lie on the wire: each field in one place, for whoever
// writes, checks or reads them.
//
// A run of arguments is atom after atom: type (u8), length of the name (u8),
// name, value. Values: u32 i32 ipv4 four bytes, u64 i64 eight, bool one (0 or
// 1), mac six, ipv6 sixteen; txt and binary a u32 length and the bytes; list
// the element type (u8), the element count (u32), the length in bytes (u32)
// and the elements, each a bare value when the element type says which, and
// each a whole atom when it is 0. An empty list has element type 0. How much of
// each there may be is in limits.h.
//
// Nothing here looks at limits or ends: who stores has made room, who loads has
// checked what is there. Views borrow the bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

#include "framework/base/ipv4.h"
#include "framework/xrl/byte_order.h"
#include "framework/xrl/xrl_atom.h"

namespace wire_layout {

// Bytes of every value of `type`; 0 for txt, binary and list, which tell their
// own length.
constexpr std::size_t fixed_bytes(XrlAtomType type) {
  switch (type) {
    case XrlAtomType::U32:
    case XrlAtomType::I32:
    case XrlAtomType::IPV4:
      return 4;
    case XrlAtomType::U64:
    case XrlAtomType::I64:
      return 8;
    case XrlAtomType::BOOLEAN:
      return 1;
    case XrlAtomType::IPV6:
      return 16;
    case XrlAtomType::MAC:
      return 6;
    default:
      return 0;
  }
}

// The types of C++ whose values have a fixed size.
template <typename Value>
inline constexpr XrlAtomType TYPE_OF = XrlAtomType::NONE;
template <>
inline constexpr XrlAtomType TYPE_OF<std::uint32_t> = XrlAtomType::U32;
template <>
inline constexpr XrlAtomType TYPE_OF<std::int32_t> = XrlAtomType::I32;
template <>
inline constexpr XrlAtomType TYPE_OF<std::uint64_t> = XrlAtomType::U64;
template <>
inline constexpr XrlAtomType TYPE_OF<std::int64_t> = XrlAtomType::I64;
template <>
inline constexpr XrlAtomType TYPE_OF<bool> = XrlAtomType::BOOLEAN;
template <>
inline constexpr XrlAtomType TYPE_OF<IPv4> = XrlAtomType::IPV4;
template <>
inline constexpr XrlAtomType TYPE_OF<IPv6> = XrlAtomType::IPV6;
template <>
inline constexpr XrlAtomType TYPE_OF<Mac> = XrlAtomType::MAC;

template <typename Value>
inline constexpr std::size_t BYTES_OF = fixed_bytes(TYPE_OF<Value>);

template <typename Value>
void store(std::uint8_t* at, const Value& value) {
  static_assert(BYTES_OF<Value> != 0);
  if constexpr (std::is_same_v<Value, bool>) {
    *at = value ? 1 : 0;
  } else if constexpr (std::is_same_v<Value, IPv4>) {
    store_u32(at, value.host_order());
  } else if constexpr (std::is_class_v<Value>) {
    std::memcpy(at, value.bytes.data(), BYTES_OF<Value>);
  } else if constexpr (BYTES_OF<Value> == sizeof(std::uint32_t)) {
    store_u32(at, static_cast<std::uint32_t>(value));
  } else {
    store_u64(at, static_cast<std::uint64_t>(value));
  }
}

template <typename Value>
[[nodiscard]] Value load(const std::uint8_t* at) {
  static_assert(BYTES_OF<Value> != 0);
  if constexpr (std::is_same_v<Value, bool>) {
    return *at != 0;
  } else if constexpr (std::is_same_v<Value, IPv4>) {
    return IPv4(load_u32(at));
  } else if constexpr (std::is_class_v<Value>) {
    Value value;
    std::memcpy(value.bytes.data(), at, BYTES_OF<Value>);
    return value;
  } else if constexpr (BYTES_OF<Value> == sizeof(std::uint32_t)) {
    return static_cast<Value>(load_u32(at));
  } else {
    return static_cast<Value>(load_u64(at));
  }
}

// Whether the byte is a bool's.
[[nodiscard]] constexpr bool is_bool(std::uint8_t byte) {
  return byte <= 1;
}

// In front of txt and binary, and of the elements of a list.
inline constexpr std::size_t LENGTH_BYTES = 4;

// A txt or binary.
[[nodiscard]] inline std::size_t counted_bytes(const std::uint8_t* at) {
  return LENGTH_BYTES + std::size_t{load_u32(at)};
}
// `length` below 4 GiB.
inline void store_counted(std::uint8_t* at, const void* bytes, std::size_t length) {
  store_u32(at, static_cast<std::uint32_t>(length));
  if (length != 0) std::memcpy(at + LENGTH_BYTES, bytes, length);
}
[[nodiscard]] inline std::span<const std::uint8_t> view_binary(const std::uint8_t* at) {
  return {at + LENGTH_BYTES, load_u32(at)};
}
[[nodiscard]] inline std::string_view view_text(const std::uint8_t* at) {
  return {reinterpret_cast<const char*>(at + LENGTH_BYTES), load_u32(at)};
}

// What stands before a list's elements.
struct ListHead {
  static constexpr std::size_t COUNT_AT = 1;
  static constexpr std::size_t LENGTH_AT = COUNT_AT + 4;
  static constexpr std::size_t BYTES = LENGTH_AT + LENGTH_BYTES;

  XrlAtomType element;  // NONE: whole atoms
  std::uint32_t count;
  std::uint32_t length;  // of the elements, in bytes
};
inline void store_list_head(std::uint8_t* at, const ListHead& head) {
  at[0] = static_cast<std::uint8_t>(head.element);
  store_u32(at + ListHead::COUNT_AT, head.count);
  store_u32(at + ListHead::LENGTH_AT, head.length);
}
[[nodiscard]] inline ListHead load_list_head(const std::uint8_t* at) {
  return {static_cast<XrlAtomType>(at[0]), load_u32(at + ListHead::COUNT_AT),
          load_u32(at + ListHead::LENGTH_AT)};
}

// What stands before an atom's value.
struct AtomHead {
  static constexpr std::size_t NAME_LENGTH_AT = 1;
  static constexpr std::size_t NAME_AT = 2;

  XrlAtomType type;
  std::string_view name;  // at most 255 bytes

  [[nodiscard]] std::size_t bytes() const { return NAME_AT + name.size(); }
};
inline void store_atom_head(std::uint8_t* at, const AtomHead& head) {
  at[0] = static_cast<std::uint8_t>(head.type);
  at[AtomHead::NAME_LENGTH_AT] = static_cast<std::uint8_t>(head.name.size());
  if (!head.name.empty()) std::memcpy(at + AtomHead::NAME_AT, head.name.data(), head.name.size());
}
[[nodiscard]] inline AtomHead load_atom_head(const std::uint8_t* at) {
  return {static_cast<XrlAtomType>(at[0]),
          {reinterpret_cast<const char*>(at + AtomHead::NAME_AT), at[AtomHead::NAME_LENGTH_AT]}};
}
// Whether `head` stands there, where there are bytes enough for it.
[[nodiscard]] inline bool is_atom_head(const std::uint8_t* at, const AtomHead& head) {
  return at[0] == static_cast<std::uint8_t>(head.type) &&
         at[AtomHead::NAME_LENGTH_AT] == head.name.size() &&
         (head.name.empty() ||
          std::memcmp(at + AtomHead::NAME_AT, head.name.data(), head.name.size()) == 0);
}

}  // namespace wire_layout
