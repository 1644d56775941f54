// Configurations of a switch with two interfaces and two VLANs.
#pragma once

#include <string>

#include "tests/support/typed_configuration.h"

// What the text names, everything else as policyd starts.
[[nodiscard]] Configuration whole_switch(const std::string& text);
// The text of what is not as policyd starts.
[[nodiscard]] std::string named_text(Configuration configuration);
