// What a request that names a method its target does not have probably meant.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xrl/xrl.h"
#include "framework/xrl/xrl_error.h"
#include "framework/xrl/xrl_sender.h"

// `method` and `methods` are of the form "INTERFACE/VERSION/METHOD"; `methods`
// is all that `target` has.
//   "'policy' has no interface 'policy_confg/0.1'; is 'policy_config/0.1' meant?"
//   "'policy_config/0.1' of 'policy' has no method 'create_alc'; is 'create_acl' meant?"
// Empty when the target does have the method.
[[nodiscard]] std::string method_advice(std::string_view target, std::string_view method,
                                        const std::vector<std::string>& methods);

// Asks the finder, who knows what methods there are, and hands the NO_SUCH_METHOD
// that `request` was refused with to `explained`, with the advice as its text;
// as it was where there is none. `explained` runs once: later, unless the sender
// goes first, or at once when the finder cannot be asked.
void explain_missing_method(XrlSender& sender, const Xrl& request, const XrlError& refusal,
                            const std::function<void(const XrlError&)>& explained);
