#include "tests/support/orphans.h"

#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace {

// Of all threads.
std::vector<pid_t> children() {
  std::vector<pid_t> found;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream list(thread.path() / "children");
    for (pid_t pid = 0; list >> pid;) found.push_back(pid);
  }
  return found;
}

}  // namespace

Orphans::Orphans() {
  if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) throw std::runtime_error("no orphans come here");
}

Orphans::~Orphans() {
  // Children of those that end here follow them.
  for (std::vector<pid_t> left = children(); !left.empty(); left = children()) {
    for (const pid_t pid : left) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
    }
  }
}
