#include "tools/policyctl/keep/state_directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <utility>

#include "framework/base/host_name.h"

namespace {

constexpr auto LOCK_POLL = std::chrono::milliseconds(10);
constexpr const char* LOCK_FILE = "lock";

[[noreturn]] void refuse(const std::string& what, const std::string& path, int error) {
  throw Failure(ExitStatus::REFUSED,
                "could not " + what + " " + path + ": " + std::strerror(error) + ".",
                "policyctl keeps its journal there; give it room, or name another directory in "
                "POLICYCTL_STATE_DIR.");
}

std::string environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

// A relative path would be another directory wherever policyctl is started; the
// rules for XDG_STATE_HOME say not to heed one.
std::string absolute_directory(const char* variable) {
  const std::string path = environment(variable);
  return path.starts_with('/') ? path : std::string();
}

std::string base_directory() {
  std::string base = environment("POLICYCTL_STATE_DIR");
  if (!base.empty()) return std::filesystem::absolute(base).string();
  if (geteuid() == 0) return "/var/lib/policyctl";
  base = absolute_directory("XDG_STATE_HOME");
  if (!base.empty()) return base + "/policyctl";
  base = absolute_directory("HOME");
  if (!base.empty()) return base + "/.local/state/policyctl";
  throw Failure(ExitStatus::REFUSED, "there is no directory for a journal: HOME is not set.",
                "Name one in POLICYCTL_STATE_DIR.");
}

// The switch as a name of a directory, the same for every name of its host.
std::string directory_of(const SwitchPlace& place) {
  IPv4 address;
  const bool resolved = resolve_host_name(place.finder_host, address);
  std::string name =
      SwitchPlace{resolved ? address.str() : place.finder_host, place.finder_port}.name();
  std::replace_if(
      name.begin(), name.end(), [](char c) { return c == '/' || c == ':'; }, '_');
  return name;
}

class File {
 public:
  explicit File(int fd) : _fd(fd) {}
  ~File() {
    if (_fd >= 0) close(_fd);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  [[nodiscard]] int fd() const { return _fd; }

 private:
  int _fd;
};

bool write_all(int fd, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(fd, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

ChangeLock::~ChangeLock() {
  if (_fd >= 0) close(_fd);
}

StateDirectory::StateDirectory(const SwitchPlace& place)
    : _path(base_directory() + "/" + directory_of(place)) {}

// As mkdir -p does, for this user alone.
void StateDirectory::make() const {
  for (std::size_t at = 0; at != std::string::npos;) {
    at = _path.find('/', at + 1);
    const std::string part = _path.substr(0, at);
    if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) refuse("make", part, errno);
  }
}

int StateDirectory::open_lock() const {
  make();
  const std::string path = _path + "/" + LOCK_FILE;
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0) refuse("open", path, errno);
  return fd;
}

std::optional<ChangeLock> StateDirectory::try_lock() const {
  ChangeLock held(open_lock());
  while (flock(held._fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) return std::nullopt;
    if (errno != EINTR) refuse("lock", _path + "/" + LOCK_FILE, errno);
  }
  return held;
}

ChangeLock StateDirectory::lock(Duration patience) const {
  const auto end = std::chrono::steady_clock::now() + patience;
  for (;;) {
    std::optional<ChangeLock> held = try_lock();
    if (held) return std::move(*held);
    if (std::chrono::steady_clock::now() >= end) {
      throw Failure(ExitStatus::TIMED_OUT,
                    "another policyctl is changing this switch and has not finished. Nothing was "
                    "changed.",
                    "Try again, or wait longer with --timeout SECONDS.");
    }
    std::this_thread::sleep_for(LOCK_POLL);
  }
}

void StateDirectory::write(const std::string& name, std::string_view content) const {
  make();
  const std::string path = _path + "/" + name;
  const std::string draft = path + ".new";
  {
    const File file(open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (file.fd() < 0) refuse("write", draft, errno);
    if (!write_all(file.fd(), content) || fsync(file.fd()) != 0) {
      const int error = errno;
      unlink(draft.c_str());
      refuse("write", draft, error);
    }
  }
  if (rename(draft.c_str(), path.c_str()) != 0) {
    const int error = errno;
    unlink(draft.c_str());
    refuse("write", path, error);
  }
  const File directory(open(_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (directory.fd() >= 0) fsync(directory.fd());
}

std::optional<std::string> StateDirectory::read(const std::string& name) const {
  const std::string path = _path + "/" + name;
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
    refuse("read", path, errno);
  }
  std::string content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (file.bad()) refuse("read", path, EIO);
  return content;
}

void StateDirectory::remove(const std::string& name) const {
  const std::string path = _path + "/" + name;
  if (unlink(path.c_str()) != 0 && errno != ENOENT) refuse("remove", path, errno);
}

std::vector<std::string> StateDirectory::list(std::string_view prefix) const {
  std::vector<std::string> names;
  DIR* const directory = opendir(_path.c_str());
  if (directory == nullptr) return names;
  while (const dirent* const entry = readdir(directory)) {
    const std::string_view name(entry->d_name);
    if (name.starts_with(prefix) && !name.ends_with(".new")) names.emplace_back(name);
  }
  closedir(directory);
  std::sort(names.begin(), names.end());
  return names;
}
