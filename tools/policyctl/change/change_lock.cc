#include "tools/policyctl/change/change_lock.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "tools/policyctl/change/local_time.h"
#include "tools/policyctl/change/state_file.h"

namespace {

std::string user() {
  const passwd* const known = getpwuid(geteuid());
  return known != nullptr ? known->pw_name : std::to_string(geteuid());
}

bool empty_file(int fd) {
  int result = 0;
  do {
    result = ftruncate(fd, 0);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

}  // namespace

std::optional<ChangeLock> ChangeLock::try_hold(const std::string& path) {
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (fd < 0) refuse_state_file("open", path, errno);
  ChangeLock lock(fd);
  require_plain_file(fd, "lock", path);
  int error = 0;
  do {
    error = flock(fd, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
  } while (error == EINTR);
  if (error == 0) return lock;
  if (error == EWOULDBLOCK) return std::nullopt;
  refuse_state_file("lock", path, error);
}

std::string ChangeLock::holder(const std::string& path) {
  try {
    return on_one_line(read_state_file(path).value_or(""));
  } catch (const Failure&) {
    return {};
  }
}

ChangeLock::~ChangeLock() {
  if (_fd < 0) return;
  if (_is_told) empty_file(_fd);
  close(_fd);
}

void ChangeLock::tell(const std::string& what) {
  _is_told = true;
  const std::string text = "process " + std::to_string(getpid()) + " of " + user() + ", since " +
                           local_time() + ": " + what;
  // Of one that was killed there may be something left.
  if (!empty_file(_fd)) return;
  if (pwrite(_fd, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
    empty_file(_fd);
  }
}
