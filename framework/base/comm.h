// The process-wide socket set-up. Both calls may be repeated in any order.
#pragma once

// A write to a closed connection becomes an error instead of a signal, and
// the process may open as many descriptors as it is allowed to. Answers 0.
int comm_init();
// Answers 0, also when comm_init() was never called.
int comm_exit();
