#include "tools/policyctl/shell/shell.h"

#include <csignal>
#include <ostream>
#include <utility>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/commands/apply_commands.h"
#include "tools/policyctl/commands/checkpoint_commands.h"
#include "tools/policyctl/commands/prepare_plan.h"
#include "tools/policyctl/commands/selection.h"
#include "tools/policyctl/help/topics.h"
#include "tools/policyctl/keep/checkpoints.h"
#include "tools/policyctl/language/statement_candidates.h"
#include "tools/policyctl/language/statement_faults.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/plan/merge.h"
#include "tools/policyctl/switch/read_switch.h"

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

constexpr const char* START_OVER =
    "Keep the candidate with 'save FILE', start over with 'rollback', and 'load FILE' again.";

Failure conflict_failure(const std::vector<std::string>& conflicts) {
  std::string names;
  for (const std::string& name : conflicts) names += (names.empty() ? "" : ", ") + name;
  return Failure(ExitStatus::REFUSED,
                 "somebody else changed this since the candidate was started: " + names +
                     ". Nothing was changed.",
                 START_OVER);
}

void keep_parts(Configuration& configuration, const SwitchParts& parts) {
  if (!parts.class_of_service) configuration.cos = {};
  if (!parts.time_ranges) configuration.time_ranges.clear();
  if (!parts.acls) configuration.acls.clear();
  if (parts.bindings) return;
  configuration.interfaces.clear();
  configuration.vlans.clear();
}

std::string help_on_forms(const std::vector<const CommandForm*>& forms) {
  std::vector<HelpRow> rows;
  rows.reserve(forms.size());
  for (const CommandForm* form : forms) rows.push_back({form->pattern, std::string(form->help)});
  return columns(rows);
}

[[noreturn]] void refuse_topic(const std::vector<std::string>& topic) {
  std::string given;
  for (const std::string& word : topic) given += (given.empty() ? "" : " ") + word;
  throw Failure(ExitStatus::USAGE, "there is no help on '" + given + "'.",
                "See 'help', 'help statements' and 'help fields'.");
}

// Advice to a person at policyctl's command line, for one who is in the shell.
std::string in_the_shell(std::string advice) {
  constexpr std::string_view PROGRAM = "'policyctl ";
  for (const std::string_view command : {"checkpoints", "confirm", "recover"}) {
    const std::string outside = std::string(PROGRAM) + std::string(command) + "'";
    for (std::size_t at = 0; (at = advice.find(outside, at)) != std::string::npos; ++at) {
      advice.replace(at, PROGRAM.size(), "'");
    }
  }
  return advice;
}

// A first word that begins neither a statement nor a command.
std::optional<Fault> unknown_beginning(const Word& word, StatementContext context,
                                       const CommandForms& forms) {
  const std::vector<std::string_view> known = literals_at(candidates(context, {}, 0), 0);
  if (std::find(known.begin(), known.end(), word.text) != known.end()) return std::nullopt;
  NearestName nearest(word.text);
  for (const std::string_view each : known) nearest.consider(each);
  Expected commands;
  forms.expect_after(context, {}, commands);
  for (const std::string_view each : commands.literals) nearest.consider(each);
  if (nearest.name().empty()) return std::nullopt;
  return fault_at(word, quoted_for_fault(word.text) + " is no command and begins no statement.",
                  is_meant(nearest.name()));
}

}  // namespace

Shell::Shell(const Context& context, Lines lines)
    : _context(context),
      _forms(shell_commands()),
      _help(_candidate, _forms),
      _is_attended(lines == Lines::TYPED) {}

Configuration Shell::read_present(SwitchSession& session) {
  if (session.policyd() != _policyd) {
    throw Failure(ExitStatus::REFUSED,
                  "policyd was started anew since the candidate was started, and began from its "
                  "defaults. Nothing was changed.",
                  START_OVER);
  }
  return read_switch(session, SwitchParts::all());
}

