#include "tools/policyctl/language/statement_candidates.h"

#include <algorithm>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/language/statement_match.h"

namespace {

using Kind = PatternElement::Kind;

// Statements that may begin a line within `context`.
bool may_stand(const Statement& statement, const Scope* context) {
  return statement.context == &TOP_LEVEL || statement.context == context;
}

// A literal in quotes fits, too, so that what is wrong with it can be said.
bool literals_fit(const std::vector<PatternElement>& pattern, std::span<const Word> words,
                  std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (i >= pattern.size()) return false;
    if (pattern[i].kind == Kind::FIELDS) return true;
    if (pattern[i].kind == Kind::LITERAL && words[i].text != pattern[i].word) return false;
  }
  return true;
}

}  // namespace

std::vector<const Statement*> candidates(const Scope* context, std::span<const Word> words,
                                         std::size_t count) {
  std::vector<const Statement*> fitting;
  for (const Statement& each : statements()) {
    if (may_stand(each, context) && literals_fit(each.elements, words, count)) {
      fitting.push_back(&each);
    }
  }
  return fitting;
}

const Statement* find_statement(const Scope* context, std::span<const Word> words,
                                const Statement* likely) {
  const auto is_it = [&](const Statement& each) {
    const std::string_view first = each.elements[0].word;
    return may_stand(each, context) && first.size() == words[0].text.size() &&
           first == words[0].text &&
           literals_fit(each.elements, words, std::min(words.size(), each.elements.size()));
  };
  if (likely != nullptr && likely->begins_alone && is_it(*likely)) return likely;
  const Statement* found = nullptr;
  for (const Statement& each : statements()) {
    if (!is_it(each)) continue;
    if (found != nullptr) return nullptr;
    found = &each;
  }
  return found;
}

const Statement* statement_meant(const Scope* context, std::string_view word) {
  NearestName nearest(word);
  for (const std::string_view each : literals_at(candidates(context, {}, 0), 0)) {
    nearest.consider(each);
  }
  for (const Statement* each : candidates(context, {}, 0)) {
    if (each->elements[0].word == nearest.name()) return each;
  }
  return nullptr;
}

std::vector<std::string_view> literals_at(const std::vector<const Statement*>& statements,
                                          std::size_t place) {
  std::vector<std::string_view> literals;
  for (const Statement* each : statements) {
    const std::vector<PatternElement>& pattern = each->elements;
    if (place >= pattern.size() || pattern[place].kind != Kind::LITERAL) continue;
    const std::string_view word = pattern[place].word;
    if (std::find(literals.begin(), literals.end(), word) == literals.end()) {
      literals.push_back(word);
    }
  }
  return literals;
}

bool fits(const PatternElement& element, const Word& word) {
  if (element.kind == Kind::LITERAL) return word.text == element.word && !word.quoted;
  return argument_value(*element.argument, word.text).has_value();
}

std::optional<std::uint32_t> argument_value(const Argument& argument, std::string_view text) {
  switch (argument.syntax) {
    case ArgumentSyntax::NUMBER: {
      const std::optional<std::uint32_t> number = decimal_number(text);
      const bool is_within = number && *number >= argument.lowest && *number <= argument.highest;
      return is_within ? number : std::nullopt;
    }
    case ArgumentSyntax::CHOICE: {
      std::string_view rest = argument.choices;
      for (std::uint32_t place = 0; !rest.empty(); ++place) {
        const std::string_view each = rest.substr(0, rest.find('|'));
        if (each == text) return place;
        rest.remove_prefix(std::min(each.size() + 1, rest.size()));
      }
      return std::nullopt;
    }
    case ArgumentSyntax::SECONDS:
    case ArgumentSyntax::TEXT:
      break;
  }
  return 0;
}
