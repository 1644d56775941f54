// The types of arguments and results, and what each is called in C++.
#pragma once

#include <string_view>

namespace xrlgen {

struct Type {
  std::string_view name;       // in interface files: "u32"
  std::string_view atom_type;  // the enumerator of XrlAtomType: "U32"
  std::string_view codec;      // the function of XrlArgsReader and XrlArgsWriter: "u32"
  std::string_view value;      // what the reader fills: "std::uint32_t"
  std::string_view parameter;  // how a value is handed in: "const IPv6&"
  std::string_view result;     // what a handler fills: "std::string"
  std::string_view initial;    // of a variable of type `value` or `result`: " = 0"
};

// Null for a name that is no type.
[[nodiscard]] const Type* find_type(std::string_view name);

// "u32 i32 u64 i64 bool txt ipv4 ipv6 mac binary list"
inline constexpr std::string_view TYPE_NAMES = "u32 i32 u64 i64 bool txt ipv4 ipv6 mac binary list";
inline constexpr std::string_view LIST_TYPE_NAME = "list";

}  // namespace xrlgen
