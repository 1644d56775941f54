// A JSON text as a tree that keeps the order of its members.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/language/fault.h"

struct JsonMember;

struct JsonValue {
  enum class Kind : std::uint8_t { EMPTY, FLAG, NUMBER, TEXT, OBJECT, ARRAY };

  Kind kind = Kind::EMPTY;
  std::string text;                 // of TEXT; of NUMBER and FLAG as they are written
  std::vector<JsonMember> members;  // of OBJECT, in the order of the text, each name once
  std::vector<JsonValue> elements;  // of ARRAY

  [[nodiscard]] bool is_object() const { return kind == Kind::OBJECT; }
  // TEXT, NUMBER or FLAG.
  [[nodiscard]] bool is_scalar() const;
  // Null when there is none.
  [[nodiscard]] const JsonValue* find(std::string_view name) const;
};

struct JsonMember {
  std::string name;
  JsonValue value;
};

// What is wrong with the text is in `faults`: that it is no JSON, that a name
// stands twice in an object, or that it nests deeper than MOST_DEPTH.
constexpr std::size_t MOST_JSON_DEPTH = 64;
std::optional<JsonValue> parse_json(std::string_view text, std::vector<Fault>& faults);

// `path` and the name of a member, as a JSON pointer (RFC 6901) that can be shown.
[[nodiscard]] std::string json_path(std::string_view path, std::string_view name);
// The text with '?' for what cannot be shown.
[[nodiscard]] std::string printable(std::string_view text);
// A few words for what a value is: "the text 'abc'", "an object".
[[nodiscard]] std::string describe(const JsonValue& value);
