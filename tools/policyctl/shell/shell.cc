#include "tools/policyctl/shell/shell.h"

#include <csignal>
#include <ostream>
#include <utility>

#include "framework/base/shown_character.h"
#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/change/checkpoints.h"
#include "tools/policyctl/change/difference.h"
#include "tools/policyctl/change/faults_at_switch.h"
#include "tools/policyctl/change/read_switch.h"
#include "tools/policyctl/commands/apply_commands.h"
#include "tools/policyctl/commands/checkpoint_commands.h"
#include "tools/policyctl/entries/selection.h"
#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/language/statement_candidates.h"
#include "tools/policyctl/language/statement_faults.h"
#include "tools/policyctl/language/words.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/render/print_plan.h"
#include "tools/policyctl/render/print_uses.h"
#include "tools/policyctl/render/topics.h"
#include "tools/policyctl/shell/shell_forms.h"

namespace {

// A change blocks signals, as a process that ends with it may; the shell goes on.
class SignalsKept {
 public:
  SignalsKept() { sigprocmask(SIG_SETMASK, nullptr, &_mask); }
  ~SignalsKept() { sigprocmask(SIG_SETMASK, &_mask, nullptr); }
  SignalsKept(const SignalsKept&) = delete;
  SignalsKept& operator=(const SignalsKept&) = delete;

 private:
  sigset_t _mask{};
};

constexpr const char* KEEP_AND_LOAD =
    "Keep the candidate with 'save FILE', start over with 'rollback', and 'load FILE' again.";
constexpr const char* START_OVER =
    "Carry your edits over with 'update': what somebody else changed too stays as they made it.";

Failure conflict_failure(const std::vector<std::string>& conflicts) {
  return Failure(
      ExitStatus::REFUSED,
      "somebody else changed this since the candidate was started: " + joined(conflicts) + ".",
      START_OVER, Fate::UNCHANGED);
}

std::string help_on_forms(const std::vector<const CommandForm*>& forms) {
  std::vector<HelpRow> rows;
  rows.reserve(forms.size());
  for (const CommandForm* form : forms) rows.push_back({form->pattern, std::string(form->help)});
  return columns(rows);
}

[[noreturn]] void refuse_topic(const std::vector<std::string>& topic) {
  throw Failure(ExitStatus::USAGE, "there is no help on '" + joined(topic, " ") + "'.",
                "See 'help', 'help statements' and 'help fields'.");
}

// A first word that begins neither a statement nor a command.
std::optional<Fault> unknown_beginning(const Word& word, const Scope* context) {
  const std::vector<std::string_view> known = literals_at(candidates(context, {}, 0), 0);
  if (std::find(known.begin(), known.end(), word.text) != known.end()) return std::nullopt;
  NearestName nearest(word.text);
  for (const std::string_view each : known) nearest.consider(each);
  Expected commands;
  shell_forms().expect_after(context, {}, commands);
  for (const std::string_view each : commands.literals) nearest.consider(each);
  if (nearest.name().empty()) return std::nullopt;
  return fault_at(word, shown_in_quotes(word.text) + " is no command and begins no statement.",
                  is_meant(nearest.name()));
}

}  // namespace

Shell::Shell(const Context& context, Lines lines)
    : _context(context), _help(_context, _candidate), _is_attended(lines == Lines::TYPED) {
  _context.where = Where::SHELL;
}

SwitchConfiguration Shell::read_present(SwitchSession& session) {
  if (session.policyd() != _policyd) {
    throw Failure(ExitStatus::REFUSED,
                  "policyd was started anew since the candidate was started, and began from its "
                  "defaults.",
                  KEEP_AND_LOAD, Fate::UNCHANGED);
  }
  return read_switch_for(session, {});
}

void Shell::start_over() {
  const auto session = _context.connect();
  _candidate.start_from(read_switch_for(*session, {}));
  _policyd = session->policyd();
}

std::string Shell::prompt() const {
  const std::string place = _candidate.place_name();
  return "policyctl" + (place.empty() ? "" : " " + place) + (_candidate.is_edited() ? "*> " : "> ");
}

ExitStatus Shell::run_line(std::string_view line, std::size_t number) {
  _line_number = number;
  const SignalsKept signals;
  const ExitStatus status = run_reporting(_context, [this, line] { return enter(line); });
  if (!_is_over && !line.starts_with("quit") && !line.starts_with("exit")) _was_warned = false;
  return status;
}

