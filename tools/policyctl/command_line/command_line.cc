#include "tools/policyctl/command_line/command_line.h"

#include <algorithm>
#include <charconv>
#include <ostream>
#include <string_view>
#include <utility>

#include "framework/xrl/finder_constants.h"
#include "tools/policyctl/command_line/command_completion.h"
#include "tools/policyctl/command_line/manual.h"
#include "tools/policyctl/command_line/number_check.h"
#include "tools/policyctl/command_line/usage_failure.h"
#include "tools/policyctl/commands/apply_commands.h"
#include "tools/policyctl/commands/checkpoint_commands.h"
#include "tools/policyctl/commands/import_command.h"
#include "tools/policyctl/commands/object_commands.h"
#include "tools/policyctl/commands/show_command.h"
#include "tools/policyctl/commands/watch_command.h"
#include "tools/policyctl/entries/required_form.h"
#include "tools/policyctl/render/json_output.h"
#include "tools/policyctl/shell/shell_command.h"
#include "tools/seconds_range.h"

namespace {

constexpr double DEFAULT_PATIENCE_S = 5;
constexpr double SHORTEST_PATIENCE_S = 0.001;
constexpr double LONGEST_PATIENCE_S = 86400;
constexpr std::uint32_t LONGEST_CONFIRMATION_S = 86400;
constexpr double SHORTEST_INTERVAL_S = 0.01;
constexpr double LONGEST_INTERVAL_S = 86400;
constexpr std::uint32_t LAST_DSCP = 63;
constexpr std::uint32_t LAST_QUEUE = 7;

// What the options of all commands are read into; lives as long as the app.
struct Given {
  double patience_s = DEFAULT_PATIENCE_S;
  std::vector<std::string> words;
  std::string file;
  std::string other_file;
  std::string text;
  std::uint32_t number = 0;
  std::uint32_t queue = 0;
  std::uint32_t confirm_s = 0;
  std::int64_t deadline = 0;
  bool prune = false;
  bool cascade = false;
  bool all = false;
  ShowAs show_as = ShowAs::WHAT_FITS;
  std::string output;
  std::uint32_t first_acl = ImportOptions().first_acl;
  double interval_s = 1;
};

class CommandLineMaker {
 public:
  CommandLineMaker(Context& context, CommandLine& line)
      : _context(context), _line(line), _given(std::make_shared<Given>()) {}

  void make() {
    _line.app = std::make_unique<CLI::App>(
        "Shows and changes the traffic policy of a switch. See also 'policyctl help TOPIC'.",
        "policyctl");
    _line.app->set_version_flag("--version", "policyctl " POLICYD_VERSION);
    _line.app->require_subcommand(1);
    _line.app->fallthrough();
    add_common_options();
    add_reading_commands();
    add_changing_commands();
    add_keeping_commands();
    add_object_commands();
    add_import();
    add_shell();
    add_help();
    add_guard();
  }

 private:
  using Run = std::function<ExitStatus(Context&, const Given&)>;

  CLI::App* command(const std::string& name, const std::string& help, Run run) {
    CLI::App* const command = _line.app->add_subcommand(name, help);
    command->callback([given = _given, &line = _line, run = std::move(run)] {
      line.run = [given, run](Context& context) { return run(context, *given); };
    });
    return command;
  }

