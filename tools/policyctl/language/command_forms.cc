#include "tools/policyctl/language/command_forms.h"

#include <algorithm>
#include <utility>

#include "framework/base/shown_character.h"
#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/language/statement_candidates.h"
#include "tools/policyctl/language/statement_faults.h"

namespace {

std::string what_is_expected(const Expected& expected) {
  std::vector<std::string_view> words = expected.literals;
  if (expected.argument != nullptr) words.push_back(expected.argument->name);
  return joined(words);
}

Fault misfit(std::span<const Word> words, std::size_t at, const Expected& expected) {
  if (at == words.size()) {
    return fault_at_end(words, "the line ends too early.",
                        "Expected: " + what_is_expected(expected) + ".");
  }
  const Word& word = words[at];
  if (expected.literals.empty() && expected.argument != nullptr) {
    return bad_argument(*expected.argument, word);
  }
  if (expected.literals.empty()) {
    return fault_at(word, shown_in_quotes(word.text) + " is one word too many.");
  }
  NearestName nearest(word.text);
  for (const std::string_view literal : expected.literals) nearest.consider(literal);
  return fault_at(word, shown_in_quotes(word.text) + " is not expected here.",
                  nearest.name().empty() ? "Expected: " + what_is_expected(expected) + "."
                                         : is_meant(nearest.name()));
}

}  // namespace

bool CommandForms::may_stand(std::size_t form, const Scope* context) const {
  return _forms[form].context == &TOP_LEVEL || _forms[form].context == context;
}

bool CommandForms::begin_with(std::string_view word, const Scope* context) const {
  for (std::size_t i = 0; i < _forms.size(); ++i) {
    if (may_stand(i, context) && _forms[i].elements[0].word == word) return true;
  }
  return false;
}

std::size_t CommandForms::fitting_words(std::size_t form, std::span<const Word> words) const {
  const std::vector<PatternElement>& pattern = _forms[form].elements;
  std::size_t at = 0;
  while (at < words.size() && at < pattern.size() && fits(pattern[at], words[at])) ++at;
  return at;
}

std::optional<Fault> CommandForms::match(const Scope* context, std::span<const Word> words,
                                         std::size_t& form) const {
  std::size_t furthest = 0;
  for (std::size_t i = 0; i < _forms.size(); ++i) {
    if (!may_stand(i, context)) continue;
    const std::vector<PatternElement>& pattern = _forms[i].elements;
    const std::size_t fitting = fitting_words(i, words);
    furthest = std::max(furthest, fitting);
    if (fitting < words.size()) continue;
    if (fitting < pattern.size() && !pattern[fitting].optional) continue;
    form = i;
    return std::nullopt;
  }
  Expected expected;
  expect_after(context, words.first(furthest), expected);
  return misfit(words, furthest, expected);
}

void CommandForms::expect_after(const Scope* context, std::span<const Word> words,
                                Expected& expected) const {
  for (std::size_t i = 0; i < _forms.size(); ++i) {
    if (may_stand(i, context)) ::expect_after(_forms[i].elements, words, expected);
  }
}

std::vector<const CommandForm*> CommandForms::beginning_with(
    const std::vector<std::string>& words) const {
  std::vector<const CommandForm*> found;
  for (const CommandForm& form : _forms) {
    const std::vector<PatternElement>& pattern = form.elements;
    const bool begins =
        words.size() <= pattern.size() &&
        std::equal(words.begin(), words.end(), pattern.begin(),
                   [](const std::string& word, const PatternElement& e) { return word == e.word; });
    if (begins) found.push_back(&form);
  }
  return found;
}

std::string_view CommandForms::help_of(const Scope* context, std::span<const Word> words) const {
  std::string_view help;
  for (std::size_t i = 0; i < _forms.size(); ++i) {
    if (!may_stand(i, context) || fitting_words(i, words) < words.size()) continue;
    if (!help.empty() && help != _forms[i].help) return {};
    help = _forms[i].help;
  }
  return help;
}

std::size_t require_form(const std::vector<std::string_view>& forms,
                         const std::vector<std::string>& words) {
  if (words.empty()) {
    throw Failure(ExitStatus::USAGE, "nothing is named.", "The forms are: " + joined(forms) + ".");
  }
  std::vector<CommandForm> table;
  table.reserve(forms.size());
  for (const std::string_view form : forms) {
    table.push_back({std::string(form), &TOP_LEVEL, {}, parse_pattern(form)});
  }
  std::vector<Word> given;
  given.reserve(words.size());
  for (const std::string& word : words) given.push_back({word, given.size() + 1, 1, false});
  std::size_t form = 0;
  const std::optional<Fault> fault = CommandForms(std::move(table)).match(&TOP_LEVEL, given, form);
  if (!fault) return form;
  const bool is_behind_all = fault->column > given.size();
  throw Failure(
      ExitStatus::USAGE,
      is_behind_all ? "something is missing behind '" + words.back() + "'." : fault->message,
      fault->advice);
}
