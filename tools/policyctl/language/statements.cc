#include "tools/policyctl/language/statements.h"

#include <algorithm>
#include <array>

#include "framework/base/xlog.h"

namespace {

constexpr std::array ARGUMENTS{
    choice_argument("SWITCH", "off|on", "off or on"),
    choice_argument("ACTION", "deny|permit", "what becomes of a packet that the rule matches"),
    number_argument("ACL", 0, ANY_NUMBER, "number of an access control list"),
    number_argument("RULE", 0, ANY_NUMBER, "number of a rule; lower ones come first"),
    number_argument("TYPE", 0, 1, "type of an access control list"),
    number_argument("MODE", 0, 4, "scheduling mode of the queues"),
    number_argument("ALGORITHM", 0, 3, "scheduling algorithm of the queues"),
    number_argument("WEIGHT", 0, ANY_NUMBER, "weight of a queue, for queues 0 to 3"),
    number_argument("PRIORITY", 0, 7, "802.1p priority"),
    number_argument("QUEUE", 0, 7, "egress queue"),
    number_argument("DSCP", 0, 63, "differentiated services code point"),
    number_argument("TWO-BIT", 0, 3, "two-bit value"),
    number_argument("VALUE", 0, ANY_NUMBER, "value kept for the interface"),
    number_argument("NUMBER", 0, ANY_NUMBER, "a number; the daemon gives it no meaning"),
    number_argument("VLAN", 1, 4094, "VLAN id"),
    text_argument("NAME", "name of a time range"),
    text_argument("INTERFACE", "name of a port or aggregate"),
    text_argument("TEXT", "text, in double quotes when it has blanks"),
};

}  // namespace

const Argument& argument_named(std::string_view name) {
  const auto* const at = std::find_if(ARGUMENTS.begin(), ARGUMENTS.end(),
                                      [name](const Argument& a) { return a.name == name; });
  XLOG_ASSERT(at != ARGUMENTS.end(), "argument " + std::string(name));
  return *at;
}

std::vector<PatternElement> parse_pattern(std::string_view pattern) {
  std::vector<PatternElement> elements;
  while (!pattern.empty()) {
    const std::size_t end = std::min(pattern.find(' '), pattern.size());
    std::string_view word = pattern.substr(0, end);
    pattern.remove_prefix(std::min(end + 1, pattern.size()));
    const bool optional = word.starts_with('[');
    if (optional) word.remove_prefix(1);
    if (word.ends_with(']')) word.remove_suffix(1);
    const bool is_literal = word[0] >= 'a' && word[0] <= 'z';
    if (is_literal) {
      elements.push_back({PatternElement::Kind::LITERAL, word, nullptr, optional});
    } else if (word.ends_with("...")) {
      elements.push_back({PatternElement::Kind::FIELDS, word, nullptr, optional});
    } else {
      elements.push_back({PatternElement::Kind::ARGUMENT, word, &argument_named(word), optional});
    }
  }
  return elements;
}

std::span<const Statement> statements() {
  static const std::vector<Statement> STATEMENTS = [] {
    std::vector<Statement> all;
    for (const EntryKind* kind : entry_kinds()) {
      const EntryFacts& facts = kind->facts();
      std::uint32_t form = 0;
      for (const StatementForm& each : *facts.forms) {
        all.push_back({kind, form++, facts.below, facts.opens, each.pattern, facts.reads,
                       facts.sends, each.help, parse_pattern(each.pattern)});
      }
    }
    for (Statement& each : all) {
      const auto begins_alike = [&each](const Statement& other) {
        return &other != &each && other.elements[0].word == each.elements[0].word;
      };
      each.begins_alone = std::none_of(all.begin(), all.end(), begins_alike);
    }
    return all;
  }();
  return STATEMENTS;
}

const EntryKind* kind_named_by(const Argument& argument) {
  for (const EntryKind* kind : entry_kinds()) {
    const bool comes_and_goes = *kind->facts().presence != Presence::ALWAYS;
    if (!comes_and_goes || *kind->facts().key_arguments != 1) continue;
    if (statements_of(*kind).front().elements[1].argument == &argument) return kind;
  }
  return nullptr;
}

std::span<const Statement> statements_of(const EntryKind& kind) {
  const std::span<const Statement> all = statements();
  const auto first = std::find_if(all.begin(), all.end(),
                                  [&kind](const Statement& each) { return each.kind == &kind; });
  return {first, kind.facts().forms.value.size()};
}

std::string argument_syntax(const Argument& argument) {
  switch (argument.syntax) {
    case ArgumentSyntax::NUMBER:
      return std::to_string(argument.lowest) + ".." + std::to_string(argument.highest);
    case ArgumentSyntax::CHOICE: {
      std::string words(argument.choices);
      for (std::size_t at = words.find('|'); at != std::string::npos; at = words.find('|', at)) {
        words.replace(at, 1, ", ");
      }
      return words;
    }
    case ArgumentSyntax::SECONDS:
    case ArgumentSyntax::TEXT:
      break;
  }
  return "text";
}

std::string_view choice(const Argument& argument, std::uint32_t index) {
  std::string_view rest = argument.choices;
  for (; index > 0; --index) rest.remove_prefix(rest.find('|') + 1);
  return rest.substr(0, rest.find('|'));
}
