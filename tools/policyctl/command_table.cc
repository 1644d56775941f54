// The table of commands: a row for each.
#include <array>
#include <cstdlib>

#include "tools/policyctl/command_line/command_completion.h"
#include "tools/policyctl/command_line/manual.h"
#include "tools/policyctl/commands/apply_commands.h"
#include "tools/policyctl/commands/checkpoint_commands.h"
#include "tools/policyctl/commands/command.h"
#include "tools/policyctl/commands/import_command.h"
#include "tools/policyctl/commands/object_commands.h"
#include "tools/policyctl/commands/show_command.h"
#include "tools/policyctl/commands/status_command.h"
#include "tools/policyctl/commands/watch_command.h"
#include "tools/policyctl/shell/shell.h"
#include "tools/policyctl/shell/shell_command.h"

namespace {

constexpr std::uint32_t DAY_S = 86400;
constexpr std::uint32_t MS = 1000;

// What arguments are; their names are for people alone.
constexpr Argument FILE_TO_READ =
    text_argument("FILE", "a file of configuration, - for standard input", Named::FILES);
constexpr Argument FILE_TO_WRITE =
    text_argument("FILE", "the file, - for standard output", Named::FILES);
constexpr Argument CHECKPOINT = number_argument(
    "N", 1, ANY_NUMBER, "number of a checkpoint; 1 is the newest", Named::CHECKPOINTS);
constexpr Argument FROM = text_argument("FROM", "a file, checkpoint:N, or switch", Named::SIDES);
constexpr Argument TO = text_argument("TO", "likewise", Named::SIDES);
constexpr Argument WHAT = text_argument("WHAT", "; all of it when left out", Named::SELECTIONS);
constexpr Argument USED = text_argument("LIST", "", Named::USED);
constexpr Argument MADE = text_argument("OBJECT", "", Named::MADE);
constexpr Argument EDITED = text_argument("ENTRY", "", Named::EDITED);
constexpr Argument HEAD = text_argument("ENTRY", "", Named::HEADS);
constexpr Argument FORMAT = text_argument("FORMAT", "", Named::FORMATS);
constexpr Argument SOURCE = text_argument("FILE", "the file, - for standard input", Named::FILES);
constexpr Argument TOPIC = text_argument(
    "TOPIC", "a command, 'statements', a statement, 'fields', a field, 'exit-statuses'",
    Named::TOPICS);
constexpr Argument SHELL = choice_argument("SHELL", "bash|fish|zsh", "bash, fish or zsh");
constexpr Argument WHY = text_argument("WHY", "what to remember it by");
constexpr Argument CONFIRM_S = number_argument("SECONDS", 1, DAY_S, "time to confirm a change in");
constexpr Argument COUNT = number_argument("N", 1, ANY_NUMBER, "");
constexpr Argument FIRST_ACL = number_argument("N", 0, ANY_NUMBER, "");
constexpr Argument ID = text_argument("ID", "");
constexpr Argument DEADLINE = text_argument("DEADLINE", "");
constexpr Argument WORDS = text_argument("WORD", "", Named::TOPICS);

constexpr CommandOption PRUNE{"prune", "remove what the file does not name"};
constexpr CommandOption CONFIRM{
    "confirm", "undo it after so many seconds, unless 'policyctl confirm' comes", CONFIRM_S};

constexpr Typed ANYWHERE = Typed::ANYWHERE;
constexpr Typed ON_COMMAND_LINE = Typed::ON_COMMAND_LINE;
constexpr Typed IN_SHELL = Typed::IN_SHELL;
constexpr Typed BY_PROGRAMS = Typed::BY_PROGRAMS;
constexpr Touches NOTHING = Touches::NOTHING;
constexpr Touches READS = Touches::READS;
constexpr Touches CHANGES = Touches::CHANGES;

Unnamed unnamed(const Call& call) {
  return call.has("prune") ? Unnamed::REMOVED : Unnamed::KEPT;
}

ExitStatus show(Call& call) {
  if (call.shell != nullptr) return call.shell->show(call.words);
  const ShowAs otherwise = call.has("table") ? ShowAs::TABLES : ShowAs::WHAT_FITS;
  return show_command(call.context, Selection::parse(call.words),
                      call.has("text") ? ShowAs::TEXT : otherwise);
}

ExitStatus watch(Call& call) {
  return watch_command(call.context, Selection::parse(call.words),
                       {std::chrono::duration<double>(call.option_seconds("interval", 1)),
                        call.option_number("count")});
}

ExitStatus rollback(Call& call) {
  if (call.shell != nullptr) return call.shell->roll_back(call.number(0));
  return rollback_command(call.context, call.number(0), call.option_number("confirm"));
}

ExitStatus who_uses(Call& call) {
  const ObjectName object = parse_object(Named::USED, call.words);
  return call.shell != nullptr ? call.shell->who_uses(object)
                               : who_uses_command(call.context, object);
}

ExitStatus remove(Call& call) {
  if (call.shell != nullptr) return call.shell->remove(call.words, call.has("cascade"));
  return delete_command(call.context, parse_object(Named::MADE, call.words),
                        {call.has("cascade"), call.has("all")});
}

ExitStatus import(Call& call) {
  const auto output = call.options.find("o");
  return import_command(call.context, {call.text(0),
                                       call.text(1),
                                       output == call.options.end() ? "" : output->second,
                                       {call.option_number("acl", ImportOptions().first_acl)}});
}

// clang-format off
std::vector<Command> make_table() {
  return {
      {"show", ANYWHERE, READS, {{WHAT, true}},
       {{"text", "text that can be applied, on a terminal, too"},
        {"table", "tables, where it is no terminal, too", {}, ON_COMMAND_LINE, "text"}},
       "show the configuration of the switch, as text that can be applied, or on a terminal as "
       "tables; in the shell that of the candidate", show},
      {"watch", ON_COMMAND_LINE, READS, {{WHAT, true}},
       {{"interval", "how long to wait between looks (default 1)", seconds_argument(10, DAY_S * MS)},
        {"count", "end after so many changes", COUNT}},
       "print each change of the switch as it is seen, until Ctrl-C", watch},
      {"check", ANYWHERE, NOTHING, {{FILE_TO_READ, false, ON_COMMAND_LINE}}, {},
       "look for faults in a file, without a switch; in the shell in the candidate",
       [](Call& c) { return c.shell != nullptr ? c.shell->check() : check_command(c.context, c.text(0)); }},
      {"plan", ON_COMMAND_LINE, READS, {{FILE_TO_READ}}, {PRUNE},
       "show what applying a file would change",
       [](Call& c) { return plan_command(c.context, c.text(0), unnamed(c)); }},
      {"apply", ON_COMMAND_LINE, CHANGES, {{FILE_TO_READ}}, {PRUNE, CONFIRM},
       "make the switch what a file says, all or nothing",
       [](Call& c) { return apply_command(c.context, {c.text(0), unnamed(c), c.option_number("confirm")}); }},
      {"compare", IN_SHELL, READS, {}, {},
       "show what commit would change, with the switch read anew",
       [](Call& c) { return c.shell->compare(); }},
      {"update", IN_SHELL, READS, {}, {},
       "carry the edits over to what the switch is now; where others changed the same, theirs stays",
       [](Call& c) { return c.shell->update(); }},
      {"commit", IN_SHELL, CHANGES, {}, {{"confirm", "", CONFIRM_S, IN_SHELL}},
       "make the switch the candidate; with 'confirm' it undoes itself unless confirmed in time",
       [](Call& c) { return c.shell->commit(c.option_number("confirm")); }},
      {"confirm", ANYWHERE, CHANGES, {}, {},
       "keep a change that waits for its confirmation",
       [](Call& c) { return confirm_command(c.context); }},
      {"recover", ANYWHERE, CHANGES, {}, {},
       "undo a change that was left unfinished or waits for its confirmation",
       [](Call& c) { return recover_command(c.context); }},
      {"status", ANYWHERE, READS, {}, {},
       "tell which policyd there is, and which change waits for its confirmation or is unfinished",
       [](Call& c) { return status_command(c.context); }},
      {"save", ANYWHERE, READS, {{FILE_TO_WRITE}}, {},
       "write the configuration of the switch to a file; in the shell that of the candidate",
       [](Call& c) { return c.shell != nullptr ? c.shell->save(c.text(0)) : save_command(c.context, c.text(0)); }},
      {"load", IN_SHELL, NOTHING, {{FILE_TO_READ}}, {},
       "read a file of configuration into the candidate",
       [](Call& c) { return c.shell->load(c.text(0)); }},
      {"checkpoint", ON_COMMAND_LINE, READS, {{WHY, true}}, {},
       "keep the configuration of the switch as it is",
       [](Call& c) { return checkpoint_command(c.context, c.text(0)); }},
      {"checkpoints", ANYWHERE, NOTHING, {}, {},
       "list what was kept, the newest first",
       [](Call& c) { return checkpoints_command(c.context); }},
      {"rollback", ANYWHERE, CHANGES,
       {{CHECKPOINT, false, ON_COMMAND_LINE}, {CHECKPOINT, true, IN_SHELL}}, {CONFIRM},
       "make the switch what it was at a checkpoint; in the shell make the candidate that, or what "
       "the switch is", rollback},
      {"diff", ON_COMMAND_LINE, READS, {{FROM}, {TO}}, {},
       "show what makes one configuration of another",
       [](Call& c) { return diff_command(c.context, c.text(0), c.text(1)); }},
      {"who-uses", ANYWHERE, READS, {{USED}}, {},
       "list every interface, VLAN and remark that holds a list or rule", who_uses},
      {"delete", ANYWHERE, CHANGES, {{MADE, false, ON_COMMAND_LINE}, {EDITED, false, IN_SHELL}},
       {{"cascade", "unbind it first from all that uses it", {}, ANYWHERE},
        {"all", "name all that uses it, not the first 20 alone"}},
       "delete a list, a rule or a time range; in the shell of the candidate, and what is bound there",
       remove},
      {"dscp-queue", ON_COMMAND_LINE, CHANGES, {{argument_named("DSCP")}, {argument_named("QUEUE")}}, {},
       "set the egress queue of a DSCP; policyd does not tell it, so no statement holds it, and "
       "that of a DSCP below 8 changes the mapping that is read for that priority",
       [](Call& c) { return dscp_queue_command(c.context, c.number(0), c.number(1)); }},
      {"import", ON_COMMAND_LINE, NOTHING, {{FORMAT}, {SOURCE}},
       {{"o", "write it to a file", FILE_TO_WRITE},
        {"acl", "the number of the first list (default 1)", FIRST_ACL}},
       "write what a file of another tool becomes as configuration text", import},
      {"shell", ON_COMMAND_LINE, CHANGES, {}, {},
       "edit the configuration at a prompt, and commit it",
       [](Call& c) { return shell_command(c.context); }},
      {"", IN_SHELL, NOTHING, {{HEAD}}, {},
       "open what exists, for statements below it",
       [](Call& c) { return c.shell->open(c.words); }},
      {"top", IN_SHELL, NOTHING, {}, {},
       "leave what is open",
       [](Call& c) { return c.shell->top(); }},
      {"exit", IN_SHELL, NOTHING, {}, {},
       "leave what is open, or the shell when nothing is",
       [](Call& c) { return c.shell->exit(); }},
      {"quit", IN_SHELL, NOTHING, {}, {},
       "leave the shell",
       [](Call& c) { return c.shell->quit(); }},
      {"help", ANYWHERE, NOTHING, {{TOPIC, true}}, {},
       "tell about a command, a statement, a match field, exit statuses",
       [](Call& c) { return c.shell != nullptr ? c.shell->explain(c.words) : help_command(c.context, c.words); }},
      {"completion", ON_COMMAND_LINE, NOTHING, {{SHELL}}, {},
       "print the script by which a shell completes policyctl's words",
       [](Call& c) { return completion_command(c.context, c.text(0)); }},
      {"manual", BY_PROGRAMS, NOTHING, {}, {}, "",
       [](Call& c) { return manual_command(c.context); }},
      {"complete", BY_PROGRAMS, READS, {{WORDS, true}}, {}, "",
       [](Call& c) { return complete_command(c.context, c.words); }},
      {"guard", BY_PROGRAMS, CHANGES, {{ID}, {DEADLINE}}, {}, "",
       [](Call& c) {
         return guard_command(c.context, c.text(0), std::strtoll(c.text(1).c_str(), nullptr, 10));
       }},
  };
}
// clang-format on

}  // namespace

std::span<const Command> commands() {
  static const std::vector<Command> TABLE = make_table();
  return TABLE;
}

std::span<const CommandOption> common_options() {
  static constexpr std::array OPTIONS{
      CommandOption{"F", "where the finder is (default 127.0.0.1:19999)",
                    text_argument("HOST[:PORT]", "")},
      CommandOption{"timeout", "how long nothing may be heard (default 5)",
                    seconds_argument(1, DAY_S * MS)},
      CommandOption{"json", "print results as JSON"},
  };
  return OPTIONS;
}
