#include "tools/policyctl/change/state_directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <utility>

#include "framework/base/host_name.h"
#include "tools/policyctl/change/open_file.h"
#include "tools/policyctl/change/replace_file.h"
#include "tools/policyctl/change/state_file.h"

namespace {

constexpr auto LOCK_POLL = std::chrono::milliseconds(10);

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

}  // namespace

StateDirectory::StateDirectory(const SwitchPlace& place)
    : _path(base_directory() + "/" + directory_of(place)) {}

bool StateDirectory::exists() const {
  return has_state_file(_path);
}

// As mkdir -p does, for this user alone.
void StateDirectory::make() const {
  for (std::size_t at = 0; at != std::string::npos;) {
    at = _path.find('/', at + 1);
    const std::string part = _path.substr(0, at);
    if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) refuse_state_file("make", part, errno);
  }
}

// Who else may write to the directory decides what is read from it.
void StateDirectory::check() const {
  struct stat status {};
  if (lstat(_path.c_str(), &status) != 0) return;
  const bool is_ours = S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
                       (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
  if (is_ours) return;
  throw Failure(
      ExitStatus::REFUSED,
      "could not use " + _path + ": it is not a directory that is yours alone to write to.",
      "Give it to yourself with mode 0700, or name another directory in "
      "POLICYCTL_STATE_DIR.");
}

std::string StateDirectory::path_of(const std::string& name) const {
  check();
  return _path + "/" + name;
}

std::string StateDirectory::lock_path() const {
  return path_of("lock");
}

std::optional<ChangeLock> StateDirectory::try_lock() const {
  make();
  return ChangeLock::try_hold(lock_path());
}

ChangeLock StateDirectory::lock(Duration patience, const std::string& what) const {
  const auto end = std::chrono::steady_clock::now() + patience;
  for (;;) {
    std::optional<ChangeLock> held = try_lock();
    if (held) {
      held->tell(what);
      return std::move(*held);
    }
    if (std::chrono::steady_clock::now() >= end) {
      const std::string holder = ChangeLock::holder(lock_path());
      throw Failure(ExitStatus::TIMED_OUT,
                    "another policyctl is changing this switch and has not finished" +
                        (holder.empty() ? "" : ": " + holder) + ".",
                    "Try again, or wait longer with --timeout SECONDS.", Fate::UNCHANGED);
    }
    std::this_thread::sleep_for(LOCK_POLL);
  }
}

void StateDirectory::settle() const {
  const OpenFile directory(open(_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // EINVAL: the file system has nothing to wait for.
  const bool settled = directory.fd() >= 0 && (fsync(directory.fd()) == 0 || errno == EINVAL);
  if (!settled) refuse_state_file("write", _path, errno);
}

void StateDirectory::write(const std::string& name, std::string_view content) const {
  write(name, [content](Draft& draft) { draft.append(content); });
}

void StateDirectory::write(const std::string& name, const std::function<void(Draft&)>& fill) const {
  make();
  const std::string path = path_of(name);
  Draft draft({path, path + ".new", 0600});
  fill(draft);
  const int error = draft.put_in_place();
  if (error != 0) refuse_state_file("write", path, error);
  settle();
}

std::optional<std::string> StateDirectory::read(const std::string& name) const {
  return read_state_file(path_of(name));
}

std::optional<std::string> StateDirectory::first_line(const std::string& name) const {
  return read_first_line(path_of(name));
}

bool StateDirectory::has(const std::string& name) const {
  return has_state_file(path_of(name));
}

void StateDirectory::remove(const std::string& name) const {
  const std::string path = path_of(name);
  if (unlink(path.c_str()) == 0) return settle();
  if (errno != ENOENT) refuse_state_file("remove", path, errno);
}

std::vector<std::string> StateDirectory::list(std::string_view prefix) const {
  check();
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
