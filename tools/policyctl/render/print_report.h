// What became of a change, and why something else did not end well, as text or JSON.
#pragma once

#include <string>
#include <vector>

#include "tools/policyctl/change/change_switch.h"
#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/render/output.h"

// Each answers the status that it is told to end with.
ExitStatus print_report(const Output& output, const std::string& what, const ChangeReport& report);
ExitStatus report_failure(const Output& output, const Failure& failure);
// BAD_FILE.
ExitStatus report_faults(const Output& output, const SourceText& source,
                         const std::vector<Fault>& faults);
