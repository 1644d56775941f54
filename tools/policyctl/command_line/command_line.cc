#include "tools/policyctl/command_line/command_line.h"

#include <algorithm>
#include <optional>
#include <ostream>
#include <string_view>
#include <utility>

#include "framework/xrl/finder_constants.h"
#include "framework/xrl/finder_place.h"
#include "tools/policyctl/command_line/manual.h"
#include "tools/policyctl/command_line/usage_failure.h"
#include "tools/policyctl/language/statement_match.h"
#include "tools/seconds_range.h"

namespace {

constexpr double DEFAULT_PATIENCE_S = 5;
constexpr double MS_PER_S = 1000;

// Without a description, which would become part of the name of the option's type.
CLI::Validator whole_number(std::uint32_t lowest, std::uint32_t highest) {
  return {[lowest, highest](const std::string& text) {
            const std::optional<std::uint32_t> number = decimal_number(text);
            if (number && *number >= lowest && *number <= highest) return std::string();
            if (!without_leading_zero(text).empty()) return "'" + text + "' has a leading zero";
            return "'" + text + "' is no number " + std::to_string(lowest) + ".." +
                   std::to_string(highest);
          },
          ""};
}

void set_patience(Context& context, double seconds) {
  context.patience = std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds));
}

void set_common_option(Context& context, std::string_view name, const std::string& value) {
  if (name == "F") set_finder(context, value);
  if (name == "timeout") set_patience(context, std::stod(value));
  if (name == "json") context.json = true;
}

// Tells CLI11 of what commands() tells.
class CommandLineMaker {
 public:
  CommandLineMaker(Context& context, CommandLine& line) : _context(context), _line(line) {}

  void make() {
    _line.app = std::make_unique<CLI::App>(
        "Shows and changes the traffic policy of a switch. See also 'policyctl help TOPIC'.",
        "policyctl");
    _line.app->set_version_flag("--version", "policyctl " POLICYD_VERSION);
    _line.app->require_subcommand(1);
    _line.app->fallthrough();
    for (const CommandOption& option : common_options()) {
      CLI::Option* const made =
          add_option(*_line.app, option, [&context = _context, &option](const std::string& value) {
            set_common_option(context, option.name, value);
          });
      made->take_last();
    }
    for (const Command& command : commands()) {
      if (can_be_typed(command.typed, Where::COMMAND_LINE)) add(command);
    }
  }

 private:
  static const char* group_of(const Command& command) {
    if (!command.is_told_of()) return "";
    switch (command.touches) {
      case Touches::READS:
        return "Commands that read the switch";
      case Touches::CHANGES:
        return "Commands that change it";
      case Touches::NOTHING:
        break;
    }
    return "Commands that do without it";
  }

  void add(const Command& command) {
    CLI::App* const app =
        _line.app->add_subcommand(std::string(command.name), std::string(command.help));
    app->group(group_of(command));
    const auto call = std::make_shared<Call>(Call{_context, command});
    app->callback([&line = _line, call] { line.call = call; });
    for (const CommandArgument& argument : command.arguments) {
      if (can_be_typed(argument.typed, Where::COMMAND_LINE)) add_argument(*app, argument, call);
    }
    std::map<std::string_view, CLI::Option*> options;
    for (const CommandOption& option : command.options) {
      if (!can_be_typed(option.typed, Where::COMMAND_LINE)) continue;
      CLI::Option* const made = add_option(*app, option, [call, &option](const std::string& value) {
        call->options[std::string(option.name)] = value;
      });
      options[option.name] = made;
      if (!option.excludes.empty()) made->excludes(options.at(option.excludes));
    }
  }

  static void add_argument(CLI::App& app, const CommandArgument& argument,
                           const std::shared_ptr<Call>& call) {
    const std::string name(argument.type.name);
    const std::string help = help_of(argument.type);
    CLI::Option* const option =
        takes_many_words(argument.type)
            ? app.add_option_function<std::vector<std::string>>(
                  name, [call](const std::vector<std::string>& words) { call->words = words; },
                  help)
            : app.add_option_function<std::string>(
                  name, [call](const std::string& word) { call->words.push_back(word); }, help);
    option->type_name("");
    option->required(!argument.optional);
    check(*option, argument.type);
  }

  static CLI::Option* add_option(CLI::App& app, const CommandOption& option,
                                 const std::function<void(const std::string&)>& take) {
    const std::string help(option.help);
    if (!option.takes_value()) {
      return app.add_flag_function(
          option.dashed(),
          [take](std::int64_t count) {
            if (count > 0) take("");
          },
          help);
    }
    CLI::Option* const made = app.add_option_function<std::string>(option.dashed(), take, help);
    made->type_name(std::string(option.value.name));
    check(*made, option.value);
    return made;
  }

  static void check(CLI::Option& option, const Argument& type) {
    if (type.syntax == ArgumentSyntax::NUMBER)
      option.check(whole_number(type.lowest, type.highest));
    if (type.syntax == ArgumentSyntax::SECONDS) {
      option.check(seconds_range(type.lowest / MS_PER_S, type.highest / MS_PER_S));
    }
  }

  Context& _context;
  CommandLine& _line;
};

}  // namespace

void set_finder(Context& context, const std::string& text) {
  FinderPlace place;
  if (!parse_finder_place(text, place)) {
    const bool has_host = !text.empty() && !text.starts_with(':');
    throw CLI::ValidationError("-F " + text,
                               has_host ? "the port must be a number 1..65535" : "no host");
  }
  context.place = {place.host, place.port};
}

std::unique_ptr<CommandLine> make_command_line(Context& context) {
  auto line = std::make_unique<CommandLine>();
  CommandLineMaker(context, *line).make();
  return line;
}

int run_command_line(Context& context, int argc, const char* const* argv) {
  context.place = {FinderConstants::FINDER_DEFAULT_HOST().str(),
                   FinderConstants::FINDER_DEFAULT_PORT()};
  set_patience(context, DEFAULT_PATIENCE_S);
  const std::unique_ptr<CommandLine> line = make_command_line(context);
  try {
    line->app->parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    const std::vector<CLI::App*> chosen = line->app->get_subcommands();
    context.out << usage_text(chosen.empty() ? "" : chosen.front()->get_name());
    return 0;
  } catch (const CLI::CallForVersion& version) {
    context.out << version.what() << '\n';
    return 0;
  } catch (const CLI::ParseError& error) {
    // What stands behind the mistake was not parsed.
    context.json =
        context.json || std::find(argv, argv + argc, std::string_view("--json")) != argv + argc;
    return static_cast<int>(report_failure(context, usage_failure(*line->app, error)));
  }
  return static_cast<int>(
      run_reporting(context, [&] { return line->call->command.run(*line->call); }));
}
