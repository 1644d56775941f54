#include <optional>
#include <sstream>
#include <string_view>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/command_line/command_line.h"
#include "tools/policyctl/command_line/manual.h"
#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/render/examples.h"
#include "tools/policyctl/render/topics.h"

namespace {

std::string command_help(const std::string& command) {
  std::string text = usage_text(command);
  std::vector<HelpRow> rows;
  for (const CommandExample& example : command_examples()) {
    if (example.line.find(" " + command) == std::string_view::npos) continue;
    rows.push_back({std::string(example.line), std::string(example.purpose)});
  }
  return rows.empty() ? text : text + "\nExamples:\n" + columns(rows);
}

[[noreturn]] void refuse_topic(const std::string& topic) {
  NearestName nearest(topic);
  for (const Command& command : commands()) {
    if (can_be_typed(command.typed, Where::COMMAND_LINE) && command.is_told_of()) {
      nearest.consider(command.name);
    }
  }
  for (const std::string& each : language_topics()) nearest.consider(each);
  throw Failure(
      ExitStatus::USAGE, "there is no help on '" + topic + "'.",
      nearest.name().empty()
          ? "See 'policyctl help', 'policyctl help statements' and 'policyctl help fields'."
          : "Is '" + nearest.name() + "' meant?");
}

}  // namespace

std::string usage_text(const std::string& command) {
  std::ostringstream unused;
  Context context{{unused, unused}};
  const std::unique_ptr<CommandLine> line = make_command_line(context);
  const CLI::App& app = command.empty() ? *line->app : *line->app->get_subcommand(command);
  // help() of an app is that of the command that was chosen.
  return app.get_formatter()->make_help(&app, "policyctl" + (command.empty() ? "" : " " + command),
                                        CLI::AppFormatMode::Normal);
}

std::string help_text(const std::vector<std::string>& topic) {
  if (topic.empty()) {
    return usage_text("") +
           "\nMore help: 'policyctl help COMMAND', 'policyctl help statements', 'policyctl help "
           "STATEMENT',\n'policyctl help fields', 'policyctl help FIELD', 'policyctl help "
           "exit-statuses'.\n";
  }
  const Command* const command = topic.size() == 1 ? find_command(topic[0]) : nullptr;
  const bool is_command = command != nullptr && command->is_told_of();
  const std::optional<std::string> text = help_on(topic);
  if (!is_command && !text) refuse_topic(joined(topic, " "));
  return (is_command ? command_help(topic[0]) : "") + (is_command && text ? "\n" : "") +
         text.value_or("");
}

ExitStatus help_command(const Context& context, const std::vector<std::string>& topic) {
  context.out << help_text(topic);
  return ExitStatus::DONE;
}
