#include "tools/policyctl/import/import_log.h"

#include "framework/base/xlog.h"
#include "tools/policyctl/import/match_spelling.h"

namespace {

const MatchField& field_of(std::string_view name) {
  const MatchField* const field = find_match_field(name);
  XLOG_ASSERT(field != nullptr, std::string(name));
  return *field;
}

}  // namespace

const std::vector<JsonMember>& ImportLog::members(const std::string& path, const JsonValue& value) {
  if (!value.is_object()) fault(path, "an object is expected, not " + describe(value) + ".");
  return value.members;
}

std::optional<std::string_view> ImportLog::scalar(const std::string& path, const JsonValue& value) {
  if (value.is_scalar()) return value.text;
  fault(path, "a text or number is expected, not " + describe(value) + ".");
  return std::nullopt;
}

std::optional<std::uint32_t> ImportLog::number(const std::string& path, const JsonValue& value,
                                               std::uint32_t highest) {
  const std::optional<std::uint32_t> number =
      value.is_scalar() ? foreign_number(value.text) : std::nullopt;
  if (number && *number <= highest) return number;
  fault(path, describe(value) + " is no number 0.." + std::to_string(highest) + ".");
  return std::nullopt;
}

std::string FieldsDraft::set(std::string_view name, std::string_view text) {
  const MatchField& field = field_of(name);
  MatchSpelling spelling = spell_match(field, text);
  if (!spelling.problem.empty()) return spelling.problem;
  std::string& value = _values[field.number];
  if (!value.empty() && value != spelling.text) {
    return "the rule has " + std::string(name) + " " + value + " already.";
  }
  value = std::move(spelling.text);
  return {};
}

void FieldsDraft::drop(std::string_view name) {
  _values.erase(field_of(name).number);
}

bool FieldsDraft::has(std::string_view name) const {
  return _values.count(field_of(name).number) > 0;
}

std::string_view FieldsDraft::value(std::string_view name) const {
  const auto at = _values.find(field_of(name).number);
  return at == _values.end() ? std::string_view() : std::string_view(at->second);
}

RuleFields FieldsDraft::fields() const {
  RuleFields fields;
  for (const auto& [number, value] : _values) fields.append(number, value);
  return fields;
}
