// Configuration text, line by line, into entries.
#pragma once

#include <cstdint>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/language/statement_match.h"

// Where a text says something of which only the switch knows whether it can be: an
// entry that is somebody else's, the use of another entry, or one that may not suit
// who uses it.
struct EntryPlace {
  const EntryKind* kind = nullptr;
  EntryKey key;  // of an element of an ORDERED one with it
  std::uint32_t line = 0;
  std::uint32_t column = 0;
  std::uint32_t length = 0;
};
[[nodiscard]] Fault fault_at(const EntryPlace& place, std::string message, std::string advice);

struct ReadConfiguration {
  WantedConfiguration configuration;
  std::vector<Fault> faults;  // in order of place; with any, the rest is incomplete
  std::vector<EntryPlace> places;
};

// All of a text, all its faults. What the text alone shows is checked: words,
// values, that nothing is said twice, and that what is used, where the text has it,
// suits its use.
[[nodiscard]] ReadConfiguration read_configuration(std::string_view text);

// Uses of entries that do not suit them, or, where `configuration` is that of a whole
// switch, are missing from it.
[[nodiscard]] std::vector<Fault> use_faults(const std::vector<EntryPlace>& places,
                                            const Entries& configuration, bool whole_switch);

// Reads line after line, for a person who types them.
class ConfigurationReader {
 public:
  // Adds to `read`, which must outlive the reader.
  explicit ConfigurationReader(ReadConfiguration& read) : _read(read) {}

  // `line` is without its line break; `number` counts from 1. A line that is
  // refused adds to the faults and leaves the configuration alone.
  void read_line(std::string_view line, std::size_t number);
  // Takes the last line, when it was no statement, for the one it was probably
  // meant to be as far as the place of the following lines goes, lest they be
  // called wrong for standing there. They are kept nowhere then, so this is for
  // texts that are refused as a whole.
  void read_on();
  // The following lines stand below that entry.
  void open(const EntryKind& head, const EntryKey& key);
  // To be called behind the last line, or before what was read is looked at.
  void finish();

  // What is open, and whether anything is.
  [[nodiscard]] const Scope* context() const { return _context; }
  [[nodiscard]] const EntryKey& open_key() const { return _above; }

 private:
  // The elements of an ORDERED entry that is being read.
  struct Order {
    const EntryKind* kind = nullptr;
    EntryKey key;
    std::vector<std::uint32_t> numbers;
    std::set<std::pair<std::uint32_t, std::uint32_t>> seen;
  };

  void enter();
  void refuse(const StatementValues::Value& at, std::string message, std::string advice);
  void note(const EntryKind& kind, const EntryKey& key, const StatementValues::Value& at);
  bool add_to_order(const EntryKind& kind, const EntryKey& key);
  [[nodiscard]] Entries& entries() { return _is_unread ? _unread : _read.configuration; }

  ReadConfiguration& _read;
  Words _words;
  StatementMatch _match;
  const Scope* _context = &TOP_LEVEL;
  EntryKey _above;
  bool _is_unread = false;  // what is open could not be read
  Entries _unread;
  Order _order;
  std::uint32_t _line = 0;
  bool _is_statement = true;
};
