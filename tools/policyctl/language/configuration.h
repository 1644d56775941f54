// Configurations: entries of every kind. A switch has a whole one; a text names
// some of it.
#pragma once

#include <cstddef>
#include <vector>

#include "tools/policyctl/language/entry_map.h"

class EntryKind;

class Entries {
 public:
  // Those of one kind.
  [[nodiscard]] const EntryMap& of(const EntryKind& kind) const;
  [[nodiscard]] EntryMap& of(const EntryKind& kind);
  // Null when there is none.
  [[nodiscard]] const EntryValue* find(const EntryKind& kind, const EntryKey& key) const;
  [[nodiscard]] bool has(const EntryKind& kind, const EntryKey& key) const {
    return of(kind).contains(key);
  }
  void put(const EntryKind& kind, const EntryKey& key, EntryValue value);
  void erase(const EntryKind& kind, const EntryKey& key) { of(kind).erase(key); }

  bool operator==(const Entries& other) const;

 private:
  std::vector<EntryMap> _kinds;  // by their places in the table
};

// All that a switch is, or is to be: each setting has a value, and each of its
// interfaces and VLANs is there, bound to or not. read_switch() and complete() make
// them, and those who change one keep it whole.
class SwitchConfiguration : public Entries {
 public:
  SwitchConfiguration() = default;
  // `entries` must be whole.
  explicit SwitchConfiguration(Entries entries) : Entries(std::move(entries)) {}
};

// What a text names; all else is not said. complete() makes a whole one of it.
class WantedConfiguration : public Entries {
 public:
  WantedConfiguration() = default;
  explicit WantedConfiguration(Entries entries) : Entries(std::move(entries)) {}
};
