#include "tools/policyctl/commands/apply_commands.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ostream>
#include <thread>
#include <utility>
#include <vector>

#include "tools/policyctl/change/change_switch.h"
#include "tools/policyctl/change/faults_at_switch.h"
#include "tools/policyctl/change/local_time.h"
#include "tools/policyctl/change/read_switch.h"
#include "tools/policyctl/language/words.h"
#include "tools/policyctl/render/json_configuration.h"
#include "tools/policyctl/render/json_output.h"
#include "tools/policyctl/render/print_plan.h"
#include "tools/policyctl/render/progress_line.h"

namespace {

struct Wanted {
  ReadConfiguration read;
  SwitchConfiguration target;
  std::vector<Fault> faults;
};

// What the switch is to become, and what the text asks for that it cannot.
Wanted want(ReadConfiguration read, const SwitchConfiguration& present, Unnamed unnamed) {
  Wanted wanted{std::move(read), {}, {}};
  wanted.target = complete(std::move(wanted.read.configuration), present, unnamed);
  wanted.faults = faults_at_switch(wanted.read.places, present, wanted.target);
  return wanted;
}

void keep_bindings(Entries& wanted, const Entries& present) {
  for (const EntryKind* head : outside_kinds()) {
    for (const EntryKind* kind : kinds_below(*head)) wanted.of(*kind) = present.of(*kind);
  }
}

// Where all that is not named goes, all has to be known.
SwitchConfiguration present_for(SwitchSession& session, const ReadConfiguration& read,
                                Unnamed unnamed) {
  return unnamed == Unnamed::REMOVED ? read_switch(session, all_parts())
                                     : read_switch_for(session, read.configuration);
}

// Becomes the guard: of what this process has, it keeps the folder alone. Its
// success is the end of `report`, which exec closes.
[[noreturn]] void become_guard(const std::string& program, const std::vector<const char*>& argv,
                               int report) {
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int fd = 0; fd <= 2; ++fd) dup2(null, fd);
  close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
  sigset_t none;
  sigemptyset(&none);
  pthread_sigmask(SIG_SETMASK, &none, nullptr);
  execv(program.c_str(), const_cast<char* const*>(argv.data()));
  const char failed = 'x';
  if (write(report, &failed, 1) != 1) abort();
  _exit(1);
}

[[noreturn]] void refuse_without_guard() {
  throw Failure(ExitStatus::REFUSED, "could not start a process that watches for the confirmation.",
                "", Fate::UNCHANGED);
}

// A process of its own, which outlives this one and its terminal.
void leave_guard(const Context& context, const std::string& id, std::int64_t confirm_by) {
  if (context.program.empty()) refuse_without_guard();
  const std::string finder = context.place.name();
  const std::string deadline = std::to_string(confirm_by);
  const std::string patience =
      std::to_string(std::chrono::duration<double>(context.patience).count());
  const std::vector<const char*> argv{"policyctl",      "-F",    finder.c_str(), "--timeout",
                                      patience.c_str(), "guard", id.c_str(),     deadline.c_str(),
                                      nullptr};
  std::array<int, 2> report{};
  if (pipe2(report.data(), O_CLOEXEC) != 0) refuse_without_guard();
  const pid_t child = fork();
  if (child == 0) {
    if (setsid() < 0) _exit(1);
    const pid_t grandchild = fork();
    if (grandchild != 0) _exit(grandchild < 0 ? 1 : 0);
    become_guard(context.program, argv, report[1]);
  }
  close(report[1]);
  int status = 1;
  if (child > 0) waitpid(child, &status, 0);
  char failed = 0;
  const bool runs = status == 0 && read(report[0], &failed, 1) == 0;
  close(report[0]);
  if (!runs) refuse_without_guard();
}

// How often a guard looks whether there is anything left to watch.
constexpr std::int64_t LOOK_EVERY_MS = 1000;

// Whether a guard has nothing left to watch. Who makes the change holds the lock
// from before the guard is started until it ends, well or not.
bool is_over(const Context& context, const StateDirectory& directory, const std::string& id,
             bool may_undo) {
  try {
    if (!directory.exists()) return true;
    std::optional<ChangeLock> lock = directory.try_lock();
    if (!lock) return false;
    const std::optional<Journal> journal = read_journal(directory);
    if (!journal || journal->id != id) return true;
    if (!may_undo) return false;
    lock->tell("undo '" + journal->what + "', which was not confirmed");
    const auto session = context.connect();
    const ChangeReport report = undo_change(*session, directory, *journal);
    if (!report.problem.empty()) return false;
    keep_undo_note(directory, "The change '" + journal->what + "' was not confirmed in time. " +
                                  local_time() + ": " + report.outcome);
    return true;
  } catch (const Failure& failure) {
    // The switch cannot be asked now; later it may. A damaged journal stays so.
    return failure.status() == ExitStatus::BAD_FILE;
  }
}

// A guard whose directory is not to be used watches all the same.
void hold_as_guard(const StateDirectory& directory, std::optional<ChangeLock>& held) {
  try {
    if (!held && directory.exists()) {
      std::optional<ChangeLock> lock = hold_guard(directory);
      if (lock) held.emplace(std::move(*lock));
    }
  } catch (const Failure&) {
    return;
  }
}

std::string confirmation_advice(std::uint32_t seconds) {
  return "It is undone within " + std::to_string(seconds) + " s, unless " + own_command("confirm") +
         " comes before.";
}

[[noreturn]] void refuse_without_change(const StateDirectory& directory) {
  const std::string note = undo_note(directory);
  throw Failure(
      ExitStatus::REFUSED, "no change waits for its confirmation.",
      note.empty() ? "It may have been undone already; see " + own_command("show") + "." : note);
}

}  // namespace

