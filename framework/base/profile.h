// Named profiling variables, each with a switch and a log of time-stamped
// texts that can be locked while it is read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>

#include "framework/base/exceptions.h"

struct TimeVal {
  std::uint32_t seconds = 0;  // since 1970-01-01 UTC
  std::uint32_t microseconds = 0;
  bool operator==(const TimeVal&) const = default;
};

struct ProfileLogEntry {
  TimeVal time;
  std::string text;
};

// "The profile variable NAME does not exist."
class PVariableUnknown : public XorpException {
 public:
  explicit PVariableUnknown(const std::string& name);
};
// "The profile variable NAME is locked."
class PVariableLocked : public XorpException {
 public:
  explicit PVariableLocked(const std::string& name);
};
// "The profile variable NAME is not locked."
class PVariableNotLocked : public XorpException {
 public:
  explicit PVariableNotLocked(const std::string& name);
};
// "The profile variable NAME exists already."
class PVariableExists : public XorpException {
 public:
  explicit PVariableExists(const std::string& name);
};

// Every operation on an unknown name throws PVariableUnknown. A throw changes
// nothing.
class Profile {
 public:
  // A full log drops its oldest entry.
  static constexpr std::size_t MAX_LOG_ENTRIES = 10000;

  // Disabled, unlocked, empty log. Throws PVariableExists.
  void create(const std::string& name, const std::string& comment);

  // From now on log() appends. PVariableLocked while the log is locked.
  void enable(const std::string& name);
  // From now on log() drops what it is given; the entries stay, locked or not.
  void disable(const std::string& name);
  // PVariableLocked while the log is locked. Empties the log.
  void clear(const std::string& name);

  [[nodiscard]] bool is_enabled(const std::string& name) const;
  // Appends when the variable is enabled and its log not locked; drops the
  // text otherwise.
  void log(const std::string& name, TimeVal time, const std::string& text);

  // Locks the log and begins reading at its oldest entry. PVariableLocked
  // when it is locked already.
  void lock_log(const std::string& name);
  // The next entry of a locked log; false when there is none left.
  // PVariableNotLocked when it is not locked.
  [[nodiscard]] bool read_log(const std::string& name, ProfileLogEntry& entry);
  // Unlocks and keeps the entries. PVariableNotLocked when it is not locked.
  void release_log(const std::string& name);

  // One line per variable in ascending name order:
  // "NAME\tENTRIES\tenabled|disabled\tCOMMENT\n".
  [[nodiscard]] std::string list() const;

 private:
  struct Variable {
    std::string comment;
    bool enabled = false;
    bool locked = false;
    std::size_t next_read = 0;
    std::deque<ProfileLogEntry> entries;
  };
  [[nodiscard]] Variable& find(const std::string& name);
  [[nodiscard]] const Variable& find(const std::string& name) const;
  [[nodiscard]] Variable& find_locked(const std::string& name);
  [[nodiscard]] Variable& find_unlocked(const std::string& name);

  std::map<std::string, Variable> _variables;
};