ExitStatus Shell::enter(std::string_view line) {
  Words words;
  const std::optional<WordFault> broken = words.split(line);
  if (broken) return report({{0, broken->column, broken->length, broken->message, ""}}, line);
  if (words.all().empty()) return ExitStatus::DONE;
  const Word& first = words.all()[0];
  const Scope* const context = _candidate.context();
  const bool is_command = shell_forms().begin_with(first.text, context) && !first.quoted;
  if (is_command) {
    std::size_t form = 0;
    const std::optional<Fault> misfit = shell_forms().match(context, words.all(), form);
    if (!misfit) return run_command(form, words.all());
    // What opens a list begins as the statement that makes one.
    if (candidates(context, words.all(), 1).empty()) return report({*misfit}, line);
  }
  std::optional<Fault> unknown = unknown_beginning(first, context);
  if (unknown) return report({*unknown}, line);
  return report(_candidate.enter(line), line);
}

ExitStatus Shell::run_command(std::size_t form, std::span<const Word> words) {
  Call call = shell_call(_context, form, words);
  call.shell = this;
  return call.command.run(call);
}

ExitStatus Shell::report(const std::vector<Fault>& faults, std::string_view line) {
  if (faults.empty()) return ExitStatus::DONE;
  std::vector<Fault> placed = faults;
  for (Fault& fault : placed) fault.line = _line_number;
  _context.out << std::flush;
  print_faults(_context.err, {"line", std::string(_line_number - 1, '\n') + std::string(line)},
               placed, _context.where);
  return ExitStatus::BAD_FILE;
}

bool Shell::may_leave() {
  if (!_candidate.is_edited() || _was_warned) return true;
  _was_warned = true;
  _context.out << std::flush;
  _context.err << "What was edited is not committed. "
               << (_is_attended ? "'commit' makes it so; 'quit' again leaves without.\n"
                                : "End with 'commit', or with 'rollback' to give it up.\n");
  return false;
}

ExitStatus Shell::open(const std::vector<std::string>& head) {
  const ObjectName object = parse_object(Named::HEADS, head);
  if (_candidate.open(*object.kind, object.key)) return ExitStatus::DONE;
  throw Failure(
      ExitStatus::REFUSED, "there is no " + object.name() + " here.",
      "Make one with '" + std::string(statements_of(*object.kind).front().pattern) + "'.");
}

ExitStatus Shell::top() {
  _candidate.leave();
  return ExitStatus::DONE;
}

ExitStatus Shell::exit() {
  return _candidate.context() == &TOP_LEVEL ? quit() : top();
}

ExitStatus Shell::quit() {
  _is_over = may_leave();
  return ExitStatus::DONE;
}

ExitStatus Shell::compare() {
  const auto session = _context.connect();
  const SwitchConfiguration now = read_present(*session);
  Difference merged =
      carry_over(_candidate.base(), _candidate.configuration(), now, OnClash::REFUSE);
  if (!merged.clashes.empty()) throw conflict_failure(merged.clashes);
  print_plan(_context.out, Plan(now, std::move(merged.target)), _context.out_is_terminal);
  return ExitStatus::DONE;
}

ExitStatus Shell::update() {
  const auto session = _context.connect();
  const SwitchConfiguration now = read_switch_for(*session, {});
  Difference carried =
      carry_over(_candidate.base(), _candidate.configuration(), now, OnClash::KEEP_THEIRS);
  const bool had_edits = _candidate.is_edited();
  _policyd = session->policyd();
  _candidate.start_from(now);
  if (had_edits) _candidate.become(std::move(carried.target));
  _context.out << "The candidate is what the switch is, with your edits.\n";
  if (carried.clashes.empty()) return ExitStatus::DONE;
  _context.out << "Left as somebody else made it: " << harmless_line(joined(carried.clashes))
               << ".\n";
  return ExitStatus::DONE;
}

ExitStatus Shell::commit(std::uint32_t confirm_s) {
  const StateDirectory directory(_context.place);
  std::unique_ptr<SwitchSession> session;
  before_change([&] { session = _context.connect(); });
  const ChangeLock lock = directory.lock(_context.patience, "commit");
  refuse_unfinished_change(directory);
  SwitchConfiguration now;
  before_change([&] { now = read_present(*session); });
  Difference merged =
      carry_over(_candidate.base(), _candidate.configuration(), now, OnClash::REFUSE);
  if (!merged.clashes.empty()) throw conflict_failure(merged.clashes);
  const Plan plan(now, std::move(merged.target));
  ChangeReport report =
      change_to_confirm(_context, *session, directory, plan, {"commit", confirm_s});
  if (report.is_made) _candidate.set_committed(plan.target());
  return print_report(_context, "commit", report);
}

