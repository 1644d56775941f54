#include "tools/policyctl/commands/change_switch.h"

#include <unistd.h>

#include <ostream>
#include <random>
#include <set>
#include <utility>

#include "tools/policyctl/commands/progress_line.h"
#include "tools/policyctl/json/json_output.h"
#include "tools/policyctl/keep/checkpoints.h"
#include "tools/policyctl/switch/read_switch.h"

namespace {

// Undoing reads the switch and compares; who changes it at the same moment may
// make that stale.
constexpr int UNDO_ATTEMPTS = 3;
// How long a switch that stopped answering is given to say how things stand.
constexpr auto LAST_WORD = std::chrono::milliseconds(500);
// A mapping that line cards were told before the one that undoes it is confirmed
// before it, too: what reads back for this long is the later one.
constexpr auto SETTLED_AFTER = std::chrono::milliseconds(50);

constexpr const char* RECOVER = "Run 'policyctl recover' to undo it once the switch answers.";

std::string as_it_was(const Undo& undone) {
  if (undone.left.empty()) return "Everything was undone; the switch is as it was.";
  std::string text = "Everything was undone but what somebody else changed meanwhile: ";
  for (std::size_t i = 0; i < undone.left.size(); ++i) {
    if (i > 0) text += ", ";
    text += undone.left[i];
  }
  return text + ".";
}

std::string queues_text(const Queues& wanted, const Queues& differs) {
  std::string text;
  for (const auto& [priority, queue] : differs) {
    text += (text.empty() ? " priority " : ", priority ") + std::to_string(priority) +
            " reads back as queue " + std::to_string(queue) + ", not " +
            std::to_string(wanted.at(priority));
  }
  return text + ".";
}

// Of a mapping that was sent: what undoing it puts back, and so what the line
// cards must hear again, whatever policyd reads back.
std::set<std::uint32_t> priorities_put_back(const Queues& before, const Queues& target) {
  std::set<std::uint32_t> priorities;
  for (const auto& [priority, queue] : before) {
    if (target.at(priority) == queue) priorities.insert(priority);
  }
  return priorities;
}

// One attempt; throws Failure.
ChangeReport undo_once(SwitchSession& session, const Touched& touched, bool mapping_was_sent) {
  const Configuration now = read_switch(session, SwitchParts::all());
  Undo undone = undo(touched, now);
  std::set<std::uint32_t> told;
  if (mapping_was_sent) {
    told = priorities_put_back(touched.before.cos.mapping, undone.target.cos.mapping);
  }
  const Plan plan(now, std::move(undone.target), told);
  RunResult result = run_plan(session, plan, [](std::size_t, std::size_t) {});
  if (result.failure) throw Failure(std::move(*result.failure));
  ChangeReport report;
  report.outcome = as_it_was(undone);
  if (told.empty()) return report;
  const Queues& wanted = plan.mapping();
  report.mapping_differs = wait_for_mapping(session, wanted, session.patience(), SETTLED_AFTER);
  if (report.mapping_differs.empty()) return report;
  report.status = ExitStatus::TIMED_OUT;
  report.outcome = "Everything was undone, but the line cards have not confirmed the mapping:" +
                   queues_text(wanted, report.mapping_differs);
  return report;
}

ChangeReport not_undone(const Failure& failure) {
  ChangeReport report;
  report.status = failure.status();
  report.problem = failure.what();
  report.outcome = "Whether any of the change is on the switch is not known.";
  report.advice = RECOVER;
  return report;
}

ChangeReport undo_at_the_same_daemon(SwitchSession& session, const StateDirectory& directory,
                                     const Journal& journal, bool mapping_was_sent) {
  // Half of it may be left.
  if (journal.confirm_by > 0) mark_journal_undone(directory);
  for (int attempt = 1;; ++attempt) {
    try {
      ChangeReport report = undo_once(session, journal.touched, mapping_was_sent);
      remove_journal(directory);
      return report;
    } catch (const Failure& failure) {
      const bool may_pass = failure.status() == ExitStatus::REFUSED && !session.interrupted();
      if (!may_pass || attempt == UNDO_ATTEMPTS) return not_undone(failure);
    }
  }
}

class ChangeUnderWay {
 public:
  ChangeUnderWay(const Context& context, SwitchSession& session, const StateDirectory& directory,
                 const Plan& plan, const ChangeOptions& options)
      : _context(context),
        _session(session),
        _directory(directory),
        _plan(plan),
        _confirm_by(options.confirm_by) {
    _journal.id = options.id;
    _journal.policyd = session.policyd();
    _journal.what = options.what;
    _report.counts = plan.counts();
  }

