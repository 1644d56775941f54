// All that a PolicyTree holds as one text, to be compared.
#pragma once

#include <string>

class PolicyTree;

// One line per ACL, rule, record, binding, action and time range, each with
// everything that can be read of it, use included.
[[nodiscard]] std::string picture_of(const PolicyTree& tree);
