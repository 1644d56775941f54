// What interface and target files say.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "framework/xrlgen/source_error.h"
#include "framework/xrlgen/types.h"

namespace xrlgen {

struct Name {
  std::string text;
  Location at;
};

// "policy_config/0.1"
struct InterfaceName {
  Name name;
  std::uint32_t major = 0;
  std::uint32_t minor = 0;

  [[nodiscard]] std::string str() const {
    return name.text + "/" + std::to_string(major) + "." + std::to_string(minor);
  }
};

// An argument or a result.
struct Value {
  Name name;
  const Type* type = nullptr;
  const Type* element = nullptr;  // of a list; null when it may hold anything
};

// What carrying a method out does to what its target tells.
enum class MethodKind {
  READ,     // nothing
  CHANGE,   // changes it, as an operator may ask for
  CONTROL,  // changes it, as only the processes of the control plane tell each other
  ADMIN,    // begins or ends a process
};

struct Method {
  std::vector<std::string> comment;  // the lines above it, without "//"
  MethodKind kind = MethodKind::READ;
  Name name;
  std::vector<Value> arguments;
  std::vector<Value> results;
};

struct Interface {
  std::string file;  // as it is named in messages and in what is generated
  std::vector<std::string> comment;
  InterfaceName name;
  std::vector<Method> methods;
};

struct Target {
  std::string file;
  std::vector<std::string> comment;
  Name name;
  std::vector<InterfaceName> implements;
};

}  // namespace xrlgen
