// Documents that may be large, written as they are made: a configuration of a
// hundred thousand rules would take hundreds of megabytes as a tree.
#pragma once

#include <iosfwd>

#include "tools/policyctl/change/plan.h"
#include "tools/policyctl/language/configuration.h"

void print_configuration_json(std::ostream& out, const Entries& entries);
void print_plan_json(std::ostream& out, const Plan& plan);
