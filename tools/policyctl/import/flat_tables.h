// The tables of a flat configuration.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tools/policyctl/import/import_log.h"

struct FlatEntry {
  std::string key;  // without the table
  const JsonValue* value;
  std::string path;
};

struct FlatTable {
  std::string name;
  std::vector<FlatEntry> entries;  // in the order of the text, each key once
};

class FlatTables {
 public:
  // Of an object whose members are TABLE|KEY, or TABLE with the keys as members
  // of an object. `tree` must outlive the tables. An entry that stands in the
  // wrapping of a database dump is unwrapped.
  FlatTables(const JsonValue& tree, ImportLog& log);

  [[nodiscard]] const std::vector<FlatTable>& all() const { return _tables; }
  // The entries of that table; none when there is no such table.
  [[nodiscard]] const std::vector<FlatEntry>& entries(std::string_view table) const;

 private:
  FlatTable& table(const std::string& name);
  void add(FlatTable& table, std::string key, const JsonValue& value, std::string path,
           ImportLog& log);

  std::vector<FlatTable> _tables;
  std::unordered_map<std::string, std::size_t> _places;
  std::unordered_map<std::string, std::string> _paths;  // of entries, by "TABLE|KEY"
};
