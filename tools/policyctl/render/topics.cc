#include "tools/policyctl/render/topics.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "common/match_fields.h"
#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/render/examples.h"

namespace {

constexpr std::array STATUSES{
    ExitStatusHelp{ExitStatus::DONE, "done, or there was nothing to do"},
    ExitStatusHelp{ExitStatus::REFUSED,
                   "refused, by policyd or by policyctl, or the result could not be written; "
                   "nothing was changed, or all was undone, or the message says what was not"},
    ExitStatusHelp{ExitStatus::DIFFERS, "something would change (plan), something differs (diff)"},
    ExitStatusHelp{ExitStatus::USAGE, "the command line is wrong"},
    ExitStatusHelp{ExitStatus::BAD_FILE, "a file has faults or cannot be read"},
    ExitStatusHelp{ExitStatus::NOT_REACHABLE, "the finder or policyd cannot be reached"},
    ExitStatusHelp{ExitStatus::TIMED_OUT,
                   "nothing was heard for as long as --timeout allows, or the line cards have not "
                   "confirmed a mapping that was set"},
};

std::string statement_list() {
  std::string text = std::string(language_introduction()) + "\n\n";
  for (const Statement& each : statements()) {
    const std::size_t indent = each.context == &TOP_LEVEL ? 2 : 4;
    text.append(indent, ' ').append(each.pattern) += '\n';
    text.append(indent + 4, ' ').append(each.help) += '\n';
  }
  return text + "\nFor example:\n\n" + std::string(example_configuration());
}

std::string field_list() {
  std::vector<HelpRow> rows;
  for (const MatchField& field : match_fields()) {
    rows.push_back({std::to_string(field.number) + "  " + std::string(field.name),
                    std::string(field.help) + "; " + match_value_syntax(field)});
    if (field.number < 10) rows.back().name.insert(0, " ");
  }
  return "A field of a rule is a name and a value; a packet has to match all of them. By its\n"
         "number, up to " +
         std::to_string(LAST_MATCH_FIELD) + ", a field takes any text.\n\n" + columns(rows);
}

std::string exit_status_list() {
  std::vector<HelpRow> rows;
  for (const ExitStatusHelp& each : exit_statuses()) {
    rows.push_back({std::to_string(static_cast<int>(each.status)), std::string(each.meaning)});
  }
  return columns(rows);
}

std::string statement_help(const Statement& statement) {
  std::string text = std::string(statement.pattern) + "\n  " + std::string(statement.help) + "\n";
  const std::vector<HelpRow> arguments = argument_rows(statement);
  if (!arguments.empty()) text += "\n" + columns(arguments);
  if (!statement.reads.empty()) {
    text += "\n  Read by: " + std::string(statement.reads) +
            "\n  Made by: " + std::string(statement.sends) + "\n";
  }
  return text + "\n  For example: " + std::string(example_of(statement)) + "\n";
}

std::string field_help(const MatchField& field) {
  return std::string(field.name) + " (field " + std::to_string(field.number) + ")\n  " +
         std::string(field.help) + "\n  Written: " + match_value_syntax(field) +
         "\n\n  For example: rule 1 permit " + std::string(field.name) + " " +
         std::string(field.example) + "\n";
}

// Whether the keywords of a statement begin like that, its arguments left out.
bool is_named(const Statement& statement, const std::vector<std::string>& topic) {
  std::size_t at = 0;
  for (const PatternElement& element : statement.elements) {
    if (at == topic.size()) break;
    if (element.kind != PatternElement::Kind::LITERAL) continue;
    if (element.word != topic[at]) return false;
    ++at;
  }
  return at == topic.size();
}

}  // namespace

std::string_view language_introduction() {
  return "A configuration is a text of lines, each a statement. '#' begins a comment; a word in\n"
         "double quotes may have blanks. Rules stand below an 'acl' line, bindings below an\n"
         "'interface' or 'vlan' line. Words in capitals stand for values; what is in brackets may\n"
         "be left out; '...' stands for any number of the word before it, none included.";
}

std::vector<std::string> language_topics() {
  std::vector<std::string> topics{"statements", "fields", "exit-statuses"};
  const auto add = [&topics](std::string_view topic) {
    if (std::find(topics.begin(), topics.end(), topic) == topics.end()) topics.emplace_back(topic);
  };
  for (const Statement& each : statements()) add(each.elements[0].word);
  for (const MatchField& field : match_fields()) add(field.name);
  return topics;
}

std::optional<std::string> help_on(const std::vector<std::string>& topic) {
  if (topic.empty()) return std::nullopt;
  const bool is_one_word = topic.size() == 1;
  if (is_one_word && topic[0] == "statements") return statement_list();
  if (is_one_word && topic[0] == "fields") return field_list();
  if (is_one_word && topic[0] == "exit-statuses") return exit_status_list();
  std::string text;
  const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : "\n") + part; };
  for (const Statement& each : statements()) {
    if (is_named(each, topic)) add(statement_help(each));
  }
  const MatchField* const field = is_one_word ? find_match_field(topic[0]) : nullptr;
  if (field != nullptr) add(field_help(*field));
  return text.empty() ? std::nullopt : std::optional(text);
}

std::string columns(const std::vector<HelpRow>& rows) {
  std::size_t width = 0;
  for (const HelpRow& row : rows) width = std::max(width, row.name.size());
  std::string text;
  for (const HelpRow& row : rows) {
    text += "  " + row.name;
    if (!row.help.empty()) text += std::string(width - row.name.size() + 2, ' ') + row.help;
    text += '\n';
  }
  return text;
}

std::vector<HelpRow> argument_rows(const Statement& statement) {
  std::vector<HelpRow> rows;
  for (const PatternElement& element : statement.elements) {
    const auto is_same = [&element](const HelpRow& row) { return row.name == element.word; };
    if (std::any_of(rows.begin(), rows.end(), is_same)) continue;
    if (element.kind == PatternElement::Kind::ARGUMENT) {
      rows.push_back({std::string(element.word), argument_syntax(*element.argument) + "; " +
                                                     std::string(element.argument->help)});
    } else if (element.kind == PatternElement::Kind::FIELDS) {
      rows.push_back(
          {std::string(element.word), "names and values of match fields; see 'help fields'"});
    }
  }
  return rows;
}

std::span<const ExitStatusHelp> exit_statuses() {
  return STATUSES;
}
