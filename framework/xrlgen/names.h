// Which names may stand in an interface file, and the C++ names made of them.
#pragma once

#include <string>
#include <string_view>

#include "framework/xrlgen/model.h"

namespace xrlgen {

// Empty for a good name: lower-case letters and digits in words joined by
// single underscores, beginning with a letter, that C++ does not reserve.
// Otherwise what is wrong: "'class' is reserved in C++".
[[nodiscard]] std::string problem_with_name(std::string_view name);

// "policy_config" -> "PolicyConfig"
[[nodiscard]] std::string camel_case(std::string_view name);

// "XrlPolicyConfigV0p1Client"
[[nodiscard]] std::string client_class(const InterfaceName& interface);
// "XrlPolicyTargetBase"
[[nodiscard]] std::string target_base_class(const Target& target);
// "GetAclsCB"
[[nodiscard]] std::string callback_name(const Method& method);
// "policy_config_0_1_get_acls"
[[nodiscard]] std::string handler_name(const InterfaceName& interface, const Method& method);
// "policy_config/0.1/get_acls"
[[nodiscard]] std::string method_path(const InterfaceName& interface, const Method& method);

}  // namespace xrlgen