  ChangeReport make() {
    // From here on Ctrl-C must not leave a journal behind.
    _session.catch_interrupts();
    try {
      keep_checkpoint(_directory, _plan.present(), "before " + _journal.what);
      write_journal(_directory, _journal, _plan);
    } catch (const Failure& failure) {
      return refuse_to_begin(failure);
    }
    carry_out();
    return std::move(_report);
  }

 private:
  ChangeReport refuse_to_begin(const Failure& failure) {
    try {
      remove_journal(_directory);
    } catch (const Failure&) {
      // One that stays tells of a change of which there is nothing to undo.
    }
    _report.status = failure.status();
    _report.problem = failure.what();
    _report.advice = failure.advice();
    _report.outcome = "Nothing was changed.";
    return std::move(_report);
  }

  void carry_out() {
    ProgressLine progress(_context.err, _context.err_is_terminal);
    RunResult result = run_plan(_session, _plan, [&progress](std::size_t done, std::size_t all) {
      progress.show(done, all);
    });
    progress.clear();
    _report.requests = result.done;
    if (result.failure) return take_back(result, *result.failure);
    finish(result);
  }

  // A change whose journal stays as it is will be undone by whoever finds it.
  void finish(const RunResult& result) {
    try {
      if (_confirm_by == 0) {
        remove_journal(_directory);
      } else {
        confirm_journal_by(_directory, _confirm_by);
      }
    } catch (const Failure& failure) {
      return take_back(result, failure);
    }
    _report.is_made = true;
    _report.outcome = "The change is made.";
    if (!_plan.mapping().empty()) await_mapping();
  }

  void take_back(const RunResult& result, const Failure& why) {
    _session.forget_interrupt();
    _report.status = why.status();
    _report.problem = why.what();
    if (_report.status == ExitStatus::TIMED_OUT) _session.set_patience(LAST_WORD);
    ChangeReport undone;
    try {
      // The one on the disk may be gone, or wait for its confirmation.
      _journal.confirm_by = _confirm_by;
      _journal.touched = touched_by(_plan);
      forget_refused(_journal.touched, result.refused);
      undone = undo_change(_session, _directory, _journal, result.sent_mapping);
    } catch (const Failure& another) {
      undone = not_undone(another);
    }
    _report.outcome = undone.outcome;
    _report.advice = undone.advice;
    if (undone.problem.empty()) return;
    _report.outcome = "Undoing it failed: " + undone.problem + " " + undone.outcome;
    // REFUSED says that nothing is left of it.
    if (_report.status == ExitStatus::REFUSED) _report.status = undone.status;
  }

  // policyd took the mapping, so there is nothing to undo; line cards may be
  // slow, or away.
  void await_mapping() {
    const Queues& wanted = _plan.mapping();
    try {
      _report.mapping_differs = wait_for_mapping(_session, wanted, _session.patience());
    } catch (const Failure& failure) {
      _report.status = failure.status();
      _report.problem = failure.what();
      _report.outcome =
          "The change is made; whether the line cards confirm the mapping is not known.";
      return;
    }
    if (_report.mapping_differs.empty()) return;
    _report.status = ExitStatus::TIMED_OUT;
    _report.problem = _session.interrupted() ? "interrupted before the mapping read back."
                                             : "the mapping did not read back in time.";
    _report.outcome = "The change is made, but the line cards have not confirmed the mapping:" +
                      queues_text(wanted, _report.mapping_differs);
    _report.advice = "See the log of policyd, and 'policyctl show cos' later.";
  }

