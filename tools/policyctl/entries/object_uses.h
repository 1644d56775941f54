// A list, a rule or a time range as people name it, and who uses it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/entries/missing_object.h"
#include "tools/policyctl/language/configuration.h"

// "acl 10", "acl 10 rule 1", "time-range night".
struct ObjectName {
  const EntryKind* kind = nullptr;
  EntryKey key;

  [[nodiscard]] std::string name() const { return name_of(*kind, key); }
};
// One of `forms`, which are some of object_forms(). Throws Failure USAGE, saying what
// is wrong.
[[nodiscard]] ObjectName parse_object(const std::vector<std::string_view>& forms,
                                      const std::vector<std::string>& words);
// The forms of names, in the notation of statements: of what can be used by bindings,
// and of all that the operator makes and deletes.
[[nodiscard]] const std::vector<std::string_view>& list_forms();
[[nodiscard]] const std::vector<std::string_view>& object_forms();

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
// It must be there.
void remove_object(const ObjectName& object, Entries& entries);
