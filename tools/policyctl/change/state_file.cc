#include "tools/policyctl/change/state_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "tools/policyctl/change/open_file.h"

namespace {

bool is_missing(int error) {
  return error == ENOENT || error == ENOTDIR;
}

// Up to the first `end`, which is left out, or the end of the file.
std::optional<std::string> read_up_to(const std::string& path, std::optional<char> end) {
  // A pipe that nobody writes to would keep us waiting.
  const OpenFile file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (file.fd() < 0) {
    if (is_missing(errno)) return std::nullopt;
    refuse_state_file("read", path, errno);
  }
  const std::size_t size_now = require_plain_file(file.fd(), "read", path);
  std::string text;
  // A journal of a hundred thousand rules would be held twice while it grows.
  if (!end) text.reserve(size_now);
  std::array<char, std::size_t{64} << 10U> part{};
  const std::size_t most = end ? std::size_t{1} << 10U : part.size();
  for (;;) {
    const ssize_t size = read(file.fd(), part.data(), most);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) refuse_state_file("read", path, errno);
    const std::string_view got(part.data(), static_cast<std::size_t>(size));
    const std::size_t at = end ? got.find(*end) : std::string_view::npos;
    text += got.substr(0, at);
    if (size == 0 || at != std::string_view::npos) return text;
  }
}

}  // namespace

std::size_t require_plain_file(int fd, const std::string& what, const std::string& path) {
  struct stat status {};
  if (fstat(fd, &status) != 0) refuse_state_file(what, path, errno);
  if (S_ISDIR(status.st_mode)) refuse_state_file(what, path, EISDIR);
  if (S_ISREG(status.st_mode)) return static_cast<std::size_t>(status.st_size);
  throw Failure(ExitStatus::REFUSED, "could not " + what + " " + path + ": it is no plain file.",
                "Remove it: what policyctl keeps there are plain files.");
}

void refuse_state_file(const std::string& what, const std::string& path, int error) {
  throw Failure(ExitStatus::REFUSED,
                "could not " + what + " " + path + ": " + std::strerror(error) + ".",
                "policyctl keeps its journal there; give it room, or name another directory in "
                "POLICYCTL_STATE_DIR.");
}

std::optional<std::string> read_state_file(const std::string& path) {
  return read_up_to(path, std::nullopt);
}

std::optional<std::string> read_first_line(const std::string& path) {
  return read_up_to(path, '\n');
}

bool has_state_file(const std::string& path) {
  if (access(path.c_str(), F_OK) == 0) return true;
  if (!is_missing(errno)) refuse_state_file("look for", path, errno);
  return false;
}

std::string on_one_line(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c >= 0 && (c < ' ' || c == '\x7f'); }, ' ');
  return text;
}
