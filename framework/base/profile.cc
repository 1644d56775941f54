#include "framework/base/profile.h"

namespace {

std::string about(const std::string& name, const char* what) {
  return "The profile variable " + name + " " + what + ".";
}

}  // namespace

PVariableUnknown::PVariableUnknown(const std::string& name)
    : XorpException(about(name, "does not exist")) {}

PVariableLocked::PVariableLocked(const std::string& name)
    : XorpException(about(name, "is locked")) {}

PVariableNotLocked::PVariableNotLocked(const std::string& name)
    : XorpException(about(name, "is not locked")) {}

PVariableExists::PVariableExists(const std::string& name)
    : XorpException(about(name, "exists already")) {}

void Profile::create(const std::string& name, const std::string& comment) {
  const auto [variable, is_new] = _variables.try_emplace(name);
  if (!is_new) throw PVariableExists(name);
  variable->second.comment = comment;
}

void Profile::enable(const std::string& name) {
  find_unlocked(name).enabled = true;
}

void Profile::disable(const std::string& name) {
  find(name).enabled = false;
}

void Profile::clear(const std::string& name) {
  find_unlocked(name).entries.clear();
}

bool Profile::is_enabled(const std::string& name) const {
  return find(name).enabled;
}

void Profile::log(const std::string& name, TimeVal time, const std::string& text) {
  Variable& variable = find(name);
  if (!variable.enabled || variable.locked) return;
  if (variable.entries.size() == MAX_LOG_ENTRIES) variable.entries.pop_front();
  variable.entries.push_back({time, text});
}

void Profile::lock_log(const std::string& name) {
  Variable& variable = find_unlocked(name);
  variable.locked = true;
  variable.next_read = 0;
}

bool Profile::read_log(const std::string& name, ProfileLogEntry& entry) {
  Variable& variable = find_locked(name);
  if (variable.next_read == variable.entries.size()) return false;
  entry = variable.entries[variable.next_read++];
  return true;
}

void Profile::release_log(const std::string& name) {
  find_locked(name).locked = false;
}

std::string Profile::list() const {
  std::string text;
  for (const auto& [name, variable] : _variables) {
    text += name + "\t" + std::to_string(variable.entries.size()) + "\t" +
            (variable.enabled ? "enabled" : "disabled") + "\t" + variable.comment + "\n";
  }
  return text;
}

const Profile::Variable& Profile::find(const std::string& name) const {
  const auto variable = _variables.find(name);
  if (variable == _variables.end()) throw PVariableUnknown(name);
  return variable->second;
}

Profile::Variable& Profile::find(const std::string& name) {
  return const_cast<Variable&>(std::as_const(*this).find(name));  // NOLINT(*-const-cast)
}

Profile::Variable& Profile::find_unlocked(const std::string& name) {
  Variable& variable = find(name);
  if (variable.locked) throw PVariableLocked(name);
  return variable;
}

Profile::Variable& Profile::find_locked(const std::string& name) {
  Variable& variable = find(name);
  if (!variable.locked) throw PVariableNotLocked(name);
  return variable;
}
