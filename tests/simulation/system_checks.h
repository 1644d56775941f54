// What must hold of a simulated system once the faults are over. Each function
// adds what is wrong, in words, to `wrong`.
#pragma once

#include <string>
#include <vector>

#include "tests/simulation/system_simulation.h"

namespace system_checks {

using Wrong = std::vector<std::string>;

// policyd's records are the switch, its registrations stand, every request got
// one answer and none is under way: to be waited for.
void check_agreement(SystemSimulation& system, Wrong& wrong);

// From here on in this order, each asks policyd for something.

// A whole map reaches each line card once for each of its ports, and is there.
void check_map(SystemSimulation& system, Wrong& wrong);
// No binding is left behind by anything: everything can be taken back.
void check_bindings(SystemSimulation& system, Wrong& wrong);
// Nobody says anything any more, and nobody ever tried without end.
void check_quiet(SystemSimulation& system, Wrong& wrong);
// Nothing that a process held for others is left.
void check_leftovers(SystemSimulation& system, Wrong& wrong);

}  // namespace system_checks
