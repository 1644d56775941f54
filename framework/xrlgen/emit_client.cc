#include "framework/xrlgen/emit_common.h"
#include "framework/xrlgen/emitter.h"
#include "framework/xrlgen/layout.h"
#include "framework/xrlgen/names.h"

namespace xrlgen {
namespace {

// "  using GetAclsCB = XorpCallback<void, const XrlError&, const XrlAtomList*>::RefPtr;"
std::string declare_callback(const Method& method, const std::string& name,
                             const std::string& member) {
  std::vector<std::string> parameters = {"void", "const XrlError&"};
  for (const Value& result : method.results)
    parameters.push_back("const " + std::string(result.type->value) + "*");
  return fill_assignment("  using " + name, "XorpCallback<", parameters, ",", ">" + member + ";");
}

// The callback's parameters have no names of their own to read.
std::string result_names(const Method& method) {
  if (method.results.size() < 2) return {};
  std::vector<std::string> names;
  for (const Value& result : method.results) names.push_back(result.name.text);
  return fill("  // Results: ", names, ",", ".");
}

std::vector<std::string> send_parameters(const Method& method) {
  std::vector<std::string> parameters = {"std::string_view " + local_name(method, "target")};
  for (const Value& argument : method.arguments)
    parameters.push_back(std::string(argument.type->parameter) + " " + argument.name.text);
  parameters.push_back("const " + callback_name(method) + "& " + local_name(method, "cb"));
  return parameters;
}

std::string declare_method(const Method& method) {
  return "\n" + comment_block("  ", method.comment) + result_names(method) +
         declare_callback(method, callback_name(method), "::RefPtr") +
         fill("  bool send_" + method.name.text + "(", send_parameters(method), ",", ");");
}

// It and bad_reply_() end in a '_', which no name of an interface file does, so
// that no argument or result hides them.
std::string deliver_name(const Method& method) {
  return "deliver_" + method.name.text + "_";
}

std::string define_deliver(const Interface& interface, const Method& method) {
  const std::string callback = local_name(method, "callback");
  const std::string error = local_name(method, "error");
  const std::string results = local_name(method, "results");
  const std::string done = local_name(method, "done");
  const std::string complete = local_name(method, "complete");

  std::vector<std::string> found = {error};
  std::vector<std::string> nothing_with_error = {error};
  std::vector<std::string> nothing = {"bad_reply_(" + quoted(method_path(interface.name, method)) +
                                      ", " + results + ")"};
  for (const Value& result : method.results) {
    found.push_back("&" + result.name.text);
    nothing.emplace_back("nullptr");
    nothing_with_error.emplace_back("nullptr");
  }

  std::string code = "\n" + fill("void " + deliver_name(method) + "(",
                                 {"RefCounted& " + callback, "const XrlError& " + error,
                                  "XrlArgsReader& " + results},
                                 ",", ") {");
  code += declare_callback(method, "Done", "") + "  auto& " + done + " = static_cast<Done&>(" +
          callback + ");\n";
  if (!method.results.empty())
    code += "  if (!" + error + ".is_okay()) {\n" +
            fill("    " + done + ".dispatch(", nothing_with_error, ",", ");") +
            "    return;\n"
            "  }\n";
  code += declare_read(method.results) + read_values(complete, results, method.results);
  code += "  if (" + complete + ") [[likely]]\n" +
          fill("    " + done + ".dispatch(", found, ",", ");") + "  else\n" +
          fill("    " + done + ".dispatch(", nothing, ",", ");") + "}\n";
  return code;
}

std::string define_send(const Interface& interface, const Method& method) {
  const std::string args = local_name(method, "args");
  std::string code =
      "\n" + fill("bool " + client_class(interface.name) + "::send_" + method.name.text + "(",
                  send_parameters(method), ",", ") {");
  if (method.arguments.empty())
    code += "  _sender->begin_args();\n";
  else
    code += "  XrlArgsWriter " + args + " = _sender->begin_args();\n" +
            write_values("  ", args, method.arguments);
  code += fill("  return _sender->send(",
               {local_name(method, "target"), quoted(method_path(interface.name, method)),
                "XrlReply{" + deliver_name(method) + ", " + local_name(method, "cb") + "}"},
               ",", ");");
  return code + "}\n";
}

std::string client_header(const Interface& interface) {
  const std::string name = client_class(interface.name);
  std::string code = generated_from(interface.file) +
                     "#pragma once\n"
                     "\n"
                     "#include <cstdint>\n"
                     "#include <span>\n"
                     "#include <string_view>\n"
                     "\n"
                     "#include \"framework/base/callback.h\"\n"
                     "#include \"framework/base/ipv4.h\"\n"
                     "#include \"framework/xrl/xrl_atom_list.h\"\n"
                     "#include \"framework/xrl/xrl_error.h\"\n"
                     "#include \"framework/xrl/xrl_sender.h\"\n"
                     "\n";
  code += comment_block("", interface.comment);
  if (!interface.comment.empty()) code += "//\n";
  code += "// Sends the requests of interface " + interface.name.str() +
          ". A send_ function answers as\n"
          "// XrlSender::send() does: true when the request is queued, and then `cb`, which\n"
          "// must not be null, runs once, from the event loop. A result is null on an\n"
          "// error; what it points to, and texts and lists in it, last until `cb` returns.\n"
          "// The stub holds nothing but the sender and may go right after a call.\n";
  code += "class " + name +
          " {\n"
          " public:\n"
          "  explicit " +
          name + "(XrlSender* sender) : _sender(sender) {}\n";
  for (const Method& method : interface.methods) code += declare_method(method);
  code +=
      "\n"
      " private:\n"
      "  XrlSender* _sender;\n"
      "};\n";
  return code;
}

std::string client_source(const Interface& interface, const std::string& header_path) {
  std::string code = generated_from(interface.file) + "#include " + quoted(header_path) +
                     "\n"
                     "\n"
                     "#include <string>\n"
                     "\n"
                     "namespace {\n"
                     "\n"
                     "XrlError bad_reply_(const char* method, const XrlArgsReader& results) {\n"
                     "  std::string problem = \"reply to \";\n"
                     "  problem.append(method).append(\": \").append(results.problem());\n"
                     "  return XrlError::INTERNAL_ERROR(problem);\n"
                     "}\n";
  for (const Method& method : interface.methods) code += define_deliver(interface, method);
  code +=
      "\n"
      "}  // namespace\n";
  for (const Method& method : interface.methods) code += define_send(interface, method);
  return code;
}

}  // namespace

Generated emit_client(const Interface& interface, const std::string& header_path) {
  return {client_header(interface), client_source(interface, header_path)};
}

}  // namespace xrlgen
