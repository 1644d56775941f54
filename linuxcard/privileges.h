// What the process may do once it runs: what programming the network takes, and no more.
#pragma once

// Gives up every capability but those to administer the network (CAP_NET_ADMIN), to load
// programs (CAP_BPF) and to have the verifier trust their pointers (CAP_PERFMON), for good,
// threads that begin later included. A process that has none of them goes on without.
// Throws std::system_error.
void drop_privileges();
