// Configuration as text: each statement a line, in the order of the table of
// entry kinds, numbers and names ascending. Reading it back gives the same.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/entry_kind.h"

// Interfaces and VLANs with nothing bound, and what they have from the start.
enum class Bare { LEFT_OUT, WRITTEN };

[[nodiscard]] std::string write_configuration(const Entries& entries, Bare bare = Bare::LEFT_OUT);
// The same in pieces of many lines, one behind the other; each is gone when `take`
// returns.
void write_configuration(const Entries& entries, Bare bare,
                         const std::function<void(std::string_view)>& take);

// A single statement, without indentation and line break; of an ORDERED one the key
// is of an element.
[[nodiscard]] std::string statement_text(const EntryKind& kind, const EntryKey& key,
                                         const EntryValue& value = {});

// Whether nothing stands below a head that it does not have from the start.
[[nodiscard]] bool is_bare(const EntryKind& head, const EntryKey& key, const Entries& entries);

// A match field as rules write it: by name when the value is one of the field's,
// by number otherwise.
void append_field(std::string& line, std::uint32_t number, std::string_view value);
