#include "tools/policyctl/command_line/usage_failure.h"

#include <string>
#include <vector>

#include "framework/xrl/nearest_name.h"

namespace {

const CLI::App* chosen_command(const CLI::App& app) {
  const std::vector<CLI::App*> chosen = app.get_subcommands();
  return chosen.empty() ? nullptr : chosen.front();
}

// Those of all commands, and of the one that was chosen.
std::vector<const CLI::Option*> known_options(const CLI::App& app) {
  std::vector<const CLI::Option*> options = app.get_options();
  const CLI::App* const chosen = chosen_command(app);
  if (chosen == nullptr) return options;
  for (const CLI::Option* option : chosen->get_options()) options.push_back(option);
  return options;
}

// The command or option that was probably meant.
std::string nearest_word(const CLI::App& app, const std::string& wrong) {
  NearestName nearest(wrong);
  if (chosen_command(app) == nullptr && !wrong.starts_with('-')) {
    for (const CLI::App* command : app.get_subcommands(nullptr)) {
      if (!command->get_group().empty()) nearest.consider(command->get_name());
    }
  }
  for (const CLI::Option* option : known_options(app)) {
    for (const std::string& name : option->get_lnames()) nearest.consider("--" + name);
  }
  return nearest.name();
}

std::string where_to_look(const CLI::App& app) {
  const CLI::App* const chosen = chosen_command(app);
  return "See 'policyctl help" + (chosen == nullptr ? "" : " " + chosen->get_name()) + "'.";
}

Failure missing_word(const CLI::App& app) {
  const CLI::App* const chosen = chosen_command(app);
  if (chosen == nullptr) {
    return Failure(ExitStatus::USAGE, "a command is missing.", where_to_look(app));
  }
  std::string missing;
  for (const CLI::Option* option : chosen->get_options()) {
    if (!option->get_required() || option->count() > 0) continue;
    missing = option->get_name() + " (" + option->get_description() + ")";
    break;
  }
  return Failure(ExitStatus::USAGE, "'" + chosen->get_name() + "' needs " + missing + ".",
                 where_to_look(app));
}

Failure missing_value(const CLI::App& app, const std::string& problem) {
  for (const CLI::Option* option : known_options(app)) {
    const std::string name = option->get_name();
    if (!problem.starts_with(name + ":")) continue;
    return Failure(ExitStatus::USAGE, name + " needs " + option->get_type_name() + ".",
                   where_to_look(app));
  }
  return Failure(ExitStatus::USAGE, problem + ".", where_to_look(app));
}

}  // namespace

Failure usage_failure(const CLI::App& app, const CLI::ParseError& error) {
  for (const std::string& word : app.remaining(true)) {
    const std::string nearest = nearest_word(app, word);
    return Failure(ExitStatus::USAGE, "'" + word + "' is not expected here.",
                   nearest.empty() ? where_to_look(app) : "Is '" + nearest + "' meant?");
  }
  std::string problem = error.what();
  const std::string kind = error.get_name();
  if (kind == "RequiredError") return missing_word(app);
  if (kind == "ArgumentMismatch") return missing_value(app, problem);
  if (!problem.ends_with('.')) problem += '.';
  return Failure(ExitStatus::USAGE, problem, where_to_look(app));
}
