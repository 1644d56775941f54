#include <string_view>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/command_line/command_line.h"
#include "tools/policyctl/command_line/manual.h"
#include "tools/policyctl/failure.h"
#include "tools/policyctl/render/examples.h"
#include "tools/policyctl/render/topics.h"

namespace {

std::string spaced(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::string command_help(const CLI::App& command) {
  std::string text = usage_text(command);
  std::vector<HelpRow> rows;
  for (const CommandExample& example : command_examples()) {
    if (example.line.find(" " + command.get_name()) == std::string_view::npos) continue;
    rows.push_back({std::string(example.line), std::string(example.purpose)});
  }
  return rows.empty() ? text : text + "\nExamples:\n" + columns(rows);
}

[[noreturn]] void refuse_topic(const CLI::App& app, const std::string& topic) {
  NearestName nearest(topic);
  for (const CLI::App* command : app.get_subcommands(nullptr)) {
    if (!command->get_group().empty()) nearest.consider(command->get_name());
  }
  for (const std::string& each : language_topics()) nearest.consider(each);
  throw Failure(
      ExitStatus::USAGE, "there is no help on '" + topic + "'.",
      nearest.name().empty()
          ? "See 'policyctl help', 'policyctl help statements' and 'policyctl help fields'."
          : "Is '" + nearest.name() + "' meant?");
}

}  // namespace

std::string usage_text(const CLI::App& app) {
  const CLI::App* const parent = app.get_parent();
  const std::string name = (parent == nullptr ? "" : parent->get_name() + " ") + app.get_name();
  // help() of an app is that of the command that was chosen.
  return app.get_formatter()->make_help(&app, name, CLI::AppFormatMode::Normal);
}

std::string help_text(const CLI::App& app, const std::vector<std::string>& topic) {
  if (topic.empty()) {
    return usage_text(app) +
           "\nMore help: 'policyctl help COMMAND', 'policyctl help statements', 'policyctl help "
           "STATEMENT',\n'policyctl help fields', 'policyctl help FIELD', 'policyctl help "
           "exit-statuses'.\n";
  }
  const CLI::App* const command = topic.size() == 1 ? find_command(app, topic[0]) : nullptr;
  const bool is_command = command != nullptr && !command->get_group().empty();
  const std::optional<std::string> text = help_on(topic);
  if (!is_command && !text) refuse_topic(app, spaced(topic));
  return (is_command ? command_help(*command) : "") + (is_command && text ? "\n" : "") +
         text.value_or("");
}
