// What an import collects besides the configuration, and the rules it makes.
#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/entries/rule.h"
#include "tools/policyctl/import/import_text.h"
#include "tools/policyctl/import/json_tree.h"

class ImportLog {
 public:
  explicit ImportLog(Import& import) : _import(import) {}

  void note(std::string where, std::string what, std::string why) {
    _import.notes.push_back({std::move(where), std::move(what), std::move(why)});
  }
  // Of a JSON text, at `path`.
  void fault(const std::string& path, const std::string& message, std::string advice = "") {
    _import.faults.push_back(
        {0, 0, 0, (path.empty() ? "/" : path) + ": " + message, std::move(advice)});
  }
  // The value's members; a fault and none when it is no object.
  [[nodiscard]] const std::vector<JsonMember>& members(const std::string& path,
                                                       const JsonValue& value);
  // The text of a text, number or flag; a fault and none when it is something else.
  [[nodiscard]] std::optional<std::string_view> scalar(const std::string& path,
                                                       const JsonValue& value);
  // The number that it is, up to `highest`; a fault and none when it is something else.
  [[nodiscard]] std::optional<std::uint32_t> number(const std::string& path, const JsonValue& value,
                                                    std::uint32_t highest = LAST_U32);

 private:
  static constexpr std::uint32_t LAST_U32 = std::numeric_limits<std::uint32_t>::max();

  Import& _import;
};

// The numbers of the lists that an import makes.
class AclNumbers {
 public:
  explicit AclNumbers(std::uint32_t first) : _next(first) {}

  // Each greater by one than that before; none when there is none left.
  std::optional<std::uint32_t> next() {
    if (_next > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    return static_cast<std::uint32_t>(_next++);
  }

 private:
  std::uint64_t _next;
};

// The match fields of a rule that is being put together.
class FieldsDraft {
 public:
  // Sets the field of that name. What is wrong, or nothing: that the text is no
  // value, or that the field has another value already.
  std::string set(std::string_view name, std::string_view text);
  void drop(std::string_view name);
  [[nodiscard]] bool has(std::string_view name) const;
  // Empty when it was not set.
  [[nodiscard]] std::string_view value(std::string_view name) const;
  [[nodiscard]] RuleFields fields() const;

 private:
  std::map<std::uint32_t, std::string> _values;
};
