#include "tools/policyctl/entries/acl.h"
#include "tools/policyctl/import/import_formats.h"
#include "tools/policyctl/import/import_log.h"
#include "tools/policyctl/import/match_spelling.h"
#include "tools/policyctl/import/openconfig_entry.h"

namespace {

constexpr const char* NO_COUNTERPART = "policyd has nothing like it.";

class OpenconfigReader {
 public:
  OpenconfigReader(const ImportOptions& options, Import& import)
      : _entries(import.configuration), _log(import), _numbers(options.first_acl) {}

  void read(const JsonValue& tree) {
    constexpr const char* WAY[] = {"acl", "acl-sets", "acl-set"};
    const JsonValue* at = &tree;
    std::string path;
    for (const char* const name : WAY) {
      at = step(*at, path, name);
      if (at == nullptr) return;
    }
    for (const auto& [name, set] : _log.members(path, *at)) {
      read_set(name, set, json_path(path, name));
    }
  }

 private:
  // The member on the way to the sets, whose name may have a module in front.
  const JsonValue* step(const JsonValue& value, std::string& path, std::string_view wanted) {
    const JsonValue* found = nullptr;
    std::string found_path;
    for (const auto& [name, member] : value.members) {
      const bool is_wanted = std::string_view(name).substr(name.rfind(':') + 1) == wanted;
      if (is_wanted && found == nullptr) {
        found = &member;
        found_path = json_path(path, name);
      } else {
        _log.note(json_path(path, name), describe(member), NO_COUNTERPART);
      }
    }
    if (found == nullptr) {
      _log.fault(path, "there is no member '" + std::string(wanted) + "'.",
                 "The sets are expected in acl/acl-sets/acl-set.");
    }
    path = found_path;
    return found;
  }

  void read_set(const std::string& name, const JsonValue& set, const std::string& path) {
    const std::optional<std::uint32_t> number = _numbers.next();
    if (!number) return _log.fault(path, "no number of an access control list is left.");
    const std::uint32_t acl = *number;
    _entries.put(ACL, key_of(acl), acl_value(0, name));
    for (const auto& [member, value] : _log.members(path, set)) {
      const std::string member_path = json_path(path, member);
      if (member == "config") {
        read_set_config(acl, name, value, member_path);
      } else if (member == "acl-entries") {
        read_entries(acl, value, member_path);
      } else {
        _log.note(member_path, describe(value), NO_COUNTERPART);
      }
    }
  }

  void read_set_config(std::uint32_t acl, const std::string& name, const JsonValue& config,
                       const std::string& path) {
    for (const auto& [member, value] : _log.members(path, config)) {
      if (member == "name" && value.text == name) continue;
      const std::string member_path = json_path(path, member);
      if (member == "description") {
        const std::optional<std::string_view> text = _log.scalar(member_path, value);
        if (text) {
          _entries.put(ACL, key_of(acl), acl_value(0, name + ": " + std::string(*text)));
        }
      } else {
        _log.note(member_path, describe(value), NO_COUNTERPART);
      }
    }
  }

  void read_entries(std::uint32_t acl, const JsonValue& entries, const std::string& path) {
    for (const auto& [member, value] : _log.members(path, entries)) {
      const std::string member_path = json_path(path, member);
      if (member != "acl-entry") {
        _log.note(member_path, describe(value), NO_COUNTERPART);
        continue;
      }
      for (const auto& [key, entry] : _log.members(member_path, value)) {
        read_entry(acl, key, entry, json_path(member_path, key));
      }
    }
  }

  void read_entry(std::uint32_t acl, const std::string& key, const JsonValue& value,
                  const std::string& path) {
    OpenconfigEntry entry(_log, path);
    entry.read(value);
    std::optional<Rule> rule = entry.rule();
    if (!rule) return;
    const std::optional<std::uint32_t> number =
        entry.number() ? entry.number() : foreign_number(key);
    if (!number) return _log.fault(path, "config/sequence-id is missing.");
    if (!_entries.of(RULE).try_emplace(key_of(RuleKey{acl, *number}), value_of(*rule)).second) {
      _log.fault(path, "the list has a rule " + std::to_string(*number) + " already.",
                 "Give the entry another sequence-id.");
    }
  }

  Entries& _entries;
  ImportLog _log;
  AclNumbers _numbers;
};

}  // namespace

void import_openconfig_acl(std::string_view text, const ImportOptions& options, Import& import) {
  const std::optional<JsonValue> tree = parse_json(text, import.faults);
  if (tree) OpenconfigReader(options, import).read(*tree);
}
