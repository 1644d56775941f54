// What policyctl keeps between its runs, a directory for each switch: who is
// changing it, the journal of a change under way, and checkpoints.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/clock.h"
#include "tools/policyctl/change/change_lock.h"
#include "tools/policyctl/change/replace_file.h"
#include "tools/policyctl/switch/switch_session.h"

class StateDirectory {
 public:
  // $POLICYCTL_STATE_DIR, else /var/lib/policyctl for root, else
  // $XDG_STATE_HOME/policyctl or ~/.local/state/policyctl. Nothing is made yet.
  // Throws Failure REFUSED when none of them is set.
  explicit StateDirectory(const SwitchPlace& place);

  [[nodiscard]] const std::string& path() const { return _path; }
  // Whether it was made already.
  [[nodiscard]] bool exists() const;

  // Waits at most `patience` for whoever holds it, and tells the next who waits
  // `what` it is held for: "apply edge.conf". Throws Failure: TIMED_OUT, which says
  // who holds it, when it is held all that time, REFUSED when the directory cannot
  // be used.
  [[nodiscard]] ChangeLock lock(Duration patience, const std::string& what) const;
  // None when somebody else has it. Nobody is told what it is held for.
  [[nodiscard]] std::optional<ChangeLock> try_lock() const;

  // Replaces a file so that, whatever happens, either the old or the new one is
  // there, whole and on the disk. Throws Failure REFUSED: "no space left".
  void write(const std::string& name, std::string_view content) const;
  // The same of what `fill` writes.
  void write(const std::string& name, const std::function<void(Draft&)>& fill) const;
  // None when there is no such file. Throws Failure REFUSED when it cannot be read.
  [[nodiscard]] std::optional<std::string> read(const std::string& name) const;
  // No more than its first line, without the line break.
  [[nodiscard]] std::optional<std::string> first_line(const std::string& name) const;
  [[nodiscard]] bool has(const std::string& name) const;
  // Of a file that is there it is on the disk that it is no longer. Throws Failure
  // REFUSED.
  void remove(const std::string& name) const;
  // Names of files that begin with `prefix`, ascending.
  [[nodiscard]] std::vector<std::string> list(std::string_view prefix) const;

 private:
  void make() const;
  // Throws Failure REFUSED when somebody else may write to it.
  void check() const;
  [[nodiscard]] std::string path_of(const std::string& name) const;
  [[nodiscard]] std::string lock_path() const;
  // Waits until what became of the names of files is on the disk.
  void settle() const;

  std::string _path;
};
