#include "framework/xrlgen/names.h"

#include <algorithm>
#include <array>

namespace xrlgen {
namespace {

// The keywords of C++20, and what the standard library takes besides: the
// namespace `std`, which generated code names, and the macro `errno`.
constexpr std::array<std::string_view, 94> RESERVED = {
    "alignas",   "alignof",      "and",           "and_eq",
    "asm",       "auto",         "bitand",        "bitor",
    "bool",      "break",        "case",          "catch",
    "char",      "char16_t",     "char32_t",      "char8_t",
    "class",     "co_await",     "co_return",     "co_yield",
    "compl",     "concept",      "const",         "const_cast",
    "consteval", "constexpr",    "constinit",     "continue",
    "decltype",  "default",      "delete",        "do",
    "double",    "dynamic_cast", "else",          "enum",
    "errno",     "explicit",     "export",        "extern",
    "false",     "float",        "for",           "friend",
    "goto",      "if",           "inline",        "int",
    "long",      "mutable",      "namespace",     "new",
    "noexcept",  "not",          "not_eq",        "nullptr",
    "operator",  "or",           "or_eq",         "private",
    "protected", "public",       "register",      "reinterpret_cast",
    "requires",  "return",       "short",         "signed",
    "sizeof",    "static",       "static_assert", "static_cast",
    "std",       "struct",       "switch",        "template",
    "this",      "thread_local", "throw",         "true",
    "try",       "typedef",      "typeid",        "typename",
    "union",     "unsigned",     "using",         "virtual",
    "void",      "volatile",     "wchar_t",       "while",
    "xor",       "xor_eq",
};
static_assert(std::is_sorted(RESERVED.begin(), RESERVED.end()));

bool is_lower(char c) {
  return c >= 'a' && c <= 'z';
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

std::string problem_with_name(std::string_view name) {
  const std::string quoted = "'" + std::string(name) + "'";
  if (name.empty() || !is_lower(name.front()))
    return quoted + " does not begin with a lower-case letter";
  if (!std::all_of(name.begin(), name.end(),
                   [](char c) { return is_lower(c) || is_digit(c) || c == '_'; }))
    return quoted + " holds more than lower-case letters, digits and '_'";
  if (name.back() == '_' || name.find("__") != std::string_view::npos)
    return quoted + " is not words joined by single underscores";
  if (std::binary_search(RESERVED.begin(), RESERVED.end(), name))
    return quoted + " is reserved in C++";
  return {};
}

std::string camel_case(std::string_view name) {
  std::string result;
  bool word_begins = true;
  for (const char c : name) {
    if (c != '_') result += word_begins && is_lower(c) ? static_cast<char>(c - 'a' + 'A') : c;
    word_begins = c == '_';
  }
  return result;
}

std::string client_class(const InterfaceName& interface) {
  return "Xrl" + camel_case(interface.name.text) + "V" + std::to_string(interface.major) + "p" +
         std::to_string(interface.minor) + "Client";
}

std::string target_base_class(const Target& target) {
  return "Xrl" + camel_case(target.name.text) + "TargetBase";
}

std::string callback_name(const Method& method) {
  return camel_case(method.name.text) + "CB";
}

std::string handler_name(const InterfaceName& interface, const Method& method) {
  return interface.name.text + "_" + std::to_string(interface.major) + "_" +
         std::to_string(interface.minor) + "_" + method.name.text;
}

std::string method_path(const InterfaceName& interface, const Method& method) {
  return interface.str() + "/" + method.name.text;
}

}  // namespace xrlgen
