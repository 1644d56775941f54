// Rule sets and configurations that other tools wrote, as a configuration of
// this one.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/fault.h"

struct Import;
struct ImportOptions;

struct ImportFormat {
  std::string_view name;  // on the command line
  std::string_view help;
  void (*read)(std::string_view text, const ImportOptions& options, Import& import);
};
[[nodiscard]] std::span<const ImportFormat> import_formats();
// Null when there is none of that name.
[[nodiscard]] const ImportFormat* find_import_format(std::string_view name);

struct ImportOptions {
  std::uint32_t first_acl = 1;  // the number of the first access control list
};

// Something of the text that has no counterpart, or whose counterpart is not
// quite the same. Each of the three is one line that can be shown.
struct ImportNote {
  std::string where;  // a JSON pointer, "/ACL_TABLE|EDGE/stage", or a table
  std::string what;   // what stands there
  std::string why;    // what became of it, a sentence
};

// "WHERE: WHAT: WHY"
[[nodiscard]] std::string note_line(const ImportNote& note);

// What the formats become:
//
// classbench: one list. Its rules permit, are numbered from 1 in the order of the
// lines, and have the fields of tools/classbench.
//
// openconfig-acl: each set a list of its name, the lists numbered upwards in the
// order of the text. A rule has the number of its entry.
//
// flat-config: each ACL_TABLE a list, as above, its rules numbered from 1 on, those
// of the highest priority first, and bound to the ports of the table. The map of
// 802.1p priorities, and the weights of the queues when they can be said exactly.
//
// An entry that has a condition without counterpart is left out, with a note: the
// rule would match more than it was meant to.
struct Import {
  WantedConfiguration configuration;  // prints as text that reads back without faults
  std::vector<ImportNote> notes;      // nothing is left out unnamed
  std::vector<Fault> faults;          // of the text; with any, the rest is incomplete
};

[[nodiscard]] Import import_text(const ImportFormat& format, std::string_view text,
                                 const ImportOptions& options);
