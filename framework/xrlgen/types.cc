#include "framework/xrlgen/types.h"

#include <algorithm>
#include <array>

namespace xrlgen {
namespace {

constexpr std::array<Type, 11> TYPES = {{
    {"u32", "U32", "u32", "std::uint32_t", "std::uint32_t", "std::uint32_t", " = 0"},
    {"i32", "I32", "i32", "std::int32_t", "std::int32_t", "std::int32_t", " = 0"},
    {"u64", "U64", "u64", "std::uint64_t", "std::uint64_t", "std::uint64_t", " = 0"},
    {"i64", "I64", "i64", "std::int64_t", "std::int64_t", "std::int64_t", " = 0"},
    {"bool", "BOOLEAN", "boolean", "bool", "bool", "bool", " = false"},
    {"txt", "TEXT", "text", "std::string_view", "std::string_view", "std::string", ""},
    {"ipv4", "IPV4", "ipv4", "IPv4", "IPv4", "IPv4", ""},
    {"ipv6", "IPV6", "ipv6", "IPv6", "const IPv6&", "IPv6", ""},
    {"mac", "MAC", "mac", "Mac", "const Mac&", "Mac", ""},
    {"binary", "BINARY", "binary", "std::span<const std::uint8_t>", "std::span<const std::uint8_t>",
     "XrlAtom::Binary", ""},
    {"list", "LIST", "list", "XrlAtomList", "const XrlAtomList&", "XrlAtomList", ""},
}};

}  // namespace

const Type* find_type(std::string_view name) {
  const auto* type = std::find_if(TYPES.begin(), TYPES.end(),
                                  [name](const Type& candidate) { return candidate.name == name; });
  return type == TYPES.end() ? nullptr : type;
}

}  // namespace xrlgen