void Shell::start_over() {
  const auto session = _context.connect();
  _candidate.start_from(read_switch(*session, SwitchParts::all()));
  _policyd = session->policyd();
}

std::string Shell::prompt() const {
  const std::string place = _candidate.place_name();
  return "policyctl" + (place.empty() ? "" : " " + place) + (_candidate.is_edited() ? "*> " : "> ");
}

ExitStatus Shell::run_line(std::string_view line, std::size_t number) {
  _line_number = number;
  _status = ExitStatus::DONE;
  const SignalsKept signals;
  const ExitStatus thrown = run_reporting(_context, [this, line] {
    try {
      return enter(line);
    } catch (const Failure& failure) {
      throw Failure(failure.status(), failure.what(), in_the_shell(failure.advice()));
    }
  });
  if (!_is_over && !line.starts_with("quit") && !line.starts_with("exit")) _was_warned = false;
  return thrown == ExitStatus::DONE ? _status : thrown;
}

ExitStatus Shell::enter(std::string_view line) {
  Words words;
  const std::optional<WordFault> broken = words.split(line);
  if (broken) return report({{0, broken->column, broken->length, broken->message, ""}}, line);
  if (words.all().empty()) return ExitStatus::DONE;
  const Word& first = words.all()[0];
  const StatementContext context = _candidate.context();
  const bool opens_acl = first.text == "acl" && words.all().size() == 2;
  const bool is_command =
      _forms.begin_with(first.text, context) && !first.quoted && (first.text != "acl" || opens_acl);
  if (!is_command) {
    std::optional<Fault> unknown = unknown_beginning(first, context, _forms);
    if (unknown) return report({*unknown}, line);
    return report(_candidate.enter(line), line);
  }
  FormMatch match;
  const std::optional<Fault> fault = _forms.match(context, words.all(), match);
  if (fault) return report({*fault}, line);
  match.form->run(*this, match);
  return ExitStatus::DONE;
}

