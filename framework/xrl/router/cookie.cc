#include "framework/xrl/router/cookie.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

class File {
 public:
  // Does not wait for the writer of a FIFO that somebody put in its place.
  explicit File(const std::string& path)
      : _fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)) {}
  ~File() {
    if (_fd >= 0) ::close(_fd);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  [[nodiscard]] int fd() const { return _fd; }

 private:
  int _fd;
};

// Read after it is open, so that no other file can take its place between
// check and use.
std::string problem_of_file(int fd) {
  struct stat status {};
  if (::fstat(fd, &status) != 0) return std::strerror(errno);
  if (!S_ISREG(status.st_mode)) return "not a regular file";
  if (status.st_uid != ::geteuid()) return "owned by another user";
  if ((status.st_mode & 07777U & ~0600U) != 0) return "its mode must be 0600 or stricter";
  return {};
}

// The whole file, or what is wrong with it.
std::string read_all(int fd, std::string& content) {
  // With room for the line break and for one byte that shows there is more.
  std::array<char, MAX_COOKIE_BYTES + 2> buffer{};
  std::size_t size = 0;
  while (size < buffer.size()) {
    const ssize_t count = ::read(fd, buffer.data() + size, buffer.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::strerror(errno);
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  content.assign(buffer.data(), size);
  if (!content.empty() && content.back() == '\n') content.pop_back();
  if (content.size() < MIN_COOKIE_BYTES) {
    return "shorter than " + std::to_string(MIN_COOKIE_BYTES) + " bytes";
  }
  if (content.size() > MAX_COOKIE_BYTES) {
    return "longer than " + std::to_string(MAX_COOKIE_BYTES) + " bytes";
  }
  return {};
}

}  // namespace

bool read_cookie_file(const std::string& path, std::string& cookie, std::string& error) {
  const File file(path);
  std::string content;
  std::string problem;
  if (file.fd() < 0) {
    problem = std::strerror(errno);
  } else {
    problem = problem_of_file(file.fd());
    if (problem.empty()) problem = read_all(file.fd(), content);
  }
  if (!problem.empty()) {
    error = "cookie file '" + path + "': " + problem + ".";
    return false;
  }
  cookie = std::move(content);
  return true;
}

bool read_cookie_from_environment(std::string& cookie, std::string& error) {
  const char* path = std::getenv("XRL_COOKIE_FILE");
  if (path == nullptr || *path == '\0') {
    cookie.clear();
    return true;
  }
  return read_cookie_file(path, cookie, error);
}

bool cookies_match(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  unsigned different = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    different |=
        static_cast<unsigned>(static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]));
  }
  // Kept from being decided early by the optimizer.
  volatile unsigned result = different;
  return result == 0;
}
