// What both emitters write alike.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "framework/xrlgen/model.h"

namespace xrlgen {

// The first lines of a generated file.
[[nodiscard]] std::string generated_from(const std::string& file);

// `wanted`, or where an argument or result of `method` is called so, that
// with a '_' behind it, which no name of an interface file ends in.
[[nodiscard]] std::string local_name(const Method& method, std::string_view wanted);

[[nodiscard]] std::string quoted(const std::string& text);

// Declarations of variables for what is read: "  std::uint32_t acl = 0;\n".
[[nodiscard]] std::string declare_read(const std::vector<Value>& values);

// "  const bool complete = in.u32("acl", acl) && in.finish();\n"; `reader` and
// `complete` are names of variables.
[[nodiscard]] std::string read_values(const std::string& complete, const std::string& reader,
                                      const std::vector<Value>& values);

// One line a value: "  out.u32("acl", acl);\n".
[[nodiscard]] std::string write_values(const std::string& indent, const std::string& writer,
                                       const std::vector<Value>& values);

}  // namespace xrlgen
