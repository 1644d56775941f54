#include <algorithm>

#include "common/match_values.h"
#include "tools/policyctl/language/statement_candidates.h"
#include "tools/policyctl/language/statement_match.h"

namespace {

using Kind = PatternElement::Kind;

void expect_literal(Expected& expected, std::string_view literal) {
  auto& literals = expected.literals;
  if (std::find(literals.begin(), literals.end(), literal) == literals.end()) {
    literals.push_back(literal);
  }
}

// The number by which `words` name what the entries that an argument names stand below.
std::optional<std::uint32_t> number_above(const std::vector<PatternElement>& pattern,
                                          std::span<const Word> words, const Argument& argument) {
  const EntryKind* const kind = kind_named_by(argument);
  for (std::size_t i = 0; kind != nullptr && i < words.size(); ++i) {
    if (pattern[i].kind != Kind::ARGUMENT) continue;
    const EntryKind* const head = kind_named_by(*pattern[i].argument);
    if (head != nullptr && stands_below(*kind, *head)) return decimal_number(words[i].text);
  }
  return std::nullopt;
}

// What elements `from` and beyond expect behind `words`, which begin with the
// word of that element. False when the words do not fit.
bool expect_elements(const std::vector<PatternElement>& pattern, std::size_t from,
                     std::span<const Word> words, Expected& expected) {
  const std::size_t given = std::min(words.size(), pattern.size() - from);
  for (std::size_t i = 0; i < given; ++i) {
    if (!fits(pattern[from + i], words[i])) return false;
  }
  if (given < words.size()) return false;
  if (from + given == pattern.size()) {
    expected.may_end = true;
    return true;
  }
  const PatternElement& next = pattern[from + given];
  if (next.optional) expected.may_end = true;
  if (next.kind == Kind::LITERAL) {
    expect_literal(expected, next.word);
  } else {
    expected.argument = next.argument;
    if (from == 0) expected.above = number_above(pattern, words, *next.argument);
  }
  return true;
}

// The same from the match fields on, with `words` from there on.
bool expect_fields(const std::vector<PatternElement>& pattern, std::size_t fields,
                   std::span<const Word> words, Expected& expected) {
  const std::string_view end = pattern[fields + 1].word;
  std::vector<std::uint32_t> taken;
  std::size_t at = 0;
  for (; at < words.size() && (words[at].text != end || words[at].quoted); at += 2) {
    NamedField field;
    if (read_field_name(words[at], field)) return false;
    if (std::find(taken.begin(), taken.end(), field.number) != taken.end()) return false;
    taken.push_back(field.number);
    if (at + 1 == words.size()) {
      expected.value_of = words[at].text;
      return true;
    }
    if (field.strict != nullptr && !is_match_value(*field.strict, words[at + 1].text)) return false;
  }
  if (at == words.size()) expected.field = true;
  return expect_elements(pattern, fields + 1, words.subspan(at), expected);
}

bool expect_of(const Statement& statement, std::span<const Word> words, Expected& expected) {
  const std::vector<PatternElement>& pattern = statement.elements;
  const auto fields = std::find_if(pattern.begin(), pattern.end(),
                                   [](const PatternElement& e) { return e.kind == Kind::FIELDS; });
  const auto before = static_cast<std::size_t>(fields - pattern.begin());
  if (fields == pattern.end() || words.size() < before) {
    return expect_elements(pattern, 0, words, expected);
  }
  for (std::size_t i = 0; i < before; ++i) {
    if (!fits(pattern[i], words[i])) return false;
  }
  return expect_fields(pattern, before, words.subspan(before), expected);
}

}  // namespace

bool expect_after(const std::vector<PatternElement>& pattern, std::span<const Word> words,
                  Expected& expected) {
  return expect_elements(pattern, 0, words, expected);
}

Expected expected_after(const Scope* context, std::span<const Word> words) {
  Expected expected;
  std::size_t open = 0;
  for (const Statement* each : candidates(context, words, words.size())) {
    if (!expect_of(*each, words, expected)) continue;
    ++open;
    expected.statement = open == 1 ? each : nullptr;
  }
  return expected;
}