  void add_common_options() {
    CLI::App& app = *_line.app;
    app.add_option_function<std::string>(
           "-F", [&context = _context](const std::string& text) { set_finder(context, text); },
           "where the finder is (default 127.0.0.1:19999)")
        ->type_name("HOST[:PORT]")
        ->take_last()
        ->trigger_on_parse();
    app.add_option_function<double>(
           "--timeout",
           [&context = _context](double seconds) {
             context.patience =
                 std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds));
           },
           "how long nothing may be heard (default 5)")
        ->type_name("SECONDS")
        ->check(seconds_range(SHORTEST_PATIENCE_S, LONGEST_PATIENCE_S));
    app.add_flag("--json", _context.json, "print results as JSON");
  }

  static void file_of(CLI::App* command, Given& given,
                      const std::string& help = "a file of configuration, - for standard input") {
    command->add_option("FILE", given.file, help)->type_name("")->required();
  }

  void prune_of(CLI::App* command) {
    command->add_flag("--prune", _given->prune, "remove what the file does not name");
  }

  void confirm_of(CLI::App* command) {
    command
        ->add_option("--confirm", _given->confirm_s,
                     "undo it after so many seconds, unless 'policyctl confirm' comes")
        ->type_name("SECONDS")
        ->check(whole_number(1, LONGEST_CONFIRMATION_S));
  }

  CLI::Option* words_of(CLI::App* command, const std::string& name, const std::string& help) {
    return command->add_option(name, _given->words, help)->type_name("");
  }

  static Unnamed unnamed(const Given& given) {
    return given.prune ? Unnamed::REMOVED : Unnamed::KEPT;
  }

  void add_reading_commands() {
    CLI::App* const show =
        command("show",
                "show the configuration of the switch, as text that can be applied, or on "
                "a terminal as tables",
                [](Context& context, const Given& given) {
                  return show_command(context, Selection::parse(given.words), given.show_as);
                });
    CLI::Option* const text = show->add_flag_callback(
        "--text", [given = _given] { given->show_as = ShowAs::TEXT; },
        "text that can be applied, on a terminal, too");
    show->add_flag_callback(
            "--table", [given = _given] { given->show_as = ShowAs::TABLES; },
            "tables, where it is no terminal, too")
        ->excludes(text);
    const std::string selections = listed(selection_forms()) + "; all of it when left out";
    words_of(show, "WHAT", selections);
    CLI::App* const watch = command(
        "watch", "print each change of the switch as it is seen, until Ctrl-C",
        [](Context& context, const Given& given) {
          return watch_command(context, Selection::parse(given.words),
                               {std::chrono::duration<double>(given.interval_s), given.number});
        });
    words_of(watch, "WHAT", selections);
    watch
        ->add_option("--interval", _given->interval_s, "how long to wait between looks (default 1)")
        ->type_name("SECONDS")
        ->check(seconds_range(SHORTEST_INTERVAL_S, LONGEST_INTERVAL_S));
    watch->add_option("--count", _given->number, "end after so many changes")
        ->type_name("N")
        ->check(whole_number(1));
    file_of(command("check", "look for faults in a file, without a switch",
                    [](Context& context, const Given& given) {
                      return check_command(context, given.file);
                    }),
            *_given);
    CLI::App* const plan = command("plan", "show what applying a file would change",
                                   [](Context& context, const Given& given) {
                                     return plan_command(context, given.file, unnamed(given));
                                   });
    file_of(plan, *_given);
    prune_of(plan);
  }

  void add_changing_commands() {
    CLI::App* const apply =
        command("apply", "make the switch what a file says, all or nothing",
                [](Context& context, const Given& given) {
                  return apply_command(context, {given.file, unnamed(given), given.confirm_s});
                });
    file_of(apply, *_given);
    prune_of(apply);
    confirm_of(apply);
    command("confirm", "keep a change that waits for its confirmation",
            [](Context& context, const Given&) { return confirm_command(context); });
    command("recover", "undo a change that was left unfinished or waits for its confirmation",
            [](Context& context, const Given&) { return recover_command(context); });
  }

  void add_keeping_commands() {
    file_of(command("save", "write the configuration of the switch to a file",
                    [](Context& context, const Given& given) {
                      return save_command(context, given.file);
                    }),
            *_given, "the file, - for standard output");
    command("checkpoint", "keep the configuration of the switch as it is",
            [](Context& context, const Given& given) {
              return checkpoint_command(context, given.text);
            })
        ->add_option("WHY", _given->text, "what to remember it by")
        ->type_name("");
    command("checkpoints", "list what was kept, the newest first",
            [](Context& context, const Given&) { return checkpoints_command(context); });
    CLI::App* const rollback =
        command("rollback", "make the switch what it was at a checkpoint",
                [](Context& context, const Given& given) {
                  return rollback_command(context, given.number, given.confirm_s);
                });
    rollback->add_option("N", _given->number, "1 is the newest")
        ->type_name("")
        ->required()
        ->check(whole_number());
    confirm_of(rollback);
    CLI::App* const diff = command("diff", "show what makes one configuration of another",
                                   [](Context& context, const Given& given) {
                                     return diff_command(context, given.file, given.other_file);
                                   });
    diff->add_option("FROM", _given->file, "a file, checkpoint:N, or switch")
        ->type_name("")
        ->required();
    diff->add_option("TO", _given->other_file, "likewise")->type_name("")->required();
  }

  void add_object_commands() {
    CLI::App* const who_uses =
        command("who-uses", "list every interface, VLAN and remark that holds a list or rule",
                [](Context& context, const Given& given) {
                  return who_uses_command(context, parse_object(list_forms(), given.words));
                });
    words_of(who_uses, "LIST", listed(list_forms()))->required();
    CLI::App* const remove =
        command("delete", "delete a list, a rule or a time range",
                [](Context& context, const Given& given) {
                  return delete_command(context, parse_object(object_forms(), given.words),
                                        {given.cascade, given.all});
                });
    words_of(remove, "OBJECT", listed(object_forms()))->required();
    remove->add_flag("--cascade", _given->cascade, "unbind it first from all that uses it");
    remove->add_flag("--all", _given->all, "name all that uses it, not the first 20 alone");
    CLI::App* const dscp = command(
        "dscp-queue",
        "set the egress queue of a DSCP; policyd does not tell it, so no statement holds it, and "
        "that of a DSCP below 8 changes the mapping that is read for that priority",
        [](Context& context, const Given& given) {
          return dscp_queue_command(context, given.number, given.queue);
        });
    dscp->add_option("DSCP", _given->number, "0..63")
        ->type_name("")
        ->required()
        ->check(whole_number(0, LAST_DSCP));
    dscp->add_option("QUEUE", _given->queue, "0..7")
        ->type_name("")
        ->required()
        ->check(whole_number(0, LAST_QUEUE));
  }

  void add_import() {
    CLI::App* const import = command(
        "import", "write what a file of another tool becomes as configuration text",
        [](Context& context, const Given& given) {
          return import_command(context, {given.text, given.file, given.output, {given.first_acl}});
        });
    std::string formats;
    for (const ImportFormatName& format : import_formats()) {
      formats += (formats.empty() ? "" : "; ") + std::string(format.name) + ": " +
                 std::string(format.help);
    }
    import->add_option("FORMAT", _given->text, formats)->type_name("")->required();
    import->add_option("FILE", _given->file, "the file, - for standard input")
        ->type_name("")
        ->required();
    import->add_option("-o", _given->output, "write it to a file")->type_name("FILE");
    import->add_option("--acl", _given->first_acl, "the number of the first list (default 1)")
        ->type_name("N")
        ->check(whole_number());
  }

  void add_shell() {
    command("shell", "edit the configuration at a prompt, and commit it",
            [](Context& context, const Given&) { return shell_command(context); });
  }

  void add_help() {
    const CLI::App& app = *_line.app;
    words_of(command("help", "tell about a command, a statement, a match field, exit statuses",
                     [&app](Context& context, const Given& given) {
                       context.out << help_text(app, given.words);
                       return ExitStatus::DONE;
                     }),
             "TOPIC", "a command, 'statements', a statement, 'fields', a field, 'exit-statuses'");
    command("completion", "print the script by which a shell completes policyctl's words",
            [](Context& context, const Given& given) {
              return completion_command(context, given.text);
            })
        ->add_option("SHELL", _given->text, "bash, fish or zsh")
        ->type_name("")
        ->required();
    command("manual", "", [&app](Context& context, const Given&) {
      context.out << manual_page(app);
      return ExitStatus::DONE;
    })->group("");
    CLI::App* const complete =
        command("complete", "", [&app](Context& context, const Given& given) {
          return complete_command(context, app, given.words);
        });
    complete->group("");
    complete->prefix_command(false);
    words_of(complete, "WORD", "");
  }

  // Not for people.
  void add_guard() {
    CLI::App* const guard = command("guard", "", [](Context& context, const Given& given) {
      return guard_command(context, given.text, given.deadline);
    });
    guard->group("");
    guard->add_option("ID", _given->text)->required();
    guard->add_option("DEADLINE", _given->deadline)->required();
  }

  Context& _context;
  CommandLine& _line;
  std::shared_ptr<Given> _given;
};

}  // namespace

