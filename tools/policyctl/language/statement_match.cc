#include "tools/policyctl/language/statement_match.h"

#include <algorithm>
#include <charconv>

#include "framework/xrl/nearest_name.h"
#include "tools/match_fields.h"
#include "tools/match_values.h"

namespace {

using Kind = PatternElement::Kind;

constexpr std::size_t LONGEST_QUOTE = 60;

std::string quoted(std::string_view text) {
  std::string shown;
  for (std::string_view rest = text.substr(0, LONGEST_QUOTE); !rest.empty();) {
    const std::size_t length = shown_character(rest);
    shown += length > 0 ? rest.substr(0, length) : "?";
    rest.remove_prefix(std::max<std::size_t>(length, 1));
  }
  if (text.size() > LONGEST_QUOTE) shown += "...";
  return "'" + shown + "'";
}

Fault at_word(const Word& word, std::string message, std::string advice) {
  return {0, word.column, word.length, std::move(message), std::move(advice)};
}

// Behind the last word.
Fault at_end(std::span<const Word> words, std::string message, std::string advice) {
  const Word& last = words.back();
  return {0, last.column + last.length, 1, std::move(message), std::move(advice)};
}

std::string form_of(const Statement& statement) {
  return "The form is: " + std::string(statement.pattern);
}

std::string is_meant(const std::string& name) {
  return name.empty() ? std::string() : "Is '" + name + "' meant?";
}

// Statements that may begin a line within `context`.
bool may_stand(const Statement& statement, StatementContext context) {
  return statement.context == StatementContext::TOP || statement.context == context;
}

// Whether the first `count` elements take these words as far as literals go.
bool literals_fit(const std::vector<PatternElement>& pattern, std::span<const Word> words,
                  std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (i >= pattern.size()) return false;
    if (pattern[i].kind == Kind::FIELDS) return true;
    if (pattern[i].kind == Kind::LITERAL && words[i].text != pattern[i].word) return false;
  }
  return true;
}

std::vector<const Statement*> candidates(StatementContext context, std::span<const Word> words,
                                         std::size_t count) {
  std::vector<const Statement*> fitting;
  for (const Statement& each : statements()) {
    if (may_stand(each, context) && literals_fit(pattern_of(each), words, count)) {
      fitting.push_back(&each);
    }
  }
  return fitting;
}

std::string joined(const std::vector<std::string_view>& words) {
  std::string text;
  for (const std::string_view word : words) {
    if (!text.empty()) text += ", ";
    text += word;
  }
  return text;
}

// The literals that `statements` have at `place`, each once.
std::vector<std::string_view> literals_at(const std::vector<const Statement*>& statements,
                                          std::size_t place) {
  std::vector<std::string_view> literals;
  for (const Statement* each : statements) {
    const std::vector<PatternElement>& pattern = pattern_of(*each);
    if (place >= pattern.size() || pattern[place].kind != Kind::LITERAL) continue;
    const std::string_view word = pattern[place].word;
    if (std::find(literals.begin(), literals.end(), word) == literals.end()) {
      literals.push_back(word);
    }
  }
  return literals;
}

// A word that begins statements elsewhere.
std::string advice_on_place(std::string_view word) {
  for (const Statement& each : statements()) {
    if (pattern_of(each)[0].word != word) continue;
    if (each.context == StatementContext::ACL) return "It stands below an 'acl' line.";
    if (each.context == StatementContext::BINDINGS) {
      return "It stands below an 'interface' or 'vlan' line.";
    }
  }
  return {};
}

// No statement has these words; says which word is the first that none has.
Fault no_statement(StatementContext context, std::span<const Word> words) {
  if (words[0].quoted) {
    return at_word(words[0], "a statement begins with a word that is not in quotes.", "");
  }
  for (std::size_t place = 0; place < words.size(); ++place) {
    if (!candidates(context, words, place + 1).empty()) continue;
    const std::vector<std::string_view> expected =
        literals_at(candidates(context, words, place), place);
    NearestName nearest(words[place].text);
    for (const std::string_view word : expected) nearest.consider(word);
    std::string advice = is_meant(nearest.name());
    if (advice.empty() && place == 0) advice = advice_on_place(words[0].text);
    if (advice.empty()) advice = "Expected: " + joined(expected) + ".";
    const std::string message =
        quoted(words[place].text) +
        (place == 0 ? " begins no statement here." : " is not expected here.");
    return at_word(words[place], message, advice);
  }
  const std::vector<const Statement*> open = candidates(context, words, words.size());
  return at_end(words, "the line ends too early.",
                "Expected: " + joined(literals_at(open, words.size())) + ".");
}