ExitStatus Shell::report(const std::vector<Fault>& faults, std::string_view line) {
  if (faults.empty()) return ExitStatus::DONE;
  std::vector<Fault> placed = faults;
  for (Fault& fault : placed) fault.line = _line_number;
  _context.out << std::flush;
  print_faults(_context.err, {"line", std::string(_line_number - 1, '\n') + std::string(line)},
               placed);
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

void Shell::open_acl(std::uint32_t number) {
  if (_candidate.open_acl(number)) return;
  throw Failure(ExitStatus::REFUSED, "there is no acl " + std::to_string(number) + " here.",
                "Make one with 'acl " + std::to_string(number) + " type TYPE'.");
}

void Shell::exit() {
  if (_candidate.context() == StatementContext::TOP) return quit();
  _candidate.leave();
}

void Shell::quit() {
  _is_over = may_leave();
}

void Shell::compare() {
  const auto session = _context.connect();
  const Configuration now = read_present(*session);
  Merge merged = merge(_candidate.base(), _candidate.configuration(), now);
  if (!merged.conflicts.empty()) throw conflict_failure(merged.conflicts);
  print_plan(_context.out, Plan(now, std::move(merged.target)), _context.out_is_terminal);
}

void Shell::commit(std::uint32_t confirm_s) {
  const StateDirectory directory(_context.place);
  std::unique_ptr<SwitchSession> session;
  before_change([&] { session = _context.connect(); });
  const ChangeLock lock = directory.lock(_context.patience, "commit");
  refuse_unfinished_change(directory);
  Configuration now;
  before_change([&] { now = read_present(*session); });
  Merge merged = merge(_candidate.base(), _candidate.configuration(), now);
  if (!merged.conflicts.empty()) throw conflict_failure(merged.conflicts);
  const Plan plan(now, std::move(merged.target));
  ChangeReport report =
      change_to_confirm(_context, *session, directory, plan, {"commit", confirm_s});
  if (report.is_made) _candidate.set_committed(plan.target());
  report.advice = in_the_shell(std::move(report.advice));
  _status = print_report(_context, "commit", report);
}

void Shell::confirm() {
  _status = confirm_command(_context);
}

void Shell::recover() {
  _status = recover_command(_context);
}

void Shell::roll_back(std::uint32_t checkpoint) {
  if (checkpoint == 0) {
    start_over();
    _context.out << "The candidate is what the switch is.\n";
    return;
  }
  const std::string text = read_checkpoint(StateDirectory(_context.place), checkpoint);
  ReadConfiguration read = read_configuration(text);
  const SourceText source{"checkpoint:" + std::to_string(checkpoint), text};
  if (!read.faults.empty()) {
    _status = report_faults(_context, source, read.faults);
    return;
  }
  start_over();
  const std::string left_out = leave_gone_out(read, _candidate.base());
  Configuration target =
      complete(std::move(read.configuration), _candidate.base(), Unnamed::REMOVED);
  const std::vector<Fault> faults = faults_at_switch(read, _candidate.base(), target);
  if (!faults.empty()) {
    _status = report_faults(_context, source, faults);
    return;
  }
  _candidate.become(std::move(target));
  _context.out << "The candidate is what the switch was at checkpoint " << checkpoint << ".\n";
  if (!left_out.empty()) _context.out << left_out << '\n';
}

void Shell::show(const std::vector<std::string>& what) {
  const Selection selection = Selection::parse(what);
  Configuration configuration = _candidate.configuration();
  keep_parts(configuration, selection.parts());
  selection.require(configuration, IN_THE_CANDIDATE);
  selection.narrow(configuration);
  _context.out << write_configuration(configuration);
}

void Shell::who_uses(const ObjectName& object) {
  require_object(object, _candidate.configuration(), IN_THE_CANDIDATE);
  const std::vector<Use> uses = uses_of(object, _candidate.configuration());
  if (uses.empty()) _context.out << object.name() << " is not in use.\n";
  print_uses(_context.out, uses);
}

void Shell::save(const std::string& file) {
  write_file(_context, file, write_configuration(_candidate.configuration()));
  if (file != "-") _context.out << "Saved to " << file << ".\n";
}

void Shell::load(const std::string& file) {
  const SourceText source = read_source(file);
  ReadConfiguration read = read_configuration(source.text);
  std::vector<Fault> faults = std::move(read.faults);
  Configuration target;
  if (faults.empty()) {
    const Configuration& here = _candidate.configuration();
    target = complete(std::move(read.configuration), here, Unnamed::KEPT);
    faults = faults_at_switch(read, here, target);
  }
  if (!faults.empty()) {
    _status = report_faults(_context, source, faults);
    return;
  }
  _candidate.become(std::move(target));
  _context.out << "Loaded " << file << ".\n";
}

void Shell::check() {
  const Configuration& candidate = _candidate.configuration();
  const std::string text = write_configuration(candidate);
  const ReadConfiguration read = read_configuration(text);
  std::vector<Fault> faults = read.faults;
  const std::vector<Fault> unbound = binding_faults(read.bindings, candidate, true);
  faults.insert(faults.end(), unbound.begin(), unbound.end());
  if (!faults.empty()) {
    _status = report_faults(_context, {"candidate", text}, faults);
    return;
  }
  _context.out << "The candidate has no faults.\n";
}

void Shell::list_checkpoints() {
  _status = checkpoints_command(_context);
}

void Shell::explain(const std::vector<std::string>& topic) {
  const std::string commands = help_on_forms(_forms.beginning_with(topic));
  if (!topic.empty()) {
    const std::optional<std::string> text = help_on(topic);
    if (!text && commands.empty()) refuse_topic(topic);
    _context.out << commands << (text && !commands.empty() ? "\n" : "") << text.value_or("");
    return;
  }
  _context.out << "Statements edit the candidate; see 'help statements'. Commands:\n\n"
               << commands
               << "\nTAB completes the word, '?' tells what may follow, Ctrl-R searches the lines "
                  "typed before.\n";
}