const CLI::App* find_command(const CLI::App& app, const std::string& name) {
  for (const CLI::App* command : app.get_subcommands(nullptr)) {
    if (command->get_name() == name) return command;
  }
  return nullptr;
}

void set_finder(Context& context, const std::string& text) {
  const std::size_t colon = text.find(':');
  context.place.finder_host = text.substr(0, colon);
  if (context.place.finder_host.empty()) throw CLI::ValidationError("-F " + text, "no host");
  if (colon == std::string::npos) return;
  const char* const end = text.data() + text.size();
  const auto [last, problem] =
      std::from_chars(text.data() + colon + 1, end, context.place.finder_port);
  if (problem != std::errc() || last != end || context.place.finder_port == 0) {
    throw CLI::ValidationError("-F " + text, "the port must be a number 1..65535");
  }
}

std::unique_ptr<CommandLine> make_command_line(Context& context) {
  auto line = std::make_unique<CommandLine>();
  CommandLineMaker(context, *line).make();
  return line;
}

int run_command_line(Context& context, int argc, const char* const* argv) {
  context.place = {FinderConstants::FINDER_DEFAULT_HOST().str(),
                   FinderConstants::FINDER_DEFAULT_PORT()};
  context.patience =
      std::chrono::duration_cast<Duration>(std::chrono::duration<double>(DEFAULT_PATIENCE_S));
  const std::unique_ptr<CommandLine> line = make_command_line(context);
  try {
    line->app->parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    const std::vector<CLI::App*> chosen = line->app->get_subcommands();
    context.out << usage_text(chosen.empty() ? *line->app : *chosen.front());
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
  return static_cast<int>(run_reporting(context, [&] { return line->run(context); }));
}
