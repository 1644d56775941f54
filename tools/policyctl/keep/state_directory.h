// What policyctl keeps between its runs, a directory for each switch: who is
// changing it, the journal of a change under way, and checkpoints.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/clock.h"
#include "tools/policyctl/switch/switch_session.h"

// Only one policyctl changes a switch at a time. Held until it goes; the kernel
// lets go of it for a process that is killed.
class ChangeLock {
 public:
  ChangeLock(ChangeLock&& other) noexcept : _fd(other._fd) { other._fd = -1; }
  ChangeLock& operator=(ChangeLock&&) = delete;
  ~ChangeLock();

 private:
  friend class StateDirectory;
  explicit ChangeLock(int fd) : _fd(fd) {}
  int _fd;
};

class StateDirectory {
 public:
  // $POLICYCTL_STATE_DIR, else /var/lib/policyctl for root, else
  // $XDG_STATE_HOME/policyctl or ~/.local/state/policyctl. Nothing is made yet.
  // Throws Failure REFUSED when none of them is set.
  explicit StateDirectory(const SwitchPlace& place);

  [[nodiscard]] const std::string& path() const { return _path; }

  // Waits at most `patience` for whoever holds it. Throws Failure: TIMED_OUT when
  // it is held all that time, REFUSED when the directory cannot be used.
  [[nodiscard]] ChangeLock lock(Duration patience) const;
  // None when somebody else has it.
  [[nodiscard]] std::optional<ChangeLock> try_lock() const;

  // Replaces a file so that, whatever happens, either the old or the new one is
  // there, whole and on the disk. Throws Failure REFUSED: "no space left".
  void write(const std::string& name, std::string_view content) const;
  // None when there is no such file. Throws Failure when it cannot be read.
  [[nodiscard]] std::optional<std::string> read(const std::string& name) const;
  void remove(const std::string& name) const;
  // Names of files that begin with `prefix`, ascending.
  [[nodiscard]] std::vector<std::string> list(std::string_view prefix) const;

 private:
  void make() const;
  [[nodiscard]] int open_lock() const;

  std::string _path;
};
