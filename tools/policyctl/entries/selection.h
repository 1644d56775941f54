// A part of a configuration as a command line names it: nothing for all of it,
// "cos", "time-ranges", "acls", "acl 10", "acl 10 rule 1", "interfaces",
// "interface eth-0/3/1", "vlans", "vlan 100".
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/entries/object_uses.h"
#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/entry_kind.h"

// The forms of selections, in the notation of statements: "acl ACL rule RULE".
[[nodiscard]] std::vector<std::string_view> selection_forms();

class Selection {
 public:
  // Throws Failure USAGE, saying what is wrong.
  static Selection parse(const std::vector<std::string>& words);

  // The kinds of the top level that have to be read for it.
  [[nodiscard]] const std::vector<const EntryKind*>& parts() const { return _parts; }
  [[nodiscard]] bool has(const EntryKind& kind) const;
  // "acl", "acls", ...; empty for all of it.
  [[nodiscard]] std::string_view kind() const {
    return _words.empty() ? std::string_view() : std::string_view(_words[0]);
  }
  // As it was given.
  [[nodiscard]] std::string name() const;

  // Throws Failure REFUSED when a single thing is selected and is not there.
  void require(const Entries& entries, const ObjectPlace& place = ON_THE_SWITCH) const;
  // Drops what is not selected of the parts that it is of; other parts stay.
  void narrow(Entries& entries) const;
  // Drops other parts.
  void drop_other_parts(Entries& entries) const;

 private:
  std::vector<const EntryKind*> _parts;
  std::vector<std::string> _words;
  ObjectName _one;  // the single thing; without a kind: there is none
};