ExitStatus Shell::roll_back(std::uint32_t checkpoint) {
  if (checkpoint == 0) {
    start_over();
    _context.out << "The candidate is what the switch is.\n";
    return ExitStatus::DONE;
  }
  const std::string number = std::to_string(checkpoint);
  const SourceText source{"checkpoint:" + number,
                          read_checkpoint(StateDirectory(_context.place), checkpoint)};
  ReadConfiguration read = read_configuration(source.text);
  if (!read.faults.empty()) return report_faults(_context, source, read.faults);
  start_over();
  const std::string left_out = leave_gone_out(read, _candidate.base());
  return become(source, std::move(read), Unnamed::REMOVED,
                "The candidate is what the switch was at checkpoint " + number + ".\n" +
                    harmless_line(left_out) + (left_out.empty() ? "" : "\n"));
}

ExitStatus Shell::show(const std::vector<std::string>& what) {
  const Selection selection = Selection::parse(what);
  SwitchConfiguration configuration = _candidate.configuration();
  selection.drop_other_parts(configuration);
  selection.require(configuration, IN_THE_CANDIDATE);
  selection.narrow(configuration);
  _context.out << write_configuration(configuration);
  return ExitStatus::DONE;
}

ExitStatus Shell::who_uses(const ObjectName& object) {
  require_object(object, _candidate.configuration(), IN_THE_CANDIDATE);
  const std::vector<ObjectUse> uses = uses_of(object, _candidate.configuration());
  if (uses.empty()) _context.out << object.name() << " is not in use.\n";
  print_uses(_context.out, uses);
  return ExitStatus::DONE;
}

ExitStatus Shell::save(const std::string& file) {
  write_file(_context, file, write_configuration(_candidate.configuration()));
  if (file != "-") _context.out << "Saved to " << harmless_line(file) << ".\n";
  return ExitStatus::DONE;
}

ExitStatus Shell::load(const std::string& file) {
  const SourceText source = read_source(file);
  return become(source, read_configuration(source.text), Unnamed::KEPT,
                "Loaded " + harmless_line(file) + ".\n");
}

ExitStatus Shell::become(const SourceText& source, ReadConfiguration read, Unnamed unnamed,
                         const std::string& outcome) {
  const SwitchConfiguration& here = _candidate.configuration();
  std::vector<Fault> faults = std::move(read.faults);
  SwitchConfiguration target;
  if (faults.empty()) {
    target = complete(std::move(read.configuration), here, unnamed);
    faults = faults_at_switch(read.places, here, target);
  }
  if (!faults.empty()) return report_faults(_context, source, faults);
  _candidate.become(std::move(target));
  _context.out << outcome;
  return ExitStatus::DONE;
}

ExitStatus Shell::check() {
  const SwitchConfiguration& candidate = _candidate.configuration();
  const std::string text = write_configuration(candidate);
  const ReadConfiguration read = read_configuration(text);
  std::vector<Fault> faults = read.faults;
  const std::vector<Fault> unbound = use_faults(read.places, candidate, true);
  faults.insert(faults.end(), unbound.begin(), unbound.end());
  if (!faults.empty()) {
    return report_faults(_context, {"candidate", text}, faults);
  }
  _context.out << "The candidate has no faults.\n";
  return ExitStatus::DONE;
}

ExitStatus Shell::remove(const std::vector<std::string>& entry, bool cascade) {
  const ObjectName object =
      parse_object(Named::EDITED, entry, _candidate.context(), _candidate.open_key());
  if (*object.kind->facts().presence == Presence::OUTSIDE) {
    _candidate.delete_bindings(*object.kind, object.key);
  } else if (used_kind(*object.kind) != nullptr) {
    _candidate.delete_binding(*object.kind, object.key);
  } else {
    _candidate.delete_object(object, cascade);
  }
  return ExitStatus::DONE;
}

ExitStatus Shell::explain(const std::vector<std::string>& topic) {
  const std::string commands = help_on_forms(shell_forms().beginning_with(topic));
  if (!topic.empty()) {
    const std::optional<std::string> text = help_on(topic);
    if (!text && commands.empty()) refuse_topic(topic);
    _context.out << commands << (text && !commands.empty() ? "\n" : "") << text.value_or("");
    return ExitStatus::DONE;
  }
  _context.out << "Statements edit the candidate; see 'help statements'. Commands:\n\n"
               << commands
               << "\nTAB completes the word, '?' tells what may follow, Ctrl-R searches the lines "
                  "typed before.\n";
  return ExitStatus::DONE;
}
