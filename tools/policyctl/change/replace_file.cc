#include "tools/policyctl/change/replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "tools/policyctl/change/open_file.h"

namespace {

int write_and_flush(int fd, const Replacement& file, std::string_view content) {
  int error = write_all(fd, content);
  // A draft that a killed one left may have another mode.
  if (error == 0 && fchmod(fd, file.mode) != 0) error = errno;
  if (error == 0 && fsync(fd) != 0) error = errno;
  return error;
}

}  // namespace

int write_all(int fd, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(fd, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

int replace_file(const Replacement& file, std::string_view content) {
  const OpenFile draft(open(file.draft.c_str(),
                            O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK,
                            0600));
  if (draft.fd() < 0) return errno;
  int error = write_and_flush(draft.fd(), file, content);
  if (error == 0 && rename(file.draft.c_str(), file.path.c_str()) != 0) error = errno;
  if (error != 0) unlink(file.draft.c_str());
  return error;
}