// The one that the words are, as far as its literals go; null when there is
// none or the words end before that is decided.
const Statement* find_statement(StatementContext context, std::span<const Word> words) {
  const Statement* found = nullptr;
  for (const Statement& each : statements()) {
    if (!may_stand(each, context)) continue;
    const std::vector<PatternElement>& pattern = pattern_of(each);
    if (pattern[0].word != words[0].text) continue;
    if (!literals_fit(pattern, words, std::min(words.size(), pattern.size()))) continue;
    if (found != nullptr) return nullptr;
    found = &each;
  }
  return found;
}

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

std::optional<Fault> StatementMatch::match(StatementContext context, std::span<const Word> words) {
  _arguments = 0;
  _fields.clear();
  _values.arguments.fill({});
  _statement = words[0].quoted ? nullptr : find_statement(context, words);
  if (_statement == nullptr) return no_statement(context, words);
  std::optional<Fault> fault = match_rest(words);
  if (!fault) pack_fields();
  return fault;
}

std::optional<Fault> StatementMatch::match_rest(std::span<const Word> words) {
  const std::vector<PatternElement>& pattern = pattern_of(*_statement);
  std::size_t at = 0;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const PatternElement& element = pattern[i];
    if (element.kind == Kind::FIELDS) {
      const std::string_view end = i + 1 < pattern.size() ? pattern[i + 1].word : "";
      std::optional<Fault> fault = take_fields(words, at, end);
      if (fault) return fault;
      continue;
    }
    if (at == words.size()) {
      if (element.optional) return std::nullopt;
      return at_end(words, std::string(element.word) + " is missing.", form_of(*_statement));
    }
    const Word& word = words[at++];
    if (element.kind == Kind::LITERAL) {
      if (word.text == element.word && !word.quoted) continue;
      NearestName nearest(word.text);
      nearest.consider(element.word);
      const std::string advice = is_meant(nearest.name());
      return at_word(word, quoted(word.text) + " is not expected here.",
                     advice.empty() ? form_of(*_statement) : advice);
    }
    std::optional<Fault> fault = take_argument(*element.argument, word);
    if (fault) return fault;
  }
  if (at == words.size()) return std::nullopt;
  return at_word(words[at], quoted(words[at].text) + " is one word too many.",
                 form_of(*_statement));
}

std::optional<Fault> StatementMatch::take_argument(const Argument& argument, const Word& word) {
  StatementValues::Value& value = _values.arguments[_arguments++];
  value.text = word.text;
  value.word = &word;
  if (argument.syntax == ArgumentSyntax::TEXT) return std::nullopt;
  if (argument.syntax == ArgumentSyntax::NUMBER) {
    const std::optional<std::uint32_t> number = decimal_number(word.text);
    if (number && *number >= argument.lowest && *number <= argument.highest) {
      value.number = *number;
      return std::nullopt;
    }
    return at_word(word, quoted(word.text) + " is no number " + argument_syntax(argument) + ".",
                   std::string(argument.name) + ": " + std::string(argument.help) + ".");
  }
  NearestName nearest(word.text);
  std::string_view rest = argument.choices;
  for (std::uint32_t index = 0; !rest.empty(); ++index) {
    const std::string_view candidate = rest.substr(0, rest.find('|'));
    if (candidate == word.text) {
      value.number = index;
      return std::nullopt;
    }
    nearest.consider(candidate);
    rest.remove_prefix(std::min(candidate.size() + 1, rest.size()));
  }
  const std::string advice = is_meant(nearest.name());
  return at_word(word, quoted(word.text) + " is none of: " + argument_syntax(argument) + ".",
                 advice.empty()
                     ? std::string(argument.name) + ": " + std::string(argument.help) + "."
                     : advice);
}

namespace {

// A match field by name or number; the number alone when the number is one that
// has no meaning, or is to carry any text.
struct NamedField {
  std::uint32_t number = 0;
  const MatchField* strict = nullptr;  // whose syntax the value must have
};

std::optional<Fault> read_field_name(const Word& word, NamedField& field) {
  const std::optional<std::uint32_t> number = decimal_number(word.text);
  if (number) {
    field.number = *number;
    if (*number <= LAST_MATCH_FIELD) return std::nullopt;
    return at_word(word, quoted(word.text) + " is no field number 0..36.", "");
  }
  field.strict = find_match_field(word.text);
  if (field.strict != nullptr && !word.quoted) {
    field.number = field.strict->number;
    return std::nullopt;
  }
  NearestName nearest(word.text);
  nearest.consider("description");
  for (const MatchField& each : match_fields()) nearest.consider(each.name);
  const std::string advice = is_meant(nearest.name());
  return at_word(word, quoted(word.text) + " is no field of a rule.",
                 advice.empty() ? "The fields are listed by 'policyctl help fields'." : advice);
}

}  // namespace

