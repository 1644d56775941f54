// Plans for people.
#pragma once

#include <iosfwd>
#include <string>

#include "tools/policyctl/change/plan.h"

// Prints changes as a person reads them, below what they belong to, and the
// counts:
//
//     acl 10 type 0
//     +   rule 2 deny protocol 17
//     ~   rule 3 permit protocol 6
//         rule 3 deny protocol 6
//     1 added, 1 changed, 0 removed; 4 requests.
void print_plan(std::ostream& out, const Plan& plan, bool in_colour);

// `text` in the colour of such changes, where colours are wanted.
[[nodiscard]] std::string coloured(ChangeSign sign, const std::string& text, bool in_colour);
