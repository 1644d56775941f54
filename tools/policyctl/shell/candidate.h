// Candidate: the configuration that a person edits, statement by statement,
// before it goes to the switch.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/entries/object_uses.h"
#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/language/statements.h"

class Candidate {
 public:
  // Forgets all edits. `present` is the whole of a switch.
  void start_from(SwitchConfiguration present);

  // What it was started from, and what it is.
  [[nodiscard]] const SwitchConfiguration& base() const { return _base; }
  [[nodiscard]] const SwitchConfiguration& configuration() const { return _configuration; }
  // Whether anything was edited since.
  [[nodiscard]] bool is_edited() const { return _is_edited; }
  // The edits are on the switch, which has become `present`; what is open stays so.
  void set_committed(SwitchConfiguration present);

  // Which entry is open: what the next lines stand below.
  [[nodiscard]] const Scope* context() const { return _scope; }
  [[nodiscard]] const EntryKey& open_key() const { return _open_key; }
  // "acl 10"; empty at the top level.
  [[nodiscard]] std::string place_name() const;
  void leave();
  // False when there is no such entry.
  bool open(const EntryKind& head, const EntryKey& key);

  // A statement, which replaces what was said of the same thing before. Its
  // faults; with any, nothing is changed.
  [[nodiscard]] std::vector<Fault> enter(std::string_view line);
  // Becomes another configuration of the same switch.
  void become(SwitchConfiguration configuration);

  // Each throws Failure REFUSED when it is not there or is in use, and then
  // nothing is changed.
  void delete_object(const ObjectName& object, bool cascade);
  // All that is bound to an interface or VLAN.
  void delete_bindings(const EntryKind& head, const EntryKey& key);
  // One that is bound to the open interface or VLAN.
  void delete_binding(const EntryKind& kind, const EntryKey& key);

 private:
  void merge(const Entries& said);

  SwitchConfiguration _base;
  SwitchConfiguration _configuration;
  const EntryKind* _head = nullptr;  // what is open; null: nothing
  const Scope* _scope = &TOP_LEVEL;
  EntryKey _open_key;
  bool _is_edited = false;
};
