// Any text is refused with a place within it, or is an interface or target
// that reads the same when it is written out plainly, and of which code is
// generated or whose first mistake is named.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xrlgen/checker.h"
#include "framework/xrlgen/emitter.h"
#include "framework/xrlgen/parser.h"
#include "tests/fuzz/fuzz_check.h"

using xrlgen::Interface;
using xrlgen::Method;
using xrlgen::SourceError;
using xrlgen::Target;
using xrlgen::Value;

namespace {

const std::string FILE_NAME = "input";

void check_place(std::string_view text, std::string_view problem) {
  FUZZ_CHECK(problem.starts_with(FILE_NAME + ":"));
  problem.remove_prefix(FILE_NAME.size() + 1);
  char* end = nullptr;
  const std::size_t line = std::strtoul(problem.data(), &end, 10);
  FUZZ_CHECK(*end == ':');
  const std::size_t column = std::strtoul(end + 1, &end, 10);
  FUZZ_CHECK(std::string_view(end).size() > 2);
  FUZZ_CHECK(line >= 1 && column >= 1 && line + column <= text.size() + 2);
}

std::string print(const std::vector<Value>& values) {
  std::string text;
  for (const Value& value : values) {
    text += (text.empty() ? "" : "&") + value.name.text + ":" + std::string(value.type->name);
    if (value.element != nullptr) text += "<" + std::string(value.element->name) + ">";
  }
  return text;
}

// As MethodKind counts them.
constexpr std::array KINDS{"read", "change", "control", "admin"};

std::string print(const Interface& interface) {
  std::string text = "interface " + interface.name.str() + "{";
  for (const Method& method : interface.methods) {
    text += KINDS.at(static_cast<std::size_t>(method.kind));
    text += " " + method.name.text;
    if (!method.arguments.empty()) text += "?" + print(method.arguments);
    if (!method.results.empty()) text += "->" + print(method.results);
    text += ";";
  }
  return text + "}";
}

std::string print(const Target& target) {
  std::string text = "target " + target.name.text + "{";
  for (const xrlgen::InterfaceName& name : target.implements)
    text += "implements " + name.str() + ";";
  return text + "}";
}

void generate(const Interface& interface) {
  check_interface(interface);
  FUZZ_CHECK(!emit_client(interface, "input_xif.h").source.empty());
  const Target target =
      xrlgen::parse_target(FILE_NAME, "target t{implements " + interface.name.str() + ";}");
  const std::vector<Interface> known = {interface};
  FUZZ_CHECK(!emit_target_base(target, resolve_target(target, known), "t_tgt.h").source.empty());
}

void generate(const Target& target) {
  static const std::vector<Interface> known = {
      xrlgen::parse_interface("a.xif", "interface a/0.1{read b_0_1_c;}"),
      xrlgen::parse_interface("b.xif", "interface a_0_1_b/0.1{read c;}"),
      xrlgen::parse_interface("c.xif", "interface a/0.2{read m?n:list->o:txt;}"),
  };
  FUZZ_CHECK(!emit_target_base(target, resolve_target(target, known), "t_tgt.h").source.empty());
}

template <typename Parse>
void read_print_generate(Parse parse, std::string_view text) {
  try {
    const auto file = parse(FILE_NAME, text);
    const std::string printed = print(file);
    FUZZ_CHECK(print(parse(FILE_NAME, printed)) == printed);
    generate(file);
  } catch (const SourceError& error) {
    check_place(text, error.what());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  read_print_generate(xrlgen::parse_interface, input);
  read_print_generate(xrlgen::parse_target, input);
  return 0;
}
