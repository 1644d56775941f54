#include "tools/policyctl/change/replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

int write_all(int fd, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(fd, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

namespace {

// One that is there is of somebody who was killed, or meant ill.
int open_new(const std::string& path) {
  unlink(path.c_str());
  return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
}

}  // namespace

Draft::Draft(Replacement file) : _file(std::move(file)), _draft(open_new(_file.draft)) {
  if (_draft.fd() < 0) _error = errno;
}

Draft::~Draft() {
  if (_draft.fd() >= 0 && !_is_in_place) unlink(_file.draft.c_str());
}

void Draft::append(std::string_view content) {
  if (_error == 0) _error = write_all(_draft.fd(), content);
  _size += content.size();
}

void Draft::write_over(std::size_t at, std::string_view content) {
  if (_error != 0) return;
  const bool is_there = lseek(_draft.fd(), static_cast<off_t>(at), SEEK_SET) >= 0;
  _error = is_there ? write_all(_draft.fd(), content) : errno;
  if (lseek(_draft.fd(), 0, SEEK_END) < 0 && _error == 0) _error = errno;
}

int Draft::put_in_place() {
  if (_error == 0 && fchmod(_draft.fd(), _file.mode) != 0) _error = errno;
  if (_error == 0 && fsync(_draft.fd()) != 0) _error = errno;
  if (_error == 0 && rename(_file.draft.c_str(), _file.path.c_str()) != 0) _error = errno;
  _is_in_place = _error == 0;
  return _error;
}

int replace_file(const Replacement& file, std::string_view content) {
  Draft draft(file);
  draft.append(content);
  return draft.put_in_place();
}
