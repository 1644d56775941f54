// The table of the shell's commands.
#include <string>
#include <utility>
#include <vector>

#include "tools/policyctl/entries/acl.h"
#include "tools/policyctl/entries/binding.h"
#include "tools/policyctl/entries/record.h"
#include "tools/policyctl/entries/remark.h"
#include "tools/policyctl/entries/scopes.h"
#include "tools/policyctl/entries/selection.h"
#include "tools/policyctl/entries/time_range.h"
#include "tools/policyctl/shell/shell.h"

namespace {

constexpr const Scope* TOP = &TOP_LEVEL;
constexpr const Scope* IN_ACL = &IN_A_LIST;
constexpr const Scope* BINDINGS = &AT_A_RECORD;

std::vector<std::string> words_after(const FormMatch& match, std::size_t count) {
  std::vector<std::string> words;
  for (const Word& word : match.words.subspan(count)) words.emplace_back(word.text);
  return words;
}

std::uint32_t number(const FormMatch& match, std::size_t argument) {
  return match.arguments.size() > argument ? match.arguments[argument].number : 0;
}

RuleKey rule_key(const FormMatch& match) {
  return {number(match, 0), number(match, 1)};
}

std::string text(const FormMatch& match) {
  return std::string(match.arguments[0].text);
}

ObjectName acl_or_rule(const FormMatch& match) {
  if (match.arguments.size() > 1) return {&RULE, key_of(rule_key(match))};
  return {&ACL, key_of(number(match, 0))};
}

void delete_acl_or_rule(Shell& shell, const FormMatch& match) {
  shell.candidate().delete_object(acl_or_rule(match), match.ends_with("cascade"));
}

void delete_open_rule(Shell& shell, const FormMatch& match) {
  const RuleKey rule{shell.candidate().open_key().numbers[0], number(match, 0)};
  shell.candidate().delete_object({&RULE, key_of(rule)}, match.ends_with("cascade"));
}

void delete_time_range(Shell& shell, const FormMatch& match) {
  shell.candidate().delete_object({&TIME_RANGE, key_of(std::string_view(text(match)))}, false);
}

void show(Shell& shell, const FormMatch& match) {
  shell.show(words_after(match, 1));
}

constexpr const char* DELETE_OBJECT = "deletes it from the candidate; 'cascade' unbinds it first";
constexpr const char* SHOW = "prints the candidate, or a part of it";

// clang-format off
std::vector<CommandForm> make_forms() {
  std::vector<CommandForm> forms{
      {"acl ACL", TOP, "opens a list that exists",
       [](Shell& s, const FormMatch& m) { s.open_acl(number(m, 0)); }},
      {"exit", TOP, "leaves what is open, or the shell when nothing is",
       [](Shell& s, const FormMatch&) { s.exit(); }},
      {"top", TOP, "leaves what is open", [](Shell& s, const FormMatch&) { s.top(); }},
      {"delete acl ACL [cascade]", TOP, DELETE_OBJECT, delete_acl_or_rule},
      {"delete acl ACL rule RULE [cascade]", TOP, DELETE_OBJECT, delete_acl_or_rule},
      {"delete rule RULE [cascade]", IN_ACL, DELETE_OBJECT, delete_open_rule},
      {"delete time-range NAME", TOP, "deletes it from the candidate", delete_time_range},
      {"delete interface INTERFACE", TOP, "takes all that is bound to it away",
       [](Shell& s, const FormMatch& m) { s.candidate().delete_bindings(INTERFACE, key_of(std::string_view(text(m)))); }},
      {"delete vlan VLAN", TOP, "takes all that is bound to it away",
       [](Shell& s, const FormMatch& m) { s.candidate().delete_bindings(VLAN, key_of(number(m, 0))); }},
      {"delete filter acl ACL rule RULE", BINDINGS, "takes the filter away",
       [](Shell& s, const FormMatch& m) { s.candidate().delete_binding(FILTER, number(m, 0), number(m, 1)); }},
      {"delete remark acl ACL rule RULE", BINDINGS, "takes the remark away",
       [](Shell& s, const FormMatch& m) { s.candidate().delete_binding(REMARK, number(m, 0), number(m, 1)); }},
      {"compare", TOP, "shows what commit would change, with the switch read anew",
       [](Shell& s, const FormMatch&) { s.compare(); }},
      {"update", TOP,
       "carries the edits over to what the switch is now; where others changed the same, theirs "
       "stays",
       [](Shell& s, const FormMatch&) { s.update(); }},
      {"commit [confirm SECONDS]", TOP,
       "makes the switch the candidate; with 'confirm' it undoes itself unless confirmed in time",
       [](Shell& s, const FormMatch& m) { s.commit(number(m, 0)); }},
      {"confirm", TOP, "keeps a change that waits for its confirmation",
       [](Shell& s, const FormMatch&) { s.confirm(); }},
      {"recover", TOP, "undoes a change that was left unfinished or waits for its confirmation",
       [](Shell& s, const FormMatch&) { s.recover(); }},
      {"rollback [N]", TOP, "makes the candidate what the switch is, or was at a checkpoint",
       [](Shell& s, const FormMatch& m) { s.roll_back(number(m, 0)); }},
      {"checkpoints", TOP, "lists what was kept, the newest first",
       [](Shell& s, const FormMatch&) { s.list_checkpoints(); }},
      {"who-uses acl ACL [rule RULE]", TOP, "lists what of the candidate holds a list or rule",
       [](Shell& s, const FormMatch& m) { s.who_uses(acl_or_rule(m)); }},
      {"save FILE", TOP, "writes the candidate to a file",
       [](Shell& s, const FormMatch& m) { s.save(text(m)); }},
      {"load FILE", TOP, "reads a file of configuration into the candidate",
       [](Shell& s, const FormMatch& m) { s.load(text(m)); }},
      {"check", TOP, "looks for faults in the candidate",
       [](Shell& s, const FormMatch&) { s.check(); }},
      {"help [TOPIC] [TOPIC]", TOP, "tells about the commands, a statement or a match field",
       [](Shell& s, const FormMatch& m) { s.explain(words_after(m, 1)); }},
      {"quit", TOP, "leaves the shell", [](Shell& s, const FormMatch&) { s.quit(); }},
      {"show", TOP, SHOW, show},
  };
  for (const std::string_view part : selection_forms()) {
    forms.push_back({"show " + std::string(part), TOP, SHOW, show});
  }
  return forms;
}
// clang-format on

}  // namespace

const CommandForms& shell_commands() {
  static const CommandForms FORMS(make_forms());
  return FORMS;
}
