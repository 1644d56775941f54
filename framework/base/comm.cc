#include "framework/base/comm.h"

#include <sys/resource.h>

#include <algorithm>
#include <csignal>

namespace {

// More is of no use to any process of the switch, and a hard limit of
// "unlimited" is no size for tables that are indexed by descriptor.
constexpr rlim_t MAX_DESCRIPTORS = 65536;

void raise_descriptor_limit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  const rlim_t wanted = std::min(limit.rlim_max, MAX_DESCRIPTORS);
  if (limit.rlim_cur >= wanted) return;
  limit.rlim_cur = wanted;
  // Where this is refused the process goes on with what it has.
  (void)::setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int comm_init() {
  (void)std::signal(SIGPIPE, SIG_IGN);
  raise_descriptor_limit();
  return 0;
}

// The signal stays ignored and the limit raised: other users of sockets in
// this process may still be at work.
int comm_exit() {
  return 0;
}
