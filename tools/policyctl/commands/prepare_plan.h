// From a text and a switch to the plan between them.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/language/read_configuration.h"
#include "tools/policyctl/plan/complete.h"
#include "tools/policyctl/plan/plan.h"

// Runs what comes before the first request of a change. A failure then says that
// nothing was changed, too.
void before_change(const std::function<void()>& run);

// Interfaces, VLANs and rules that `wanted` names and the switch does not have, and
// rules it makes deny that a remark still uses. `target` is `wanted` completed from `present`.
[[nodiscard]] std::vector<Fault> faults_at_switch(const ReadConfiguration& wanted,
                                                  const Configuration& present,
                                                  const Configuration& target);

// Takes interfaces and VLANs that the switch has no longer out of a configuration
// that was kept of it. A sentence that names them; empty when none is gone.
[[nodiscard]] std::string leave_gone_out(ReadConfiguration& kept, const Configuration& present);

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
