// What a request that names a method its target does not have probably meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// `method` and `methods` are of the form "INTERFACE/VERSION/METHOD"; `methods`
// is all that `target` has.
//   "'policy' has no interface 'policy_confg/0.1'; is 'policy_config/0.1' meant?"
//   "'policy_config/0.1' of 'policy' has no method 'create_alc'; is 'create_acl' meant?"
// Empty when the target does have the method.
[[nodiscard]] std::string method_advice(std::string_view target, std::string_view method,
                                        const std::vector<std::string>& methods);
