#include "tools/policyctl/import/flat_tables.h"

#include <utility>

namespace {

constexpr char SEPARATOR = '|';

// What a database dump says of an entry besides its value.
const JsonValue& unwrapped(const JsonValue& value, const std::string& path, ImportLog& log) {
  const JsonValue* const type = value.find("type");
  const JsonValue* const inner = value.find("value");
  if (type == nullptr || type->text != "hash" || inner == nullptr || !inner->is_object()) {
    return value;
  }
  for (const auto& [name, member] : value.members) {
    if (&member == type || &member == inner) continue;
    log.note(json_path(path, name), describe(member),
             "a mark of the dump; the entry is imported as if it were lasting.");
  }
  return *inner;
}

}  // namespace

FlatTables::FlatTables(const JsonValue& tree, ImportLog& log) {
  for (const auto& [name, value] : log.members("", tree)) {
    const std::string path = json_path("", name);
    const std::size_t at = name.find(SEPARATOR);
    if (at != std::string::npos) {
      add(table(name.substr(0, at)), name.substr(at + 1), value, path, log);
    } else if (value.is_object()) {
      FlatTable& nested = table(name);
      for (const auto& [key, entry] : value.members) {
        add(nested, key, entry, json_path(path, key), log);
      }
    } else {
      log.note(path, describe(value), "this is no table.");
    }
  }
}

const std::vector<FlatEntry>& FlatTables::entries(std::string_view table) const {
  static const std::vector<FlatEntry> NONE;
  const auto at = _places.find(std::string(table));
  return at == _places.end() ? NONE : _tables[at->second].entries;
}

FlatTable& FlatTables::table(const std::string& name) {
  const auto [at, is_new] = _places.emplace(name, _tables.size());
  if (is_new) _tables.push_back({name, {}});
  return _tables[at->second];
}

void FlatTables::add(FlatTable& table, std::string key, const JsonValue& value, std::string path,
                     ImportLog& log) {
  const auto [at, is_new] = _paths.emplace(table.name + SEPARATOR + key, path);
  if (!is_new) return log.fault(path, "the entry stands at " + at->second + " already.");
  const JsonValue& inner = unwrapped(value, path, log);
  if (!inner.is_object()) (void)log.members(path, inner);
  table.entries.push_back({std::move(key), &inner, std::move(path)});
}