  const Context& _context;
  SwitchSession& _session;
  const StateDirectory& _directory;
  const Plan& _plan;
  std::int64_t _confirm_by;
  Journal _journal;
  ChangeReport _report;
};

std::string counts_text(const PlanCounts& counts) {
  return std::to_string(counts.added) + " added, " + std::to_string(counts.changed) + " changed, " +
         std::to_string(counts.removed) + " removed";
}

}  // namespace

std::string new_change_id() {
  std::random_device random;
  return std::to_string(getpid()) + "-" + std::to_string(random());
}

void refuse_unfinished_change(const StateDirectory& directory) {
  const std::optional<Journal> journal = read_journal(directory);
  if (!journal) return;
  if (journal->confirm_by > milliseconds_since_epoch()) {
    throw Failure(
        ExitStatus::REFUSED,
        "the change '" + journal->what + "' waits for its confirmation. Nothing was changed.",
        "Keep it with 'policyctl confirm', or undo it with 'policyctl recover'.");
  }
  if (journal->confirm_by > 0) {
    throw Failure(ExitStatus::REFUSED,
                  "the change '" + journal->what +
                      "' was not confirmed in time and is not undone yet. Nothing was changed.",
                  "Undo it with 'policyctl recover', or keep it with 'policyctl confirm'.");
  }
  throw Failure(
      ExitStatus::REFUSED,
      "the change '" + journal->what + "' before this one was not finished. Nothing was changed.",
      "Undo it with 'policyctl recover'.");
}

ChangeReport change_switch(const Context& context, SwitchSession& session,
                           const StateDirectory& directory, const Plan& plan,
                           const ChangeOptions& options) {
  if (plan.empty()) {
    ChangeReport report;
    report.is_made = true;
    report.outcome = "There is nothing to change.";
    return report;
  }
  return ChangeUnderWay(context, session, directory, plan, options).make();
}

ChangeReport forget_with_its_policyd(const StateDirectory& directory) {
  ChangeReport report;
  remove_journal(directory);
  report.outcome =
      "policyd was started anew meanwhile and began from its defaults: nothing of the change is "
      "left, nor of what was before.";
  report.advice = "Apply a saved configuration, or go back with 'policyctl rollback'.";
  return report;
}

ChangeReport undo_change(SwitchSession& session, const StateDirectory& directory,
                         const Journal& journal, bool mapping_was_sent) {
  const std::string policyd = session.find_policyd();
  if (policyd == journal.policyd) {
    return undo_at_the_same_daemon(session, directory, journal, mapping_was_sent);
  }
  if (!policyd.empty()) return forget_with_its_policyd(directory);
  return not_undone(Failure(ExitStatus::NOT_REACHABLE, "policyd is not running."));
}

ExitStatus print_report(const Context& context, const std::string& what,
                        const ChangeReport& report) {
  if (context.json) {
    print_json(context.out, report_json(what, report));
    return report.status;
  }
  if (report.problem.empty()) {
    context.out << report.outcome;
    if (report.requests > 0) {
      context.out << ' ' << counts_text(report.counts) << "; "
                  << counted(report.requests, "request") << '.';
    }
    context.out << '\n';
    if (!report.advice.empty()) context.out << report.advice << '\n';
    return report.status;
  }
  context.out << std::flush;
  context.err << "policyctl: " << what << ": " << report.problem << "\n  " << report.outcome
              << '\n';
  if (!report.advice.empty()) context.err << "  " << report.advice << '\n';
  return report.status;
}