std::optional<Fault> StatementMatch::take_fields(std::span<const Word> words, std::size_t& at,
                                                 std::string_view end) {
  while (at < words.size() && (words[at].text != end || words[at].quoted)) {
    NamedField field;
    const Word& name = words[at++];
    std::optional<Fault> fault = read_field_name(name, field);
    if (fault) return fault;
    const auto is_same = [&field](const PlacedField& p) { return p.number == field.number; };
    if (std::any_of(_fields.begin(), _fields.end(), is_same)) {
      return at_word(name, "the field " + quoted(name.text) + " is given twice.", "");
    }
    if (at == words.size()) {
      return at_end(words, "the value of " + quoted(name.text) + " is missing.",
                    field.strict == nullptr
                        ? std::string()
                        : "It is written: " + match_value_syntax(*field.strict) + ", for example " +
                              std::string(field.strict->example));
    }
    const Word& value = words[at++];
    const std::string problem =
        field.strict == nullptr ? std::string() : match_value_problem(*field.strict, value.text);
    if (!problem.empty()) {
      return at_word(value, problem,
                     std::string(name.text) + " is written: " + match_value_syntax(*field.strict) +
                         ", for example " + std::string(field.strict->example));
    }
    _fields.push_back({field.number, value.text});
  }
  return std::nullopt;
}

void StatementMatch::pack_fields() {
  _values.fields = RuleFields();
  std::size_t bytes = 0;
  for (const PlacedField& field : _fields) bytes += field.value.size();
  _values.fields.reserve(_fields.size(), bytes);
  const auto is_before = [](const PlacedField& a, const PlacedField& b) {
    return a.number < b.number;
  };
  std::sort(_fields.begin(), _fields.end(), is_before);
  for (const PlacedField& field : _fields) _values.fields.append(field.number, field.value);
}

namespace {

// Of one statement whose literals fit so far: what its pattern has next.
void add_expectation(const Statement& statement, std::span<const Word> words, Expected& expected) {
  const std::vector<PatternElement>& pattern = pattern_of(statement);
  std::size_t place = std::min(words.size(), pattern.size());
  const auto fields =
      std::find_if(pattern.begin(), pattern.begin() + static_cast<std::ptrdiff_t>(place),
                   [](const PatternElement& e) { return e.kind == Kind::FIELDS; });
  if (fields != pattern.begin() + static_cast<std::ptrdiff_t>(place)) {
    place = static_cast<std::size_t>(fields - pattern.begin());
  }
  if (place < pattern.size() && pattern[place].kind == Kind::FIELDS) {
    const std::string_view end = place + 1 < pattern.size() ? pattern[place + 1].word : "";
    const std::size_t given = words.size() - place;
    for (std::size_t i = place; i < words.size(); i += 2) {
      if (words[i].text != end) continue;
      if (i + 1 == words.size()) expected.argument = pattern[place + 2].argument;
      expected.may_end = i + 1 < words.size();
      return;
    }
    if (given % 2 == 1) {
      expected.value_of = words.back().text;
      return;
    }
    expected.field = true;
    expected.may_end = true;
    expected.literals.push_back(end);
    return;
  }
  if (words.size() >= pattern.size()) {
    expected.may_end = expected.may_end || words.size() == pattern.size();
    return;
  }
  if (pattern[place].optional) expected.may_end = true;
  if (pattern[place].kind == Kind::ARGUMENT) {
    expected.argument = pattern[place].argument;
    return;
  }
  if (std::find(expected.literals.begin(), expected.literals.end(), pattern[place].word) ==
      expected.literals.end()) {
    expected.literals.push_back(pattern[place].word);
  }
}

}  // namespace

Expected expected_after(StatementContext context, std::span<const Word> words) {
  Expected expected;
  const std::vector<const Statement*> open = candidates(context, words, words.size());
  const std::size_t known = open.size();
  for (const Statement* each : open) add_expectation(*each, words, expected);
  // A longer rule than its pattern has elements still fits.
  if (known == 1) expected.statement = open.front();
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    if (words[i].text == "acl") expected.acl = decimal_number(words[i + 1].text).value_or(0);
  }
  return expected;
}
