#include "tools/policyctl/import/json_tree.h"
#include "framework/base/shown_character.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <unordered_set>
#include <utility>

#include "tools/policyctl/language/statement_faults.h"
#include "tools/policyctl/language/words.h"

namespace {

using Json = nlohmann::json;

// The place of the byte at `offset`.
Fault fault_at_offset(std::string_view text, std::size_t offset, std::string message) {
  const std::string_view before = text.substr(0, std::min(offset, text.size()));
  const std::size_t line_begin = before.rfind('\n') + 1;
  const auto line = 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
  return {line, before.size() - line_begin + 1, 1, std::move(message), ""};
}

// What the parser says, without the place and the text around it.
std::string problem_of(std::string message) {
  if (const auto at = message.find("- "); at != std::string::npos) message.erase(0, at + 2);
  if (const auto at = message.find("; last read"); at != std::string::npos) message.erase(at);
  std::replace_if(
      message.begin(), message.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return message;
}

// Builds the tree while the text is parsed.
class TreeBuilder : public nlohmann::json_sax<Json> {
 public:
  TreeBuilder(std::string_view text, std::vector<Fault>& faults) : _text(text), _faults(faults) {}

  JsonValue& root() { return _root; }

  bool null() override { return place({}) != nullptr; }
  bool boolean(bool value) override {
    return scalar(JsonValue::Kind::FLAG, value ? "true" : "false");
  }
  bool number_integer(number_integer_t value) override {
    return scalar(JsonValue::Kind::NUMBER, std::to_string(value));
  }
  bool number_unsigned(number_unsigned_t value) override {
    return scalar(JsonValue::Kind::NUMBER, std::to_string(value));
  }
  bool number_float(number_float_t /*value*/, const string_t& text) override {
    return scalar(JsonValue::Kind::NUMBER, text);
  }
  bool string(string_t& text) override { return scalar(JsonValue::Kind::TEXT, std::move(text)); }
  // JSON has none.
  bool binary(binary_t& /*bytes*/) override { return false; }
  bool start_object(std::size_t /*size*/) override { return open(JsonValue::Kind::OBJECT); }
  bool start_array(std::size_t /*size*/) override { return open(JsonValue::Kind::ARRAY); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool key(string_t& name) override {
    Level& level = _levels.back();
    if (!level.names.insert(name).second) {
      _faults.push_back(
          {0, 0, 0, json_path(level.path, name) + ": the name stands twice.", "Keep one of them."});
    }
    level.name = std::move(name);
    return true;
  }

  bool parse_error(std::size_t position, const std::string& /*token*/,
                   const nlohmann::detail::exception& error) override {
    _faults.push_back(fault_at_offset(_text, position == 0 ? 0 : position - 1,
                                      "this is no JSON: " + problem_of(error.what()) + "."));
    return false;
  }

 private:
  struct Level {
    JsonValue* value;
    std::string path;
    std::string name;  // of the member that comes
    std::unordered_set<std::string> names;
  };

  bool scalar(JsonValue::Kind kind, std::string text) {
    JsonValue value{kind, std::move(text), {}, {}};
    return place(std::move(value)) != nullptr;
  }

  // Its level's container does not grow while the value is open.
  JsonValue* place(JsonValue value) {
    if (_levels.empty()) {
      _root = std::move(value);
      return &_root;
    }
    Level& level = _levels.back();
    if (level.value->kind == JsonValue::Kind::ARRAY) {
      return &level.value->elements.emplace_back(std::move(value));
    }
    return &level.value->members.emplace_back(JsonMember{level.name, std::move(value)}).value;
  }

  bool open(JsonValue::Kind kind) {
    if (_levels.size() == MOST_JSON_DEPTH) {
      _faults.push_back({0, 0, 0,
                         _levels.back().path + ": objects and arrays nest deeper than " +
                             std::to_string(MOST_JSON_DEPTH) + ".",
                         ""});
      return false;
    }
    std::string path =
        _levels.empty() ? std::string() : json_path(_levels.back().path, _levels.back().name);
    _levels.push_back({place({kind, {}, {}, {}}), std::move(path), {}, {}});
    return true;
  }

  bool close() {
    _levels.pop_back();
    return true;
  }

  std::string_view _text;
  std::vector<Fault>& _faults;
  JsonValue _root;
  std::vector<Level> _levels;
};

}  // namespace

bool JsonValue::is_scalar() const {
  return kind == Kind::TEXT || kind == Kind::NUMBER || kind == Kind::FLAG;
}

const JsonValue* JsonValue::find(std::string_view name) const {
  const auto at = std::find_if(members.begin(), members.end(),
                               [name](const JsonMember& each) { return each.name == name; });
  return at == members.end() ? nullptr : &at->value;
}

std::optional<JsonValue> parse_json(std::string_view text, std::vector<Fault>& faults) {
  const std::size_t faults_before = faults.size();
  TreeBuilder builder(text, faults);
  (void)Json::sax_parse(text, &builder);
  if (faults.size() > faults_before) return std::nullopt;
  return std::move(builder.root());
}

std::string printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const std::size_t length = shown_character(text);
    shown += length > 0 ? text.substr(0, length) : "?";
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return shown;
}

std::string json_path(std::string_view path, std::string_view name) {
  std::string pointer(path);
  pointer += '/';
  for (const char c : printable(name)) {
    if (c == '~' || c == '/') {
      pointer += c == '~' ? "~0" : "~1";
    } else {
      pointer += c;
    }
  }
  return pointer;
}

std::string describe(const JsonValue& value) {
  switch (value.kind) {
    case JsonValue::Kind::EMPTY:
      return "null";
    case JsonValue::Kind::FLAG:
    case JsonValue::Kind::NUMBER:
    case JsonValue::Kind::TEXT:
      return shown_in_quotes(value.text);
    case JsonValue::Kind::OBJECT:
      return "an object";
    case JsonValue::Kind::ARRAY:
      break;
  }
  return "an array";
}
