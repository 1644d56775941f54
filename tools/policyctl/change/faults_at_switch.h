// What a text asks for that a switch cannot be.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/language/read_configuration.h"

// Runs what comes before the first request of a change. A failure then says that
// nothing was changed, too.
void before_change(const std::function<void()>& run);

// Interfaces, VLANs and rules that a text names and the switch does not have, and
// rules it makes deny that a remark still uses. `target` is the text completed from
// `present`.
[[nodiscard]] std::vector<Fault> faults_at_switch(const std::vector<EntryPlace>& places,
                                                  const SwitchConfiguration& present,
                                                  const SwitchConfiguration& target);

// Takes interfaces and VLANs that the switch has no longer out of a configuration
// that was kept of it. A sentence that names them; empty when none is gone.
[[nodiscard]] std::string leave_gone_out(ReadConfiguration& kept,
                                         const SwitchConfiguration& present);
