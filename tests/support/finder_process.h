// A finder as a process of its own, beside what is under test.
#pragma once

#include <string>

#include "tests/support/child_process.h"

// Where it says that it listens, "127.0.0.1:4711", once it does; empty when it left
// instead or says anything else.
[[nodiscard]] std::string address_of_finder(ChildProcess& finder);