ExitStatus check_command(const Context& context, const std::string& file) {
  const SourceText source = read_source(file);
  const ReadConfiguration read = read_configuration(source.text);
  if (!read.faults.empty()) return report_faults(context, source, read.faults);
  if (context.json) {
    print_json(context.out, faults_json(source.name, {}, context.where));
  } else {
    context.out << harmless_line(source.name) << ": no faults.\n";
  }
  return ExitStatus::DONE;
}

ExitStatus plan_command(const Context& context, const std::string& file, Unnamed unnamed) {
  const SourceText source = read_source(file);
  ReadConfiguration read = read_configuration(source.text);
  if (!read.faults.empty()) return report_faults(context, source, read.faults);
  const auto session = context.connect();
  const SwitchConfiguration present = present_for(*session, read, unnamed);
  Wanted wanted = want(std::move(read), present, unnamed);
  if (!wanted.faults.empty()) return report_faults(context, source, wanted.faults);
  const Plan plan(present, std::move(wanted.target));
  if (context.json) {
    print_plan_json(context.out, plan);
  } else {
    print_plan(context.out, plan, context.in_colour());
  }
  return plan.empty() ? ExitStatus::DONE : ExitStatus::DIFFERS;
}

ExitStatus apply_command(const Context& context, const ApplyOptions& options) {
  return apply_text(context, read_source(options.file), "apply " + options.file, options);
}

ExitStatus apply_text(const Context& context, SourceText source, const std::string& what,
                      const ApplyOptions& options) {
  ReadConfiguration read = read_configuration(source.text);
  if (!read.faults.empty()) return report_faults(context, source, read.faults);
  const StateDirectory directory(context.place);
  const ChangeLock lock = directory.lock(context.patience, what);
  refuse_unfinished_change(directory);
  std::unique_ptr<SwitchSession> session;
  SwitchConfiguration present;
  before_change([&] {
    session = context.connect();
    present = present_for(*session, read, options.unnamed);
  });
  if (options.keeps_bindings) keep_bindings(read.configuration, present);
  const std::string left_out = options.without_gone ? leave_gone_out(read, present) : "";
  Wanted wanted = want(std::move(read), present, options.unnamed);
  if (!wanted.faults.empty()) return report_faults(context, source, wanted.faults);
  source.text = std::string();
  const Plan plan(present, std::move(wanted.target));
  ChangeReport report =
      change_to_confirm(context, *session, directory, plan, {what, options.confirm_s});
  if (report.is_made && !left_out.empty()) report.outcome += " " + left_out;
  return print_report(context, what, report);
}

ChangeReport change_to_confirm(const Context& context, SwitchSession& session,
                               const StateDirectory& directory, const Plan& plan,
                               const ChangeToConfirm& what) {
  ChangeOptions change{what.name, new_change_id(), 0};
  if (what.confirm_s > 0 && !plan.empty()) {
    change.confirm_by = milliseconds_since_epoch() + std::int64_t{1000} * what.confirm_s;
    leave_guard(context, change.id, change.confirm_by);
  }
  ProgressLine progress(context.err, context.err_is_terminal);
  ChangeReport report =
      change_switch([&progress](std::size_t done, std::size_t all) { progress.show(done, all); },
                    session, directory, plan, change);
  progress.clear();
  if (report.is_made && change.confirm_by > 0) {
    const std::string more = report.advice.empty() ? "" : " " + report.advice;
    report.advice = confirmation_advice(what.confirm_s) + more;
  }
  return report;
}

ExitStatus confirm_command(const Context& context) {
  const StateDirectory directory(context.place);
  const ChangeLock lock = directory.lock(context.patience, "confirm");
  const std::optional<Journal> journal = read_journal(directory);
  if (!journal) refuse_without_change(directory);
  if (journal->confirm_by == 0) {
    throw Failure(ExitStatus::REFUSED,
                  "the change '" + journal->what +
                      "' was not finished, or is undone in part, and cannot be kept.",
                  "Undo it with " + own_command("recover") + ".");
  }
  const auto session = context.connect();
  ChangeReport report;
  if (session->policyd() == journal->policyd) {
    remove_journal(directory);
    report.outcome = "The change '" + journal->what + "' is kept.";
  } else {
    report = forget_with_its_policyd(directory);
    report.status = ExitStatus::REFUSED;
    report.problem = "the change '" + journal->what + "' cannot be kept.";
  }
  return print_report(context, "confirm", report);
}

ExitStatus recover_command(const Context& context) {
  const StateDirectory directory(context.place);
  const ChangeLock lock = directory.lock(context.patience, "recover");
  const std::optional<Journal> journal = read_journal(directory);
  ChangeReport report;
  if (!journal) {
    report.outcome = "There is nothing to recover.";
    return print_report(context, "recover", report);
  }
  const auto session = context.connect();
  session->catch_interrupts();
  report = undo_change(*session, directory, *journal);
  return print_report(context, "recover '" + journal->what + "'", report);
}

ExitStatus guard_command(const Context& context, const std::string& id, std::int64_t confirm_by) {
  const StateDirectory directory(context.place);
  // Another may still have it for a moment, of a change that is over.
  std::optional<ChangeLock> held;
  for (std::int64_t left = 0;;) {
    hold_as_guard(directory, held);
    left = confirm_by - milliseconds_since_epoch();
    if (is_over(context, directory, id, left <= 0)) return ExitStatus::DONE;
    const std::int64_t pause = left > 0 ? std::min(left, LOOK_EVERY_MS) : LOOK_EVERY_MS;
    std::this_thread::sleep_for(std::chrono::milliseconds(pause));
  }
}
