#include "tools/policyctl/command_line/manual.h"

#include <algorithm>
#include <ostream>
#include <span>
#include <string_view>

#include "common/match_fields.h"
#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/render/examples.h"
#include "tools/policyctl/render/topics.h"
#include "tools/policyctl/shell/shell_forms.h"

namespace {

// A character of text that is no request of the formatter.
std::string_view escaped(char c) {
  switch (c) {
    case '\\':
      return "\\e";
    case '-':
      return "\\-";
    case '\'':
      return "\\(aq";
    case '^':
      return "\\(ha";
    case '~':
      return "\\(ti";
    case '`':
      return "\\(ga";
    default:
      return {};
  }
}

// Text as it stands.
std::string plain(std::string_view text) {
  std::string plain;
  for (const char c : text) {
    const std::string_view instead = escaped(c);
    if (c == '.' && (plain.empty() || plain.back() == '\n')) plain += "\\&";
    if (instead.empty()) {
      plain += c;
    } else {
      plain += instead;
    }
  }
  return plain;
}

// The same, broken into lines at blanks: sources of pages have short lines.
std::string filled(std::string_view text) {
  constexpr std::size_t WIDTH = 72;
  std::string lines;
  std::size_t width = 0;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(text.size(), word.size() + 1));
    if (word.empty()) continue;
    const std::string safe = plain(word);
    const bool fits = width + 1 + safe.size() <= WIDTH;
    if (width > 0) lines += fits ? ' ' : '\n';
    width = width > 0 && fits ? width + 1 + safe.size() : safe.size();
    lines += safe;
  }
  return lines;
}

class Page {
 public:
  void section(const std::string& name) { _text += ".SH " + name + "\n"; }
  void subsection(const std::string& name) { _text += ".SS " + plain(name) + "\n"; }
  void paragraph(std::string_view text) {
    if (!_text.ends_with("\n") || !is_after_heading()) _text += ".PP\n";
    _text += filled(text) + "\n";
  }
  void item(std::string_view what, std::string_view help) {
    _text += ".TP\n.B " + plain(what) + "\n" + filled(help) + "\n";
  }
  void more(std::string_view text) { _text += ".br\n" + filled(text) + "\n"; }
  void example(std::string_view text) {
    _text += is_after_heading() ? ".nf\n" : ".PP\n.nf\n";
    _text += plain(text);
    if (!text.ends_with('\n')) _text += '\n';
    _text += ".fi\n";
  }
  void raw(std::string_view text) { _text += text; }
  [[nodiscard]] const std::string& text() const { return _text; }

 private:
  // Where a paragraph begins anyway.
  [[nodiscard]] bool is_after_heading() const {
    const std::size_t line = _text.rfind('\n', _text.size() - 2) + 1;
    return _text.compare(line, 3, ".SH") == 0 || _text.compare(line, 3, ".SS") == 0;
  }

  std::string _text;
};

// A sentence of a help text that is written without its full stop.
std::string sentence(std::string text) {
  for (char& c : text) {
    if (c == '\n') c = ' ';
  }
  if (!text.empty() && text[0] >= 'a' && text[0] <= 'z')
    text[0] = static_cast<char>(text[0] - 'a' + 'A');
  if (!text.empty() && !text.ends_with('.')) text += '.';
  return text;
}

void write_options(Page& page, std::span<const CommandOption> options) {
  for (const CommandOption& option : options) {
    if (!can_be_typed(option.typed, Where::COMMAND_LINE)) continue;
    const std::string value = option.takes_value() ? " " + std::string(option.value.name) : "";
    page.item(option.dashed() + value, sentence(std::string(option.help)));
  }
}

void write_commands(Page& page) {
  page.section("COMMANDS");
  for (const Command& command : commands()) {
    if (!can_be_typed(command.typed, Where::COMMAND_LINE) || !command.is_told_of()) continue;
    page.subsection(usage_of(command, Where::COMMAND_LINE));
    page.paragraph(sentence(std::string(command.help)));
    for (const CommandArgument& each : command.arguments) {
      if (!can_be_typed(each.typed, Where::COMMAND_LINE)) continue;
      page.item(each.type.name, help_of(each.type) + ".");
    }
    write_options(page, command.options);
  }
}

void write_language(Page& page) {
  page.section("CONFIGURATION LANGUAGE");
  page.paragraph(
      sentence(std::string(language_introduction()) + " What 'show' prints can be applied."));
  for (const Statement& each : statements()) {
    page.item(each.pattern, sentence(std::string(each.help)));
    for (const HelpRow& row : argument_rows(each)) page.more(row.name + ": " + row.help + ".");
  }
  page.section("MATCH FIELDS");
  page.paragraph("A packet has to match every field of a rule. By its number, up to " +
                 std::to_string(LAST_MATCH_FIELD) + ", a field takes any text.");
  for (const MatchField& field : match_fields()) {
    page.item(std::string(field.name) + " (" + std::to_string(field.number) + ")",
              sentence(std::string(field.help)));
    page.more("Written: " + match_value_syntax(field) + "; for example " +
              std::string(field.example) + ".");
  }
}

void write_shell(Page& page) {
  page.section("SHELL");
  page.paragraph(
      "'policyctl shell' reads statements, which edit a candidate configuration that was started "
      "from the switch, and these commands. TAB completes words and names of what there is, '?' "
      "tells what may follow. A commit makes the difference between what the candidate was started "
      "from and what it is; where somebody else changed the same meanwhile it is refused and that "
      "is named. From anything but a terminal lines are read up to the first that is refused.");
  for (const CommandForm& form : shell_forms().all()) {
    page.item(form.pattern, sentence(std::string(form.help)));
  }
}

void write_rest(Page& page) {
  page.section("EXIT STATUS");
  for (const ExitStatusHelp& each : exit_statuses()) {
    page.item(std::to_string(static_cast<int>(each.status)), sentence(std::string(each.meaning)));
  }
  page.section("ENVIRONMENT");
  page.item("POLICYCTL_STATE_DIR",
            "Where checkpoints, the journal of a change under way and the lines typed in the shell "
            "are kept, instead of /var/lib/policyctl for root and $XDG_STATE_HOME/policyctl for "
            "others.");
  page.section("EXAMPLES");
  for (const CommandExample& example : command_examples()) {
    page.item(example.line, sentence(std::string(example.purpose)));
  }
  page.paragraph("A configuration in which every statement stands:");
  page.example(example_configuration());
}

}  // namespace

std::string manual_page() {
  Page page;
  page.raw(".TH POLICYCTL 1 2026-11-21 \"policyd " POLICYD_VERSION "\" \"User Commands\"\n");
  page.section("NAME");
  page.raw("policyctl \\- show and change the traffic policy of a switch\n");
  page.section("SYNOPSIS");
  page.raw(".B policyctl\n.RI [ OPTION \"]... \" COMMAND \" [\" ARGUMENT ]...\n");
  page.section("DESCRIPTION");
  page.paragraph(
      "Shows the traffic policy of a switch, plans changes, makes them all or nothing, and goes "
      "back to what was. It reaches policyd through the finder.");
  page.section("OPTIONS");
  page.item("-h, --help", "Print how a command is called.");
  page.item("--version", "Print the version.");
  write_options(page, common_options());
  write_commands(page);
  write_language(page);
  write_shell(page);
  write_rest(page);
  return page.text();
}

ExitStatus manual_command(const Context& context) {
  context.out << manual_page();
  return ExitStatus::DONE;
}
