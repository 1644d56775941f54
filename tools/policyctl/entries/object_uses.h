// An entry as people name it, and who uses it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/statements.h"

// "acl 10", "acl 10 rule 1", "time-range night".
struct ObjectName {
  const EntryKind* kind = nullptr;
  EntryKey key;

  [[nodiscard]] std::string name() const { return name_of(*kind, key); }
};
// Whether bindings name entries of the kind, or what stands below them.
[[nodiscard]] bool is_used(const EntryKind& kind);

// A way to name one.
struct ObjectForm {
  std::string words;  // in the notation of statements: "acl ACL rule RULE"
  const EntryKind* kind;
  const Scope* scope;  // what has to be open, lest the words say too little; TOP_LEVEL: nothing
};
// The words of its statement up to the last argument of its key: "acl ACL".
[[nodiscard]] std::string key_words(const EntryKind& kind);
// The key that words of a form say; its numbers begin at the `number`th of `key`.
[[nodiscard]] EntryKey key_said(std::string_view form, const std::vector<std::string>& words,
                                EntryKey key = {}, std::size_t number = 0);
// What can be meant where an argument names USED, MADE, EDITED or HEADS.
[[nodiscard]] std::vector<const ObjectForm*> object_forms(Named names);
// One of these, of which `scope` and `open` say what is open. Throws Failure USAGE,
// saying what is wrong.
[[nodiscard]] ObjectName parse_object(Named names, const std::vector<std::string>& words,
                                      const Scope* scope = &TOP_LEVEL, const EntryKey& open = {});

// Where things are looked for.
struct ObjectPlace {
  const char* name;
};
inline constexpr ObjectPlace ON_THE_SWITCH{"on the switch"};
inline constexpr ObjectPlace IN_THE_CANDIDATE{"here"};
// Throws Failure REFUSED when there is none; `place` is where it was looked for.
void require_object(const ObjectName& object, const Entries& entries, const ObjectPlace& place);

// What uses it or, of a list, one of its rules.
struct ObjectUse {
  const EntryKind* kind = nullptr;
  EntryKey key;  // of an element of an ORDERED one with it
  EntryValue value;
};
[[nodiscard]] std::vector<ObjectUse> uses_of(const ObjectName& object, const Entries& entries);
// The statement that it stands below: "interface eth-0/3/1"; and its own.
[[nodiscard]] std::string place_of(const ObjectUse& use);
[[nodiscard]] std::string statement_of(const ObjectUse& use);

// Takes away every use of it.
void unbind_object(const ObjectName& object, Entries& entries);
