// What an operation on the switch answers.
#pragma once

#include <string_view>

// Why it was refused, a short sentence that lives for ever; empty when it was
// done. What is refused changes nothing.
using Refusal = std::string_view;

inline constexpr Refusal DONE;
