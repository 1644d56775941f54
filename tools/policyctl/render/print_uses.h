// Who uses a list, a rule or anything else.
#pragma once

#include <iosfwd>
#include <vector>

#include "tools/policyctl/entries/object_uses.h"
#include "tools/policyctl/render/json_output.h"

// The first of them, and how many there are more.
constexpr std::size_t MOST_USES = 20;
void print_uses(std::ostream& out, const std::vector<ObjectUse>& uses,
                std::size_t most = static_cast<std::size_t>(-1));
[[nodiscard]] Json uses_json(const ObjectName& object, const std::vector<ObjectUse>& uses);
