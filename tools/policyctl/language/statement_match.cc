#include "tools/policyctl/language/statement_match.h"

#include <algorithm>
#include <charconv>

#include "tools/policyctl/language/statement_candidates.h"
#include "tools/policyctl/language/statement_faults.h"

namespace {

using Kind = PatternElement::Kind;

}  // namespace

std::optional<std::uint32_t> decimal_number(std::string_view text) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [last, problem] = std::from_chars(text.data(), end, number);
  if (problem != std::errc() || last != end || (text.size() > 1 && text[0] == '0')) {
    return std::nullopt;
  }
  return number;
}

std::string without_leading_zero(std::string_view text) {
  if (!text.starts_with('0') || text.size() < 2) return {};
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size() - 1));
  return decimal_number(text) ? std::string(text) : std::string();
}

std::optional<Fault> StatementMatch::match(const Scope* context, std::span<const Word> words) {
  _arguments = 0;
  _fields.clear();
  _values.arguments.fill({});
  // Most lines begin as the one before.
  _statement = words[0].quoted ? nullptr : find_statement(context, words, _statement);
  if (_statement == nullptr) return no_statement(context, words);
  std::optional<Fault> fault = match_rest(words);
  if (!fault) _fields.pack(_values.fields);
  return fault;
}

std::optional<Fault> StatementMatch::match_rest(std::span<const Word> words) {
  const std::vector<PatternElement>& pattern = _statement->elements;
  std::size_t at = 0;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const PatternElement& element = pattern[i];
    std::optional<Fault> fault;
    if (element.kind == Kind::FIELDS) {
      fault = _fields.take(words, at, i + 1 < pattern.size() ? pattern[i + 1].word : "");
    } else if (at == words.size()) {
      if (element.optional) return std::nullopt;
      return element_missing(words, element, *_statement);
    } else if (element.kind == Kind::LITERAL) {
      // The statement was found by its literals.
      if (words[at++].quoted) fault = quoted_keyword(words[at - 1]);
    } else {
      fault = take_argument(*element.argument, words[at++]);
    }
    if (fault) return fault;
  }
  if (at == words.size()) return std::nullopt;
  return surplus_word(words[at], *_statement);
}

std::optional<Fault> StatementMatch::take_argument(const Argument& argument, const Word& word) {
  const std::optional<std::uint32_t> number = argument_value(argument, word.text);
  if (!number) return bad_argument(argument, word);
  _values.arguments[_arguments++] = {*number, word.text, &word};
  return std::nullopt;
}
