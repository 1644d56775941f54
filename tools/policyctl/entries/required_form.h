// Words that have to be one of some forms.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The place among `forms`, which are in the notation of statements, of the one that
// `words` are. Throws Failure USAGE when they are none: which word is wrong, and
// what may stand there.
[[nodiscard]] std::size_t require_form(const std::vector<std::string_view>& forms,
                                       const std::vector<std::string>& words);
