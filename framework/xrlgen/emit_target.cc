#include <algorithm>
#include <iterator>

#include "framework/xrlgen/emit_common.h"
#include "framework/xrlgen/emitter.h"
#include "framework/xrlgen/layout.h"
#include "framework/xrlgen/names.h"

namespace xrlgen {
namespace {

using Interfaces = std::vector<const Interface*>;

std::vector<std::string> handler_parameters(const Method& method) {
  std::vector<std::string> parameters;
  for (const Value& argument : method.arguments)
    parameters.push_back(std::string(argument.type->parameter) + " " + argument.name.text);
  for (const Value& result : method.results)
    parameters.push_back(std::string(result.type->result) + "& " + result.name.text);
  return parameters;
}

std::string declare_handlers(const Interface& interface) {
  std::string code = "\n  // " + interface.name.str() + "\n";
  for (const Method& method : interface.methods)
    code += "\n" + comment_block("  ", method.comment) +
            fill("  virtual XrlCmdError " + handler_name(interface.name, method) + "(",
                 handler_parameters(method), ",", ") = 0;");
  return code;
}

std::string declare_results(const Method& method) {
  std::string code;
  for (const Value& result : method.results)
    code += "  " + std::string(result.type->result) + " " + result.name.text +
            std::string(result.type->initial) + ";\n";
  return code;
}

// "'cards' or 'names'": the arguments whose elements nobody has checked when
// the handler runs.
std::string unchecked_lists(const Method& method) {
  std::string names;
  for (const Value& argument : method.arguments)
    if (argument.type->name == LIST_TYPE_NAME && argument.element == nullptr)
      names += (names.empty() ? "'" : " or '") + argument.name.text + "'";
  return names;
}

std::vector<std::string> argument_names(const Method& method) {
  std::vector<std::string> names;
  for (const Value& argument : method.arguments) names.push_back(argument.name.text);
  for (const Value& result : method.results) names.push_back(result.name.text);
  return names;
}

// Calls the handler and writes its results when it answers OKAY.
std::string answer(const Interface& interface, const Method& method, const std::string& indent) {
  const std::string call =
      local_name(method, "handlers") + "." + handler_name(interface.name, method) + "(";
  if (method.results.empty())
    return fill(indent + "return " + call, argument_names(method), ",", ");");
  const std::string name = local_name(method, "answer");
  return fill_assignment(indent + "XrlCmdError " + name, call, argument_names(method), ",", ");") +
         indent + "if (" + name + ".is_okay()) {\n" +
         write_values(indent + "  ", local_name(method, "out"), method.results) + indent + "}\n" +
         indent + "return " + name + ";\n";
}

std::string answer_guarded(const Interface& interface, const Method& method,
                           const std::string& lists) {
  const std::string wrong = local_name(method, "wrong");
  return "  try {\n" + answer(interface, method, "    ") + "  } catch (const XrlWrongType& " +
         wrong + ") {\n" +
         fill("    return XrlCmdError::BAD_ARGS(",
              {quoted("element of list " + lists + ": ") + " + " + wrong + ".str() + \".\""}, ",",
              ");") +
         "  }\n";
}

std::string define_thunk(const Target& target, const Interface& interface, const Method& method) {
  const std::string self = local_name(method, "target");
  const std::string in = local_name(method, "in");
  const std::string out = local_name(method, "out");
  const std::string complete = local_name(method, "complete");
  const std::string base = target_base_class(target);
  const std::string lists = unchecked_lists(method);

  std::string code =
      "\n" + fill("XrlCmdError " + handler_name(interface.name, method) + "(",
                  {"void* " + self, "XrlArgsReader& " + in,
                   "XrlArgsWriter& " + (method.results.empty() ? "/*" + out + "*/" : out)},
                  ",", ") {");
  code += declare_read(method.arguments) + read_values(complete, in, method.arguments) + "  if (!" +
          complete + ") [[unlikely]]\n    return " + in + ".bad_args();\n";
  code += declare_results(method);
  code += "  auto& " + local_name(method, "handlers") + " = *static_cast<" + base + "*>(" + self +
          ");\n";
  code +=
      lists.empty() ? answer(interface, method, "  ") : answer_guarded(interface, method, lists);
  return code + "}\n";
}

std::string kind_name(MethodKind kind) {
  switch (kind) {
    case MethodKind::READ:
      return "XrlMethodKind::READ";
    case MethodKind::CHANGE:
      return "XrlMethodKind::CHANGE";
    case MethodKind::CONTROL:
      return "XrlMethodKind::CONTROL";
    case MethodKind::ADMIN:
      break;
  }
  return "XrlMethodKind::ADMIN";
}

std::string handler_table(const Interfaces& interfaces) {
  std::string code =
      "\n"
      "struct Command {\n"
      "  XrlMethodKind kind;\n"
      "  const char* method;\n"
      "  XrlCmdMap::Handler handler;\n"
      "};\n"
      "\n"
      "constexpr Command COMMANDS[] = {\n";
  for (const Interface* interface : interfaces)
    for (const Method& method : interface->methods)
      code += fill("    {",
                   {kind_name(method.kind), quoted(method_path(interface->name, method)),
                    handler_name(interface->name, method)},
                   ",", "},");
  return code + "};\n";
}

std::string target_header(const Target& target, const Interfaces& interfaces) {
  const std::string name = target_base_class(target);
  std::string code = generated_from(target.file) +
                     "#pragma once\n"
                     "\n"
                     "#include <cstdint>\n"
                     "#include <span>\n"
                     "#include <string>\n"
                     "#include <string_view>\n"
                     "\n"
                     "#include \"framework/base/ipv4.h\"\n"
                     "#include \"framework/xrl/xrl_atom.h\"\n"
                     "#include \"framework/xrl/xrl_atom_list.h\"\n"
                     "#include \"framework/xrl/xrl_cmd_map.h\"\n"
                     "#include \"framework/xrl/xrl_error.h\"\n"
                     "\n";
  code += comment_block("", target.comment);
  if (!target.comment.empty()) code += "//\n";
  code +=
      "// Answers requests while it lives: it adds its handlers to `cmds`, which must\n"
      "// outlive it, and takes them back. A handler runs only with arguments that are\n"
      "// complete and of their types; views and lists in them last until it returns.\n"
      "// Results begin as zero or empty and are sent only with an answer of OKAY.\n";
  code += "class " + name +
          " {\n"
          " public:\n"
          "  explicit " +
          name +
          "(XrlCmdMap* cmds);\n"
          "  virtual ~" +
          name +
          "();\n"
          "  " +
          name + "(const " + name +
          "&) = delete;\n"
          "  " +
          name + "& operator=(const " + name +
          "&) = delete;\n"
          "\n"
          "  [[nodiscard]] XrlCmdMap* cmds() { return _cmds; }\n";
  for (const Interface* interface : interfaces) code += declare_handlers(*interface);
  code +=
      "\n"
      " private:\n"
      "  XrlCmdMap* _cmds;\n"
      "};\n";
  return code;
}

std::string target_source(const Target& target, const Interfaces& interfaces,
                          const std::string& header_path) {
  const std::string name = target_base_class(target);
  std::string code = generated_from(target.file) + "#include " + quoted(header_path) +
                     "\n"
                     "\n"
                     "#include \"framework/base/xlog.h\"\n"
                     "#include \"framework/xrl/xrl_args_codec.h\"\n"
                     "\n"
                     "namespace {\n";
  for (const Interface* interface : interfaces)
    for (const Method& method : interface->methods)
      code += define_thunk(target, *interface, method);
  code += handler_table(interfaces) +
          "\n"
          "}  // namespace\n"
          "\n" +
          name + "::" + name +
          "(XrlCmdMap* cmds) : _cmds(cmds) {\n"
          "  for (const Command& command : COMMANDS) {\n"
          "    const bool added = _cmds->add_handler(command.method, command.handler, this, "
          "command.kind);\n"
          "    XLOG_ASSERT(added, std::string(command.method) + \" of \" + _cmds->name());\n"
          "  }\n"
          "}\n"
          "\n" +
          name + "::~" + name +
          "() {\n"
          "  _cmds->remove_handlers(this);\n"
          "}\n";
  return code;
}

}  // namespace

Generated emit_target_base(const Target& target, const Interfaces& interfaces,
                           const std::string& header_path) {
  return {target_header(target, interfaces), target_source(target, interfaces, header_path)};
}

}  // namespace xrlgen
