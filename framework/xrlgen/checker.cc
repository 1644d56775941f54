#include "framework/xrlgen/checker.h"

#include <map>
#include <set>

#include "framework/xrlgen/names.h"

namespace xrlgen {
namespace {

void check_name(const std::string& file, const Name& name) {
  const std::string problem = problem_with_name(name.text);
  if (!problem.empty()) throw SourceError(file, name.at, "bad name: " + problem);
}

// The request an argument belongs to and the handler's parameters know only
// one set of names, so a result cannot be called like an argument either.
void check_values(const std::string& file, const Method& method) {
  const std::string where = " of method '" + method.name.text + "'";
  std::set<std::string> arguments;
  for (const Value& argument : method.arguments) {
    check_name(file, argument.name);
    if (!arguments.insert(argument.name.text).second)
      throw SourceError(file, argument.name.at,
                        "duplicate argument '" + argument.name.text + "'" + where);
  }
  std::set<std::string> results;
  for (const Value& result : method.results) {
    check_name(file, result.name);
    if (!results.insert(result.name.text).second)
      throw SourceError(file, result.name.at,
                        "duplicate result '" + result.name.text + "'" + where);
    if (arguments.count(result.name.text) != 0)
      throw SourceError(
          file, result.name.at,
          "result '" + result.name.text + "'" + where + " is called like an argument");
  }
}

}  // namespace

void check_interface(const Interface& interface) {
  check_name(interface.file, interface.name.name);
  if (interface.methods.empty())
    throw SourceError(interface.file, interface.name.name.at,
                      "interface '" + interface.name.str() + "' has no methods");
  std::map<std::string, const Method*> by_callback_name;
  for (const Method& method : interface.methods) {
    check_name(interface.file, method.name);
    const auto [other, added] = by_callback_name.emplace(callback_name(method), &method);
    if (!added) {
      const bool same = other->second->name.text == method.name.text;
      throw SourceError(interface.file, method.name.at,
                        same ? "duplicate method '" + method.name.text + "'"
                             : "methods '" + other->second->name.text + "' and '" +
                                   method.name.text + "' are both " + other->first + " in C++");
    }
    check_values(interface.file, method);
  }
}

void check_unique(const std::vector<Interface>& interfaces) {
  std::map<std::string, const Interface*> by_name;
  for (const Interface& interface : interfaces) {
    const auto [other, added] = by_name.emplace(interface.name.str(), &interface);
    if (!added)
      throw SourceError(
          interface.file, interface.name.name.at,
          "interface '" + other->first + "' is declared in " + other->second->file + " too");
  }
}

std::vector<const Interface*> resolve_target(const Target& target,
                                             const std::vector<Interface>& known) {
  check_name(target.file, target.name);
  if (target.implements.empty())
    throw SourceError(target.file, target.name.at,
                      "target '" + target.name.text + "' implements nothing");

  std::map<std::string, const Interface*> by_name;
  for (const Interface& interface : known) by_name.emplace(interface.name.str(), &interface);

  std::vector<const Interface*> result;
  std::set<std::string> implemented;
  std::map<std::string, std::string> by_handler;
  for (const InterfaceName& name : target.implements) {
    const auto found = by_name.find(name.str());
    if (found == by_name.end())
      throw SourceError(target.file, name.name.at, "unknown interface '" + name.str() + "'");
    if (!implemented.insert(name.str()).second)
      throw SourceError(target.file, name.name.at,
                        "interface '" + name.str() + "' is implemented twice");
    for (const Method& method : found->second->methods) {
      const auto [other, added] =
          by_handler.emplace(handler_name(name, method), method_path(name, method));
      if (!added)
        throw SourceError(target.file, name.name.at,
                          "methods '" + other->second + "' and '" + method_path(name, method) +
                              "' are both " + other->first + " in C++");
    }
    result.push_back(found->second);
  }
  return result;
}

}  // namespace xrlgen
