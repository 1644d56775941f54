// Words that can be typed as an argument which names no entry of the switch.
#pragma once

#include <vector>

#include "tools/policyctl/commands/command.h"
#include "tools/policyctl/render/offers.h"

// All of them, whatever was typed so far, by the argument's type; none of FILES. Throws
// Failure where they cannot be found out.
[[nodiscard]] Offers argument_offers(const Context& context, const Argument& argument);
