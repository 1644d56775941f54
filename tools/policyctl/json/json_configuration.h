// Documents that may be large, written as they are made: a configuration of a
// hundred thousand rules would take hundreds of megabytes as a tree.
#pragma once

#include <iosfwd>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/plan/plan.h"

void print_configuration_json(std::ostream& out, const Configuration& configuration);
void print_plan_json(std::ostream& out, const Plan& plan);
