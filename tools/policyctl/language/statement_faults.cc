#include "tools/policyctl/language/statement_faults.h"
#include "framework/base/shown_character.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/language/statement_candidates.h"
#include "tools/policyctl/language/statement_match.h"

namespace {

std::string form_of(const Statement& statement) {
  return "The form is: " + std::string(statement.pattern);
}

// Of a word that begins statements elsewhere.
std::string advice_on_place(std::string_view word) {
  for (const Statement& each : statements()) {
    if (each.elements[0].word != word) continue;
    if (!each.context->advice.empty()) return std::string(each.context->advice);
  }
  return {};
}

std::string advice_on_literals(std::string_view word,
                               const std::vector<std::string_view>& expected) {
  NearestName nearest(word);
  for (const std::string_view each : expected) nearest.consider(each);
  return nearest.name().empty() ? "Expected: " + joined(expected) + "." : is_meant(nearest.name());
}

}  // namespace

std::string is_meant(const std::string& name) {
  return name.empty() ? std::string() : "Is '" + name + "' meant?";
}

Fault fault_at(const Word& word, std::string message, std::string advice) {
  return {0, word.column, word.length, std::move(message), std::move(advice)};
}

Fault fault_at_end(std::span<const Word> words, std::string message, std::string advice) {
  const Word& last = words.back();
  return {0, last.column + last.length, 1, std::move(message), std::move(advice)};
}

Fault quoted_keyword(const Word& word) {
  return fault_at(word, shown_in_quotes(word.text) + " is a keyword and stands without quotes.");
}

Fault element_missing(std::span<const Word> words, const PatternElement& element,
                      const Statement& statement) {
  return fault_at_end(words, std::string(element.word) + " is missing.", form_of(statement));
}

Fault surplus_word(const Word& word, const Statement& statement) {
  return fault_at(word, shown_in_quotes(word.text) + " is one word too many.", form_of(statement));
}

Fault bad_argument(const Argument& argument, const Word& word) {
  const std::string what = shown_in_quotes(word.text);
  const std::string meaning = std::string(argument.name) + ": " + std::string(argument.help) + ".";
  if (argument.syntax == ArgumentSyntax::NUMBER) {
    const std::string without_zero = without_leading_zero(word.text);
    if (!without_zero.empty()) {
      return fault_at(word, what + " has a leading zero.", is_meant(without_zero));
    }
    return fault_at(word, what + " is no number " + argument_syntax(argument) + ".", meaning);
  }
  NearestName nearest(word.text);
  std::string_view rest = argument.choices;
  while (!rest.empty()) {
    const std::string_view each = rest.substr(0, rest.find('|'));
    nearest.consider(each);
    rest.remove_prefix(std::min(each.size() + 1, rest.size()));
  }
  return fault_at(word, what + " is none of: " + argument_syntax(argument) + ".",
                  nearest.name().empty() ? meaning : is_meant(nearest.name()));
}

Fault no_statement(const Scope* context, std::span<const Word> words) {
  if (words[0].quoted) {
    return fault_at(words[0], "a statement begins with a word that is not in quotes.");
  }
  for (std::size_t place = 0; place < words.size(); ++place) {
    if (!candidates(context, words, place + 1).empty()) continue;
    const std::string_view word = words[place].text;
    std::string advice = place == 0 ? advice_on_place(word) : std::string();
    if (advice.empty()) {
      advice = advice_on_literals(word, literals_at(candidates(context, words, place), place));
    }
    return fault_at(words[place],
                    shown_in_quotes(word) +
                        (place == 0 ? " begins no statement here." : " is not expected here."),
                    std::move(advice));
  }
  const std::vector<const Statement*> open = candidates(context, words, words.size());
  const PatternElement& next = open.front()->elements[words.size()];
  if (next.kind == PatternElement::Kind::ARGUMENT) {
    return element_missing(words, next, *open.front());
  }
  return fault_at_end(words, "the line ends too early.",
                      "Expected: " + joined(literals_at(open, words.size())) + ".");
}
