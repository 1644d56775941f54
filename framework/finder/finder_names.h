// What a client may call itself and its methods.
#pragma once

#include <string>
#include <string_view>

#include "framework/finder/finder_registry.h"

namespace finder_names {

// 1 to 128 letters, digits or any of _ - . : @.
[[nodiscard]] bool is_name(std::string_view text);
// "INTERFACE/VERSION/METHOD", each part of those characters, 255 bytes at most.
[[nodiscard]] bool is_method(std::string_view text);

// What is wrong with a target that is to be registered, as a sentence; empty
// when nothing is.
[[nodiscard]] std::string problem_of(const FinderTarget& target);

}  // namespace finder_names
