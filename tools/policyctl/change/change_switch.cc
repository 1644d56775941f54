#include "tools/policyctl/change/change_switch.h"

#include <unistd.h>

#include <cctype>
#include <random>
#include <set>
#include <utility>

#include "tools/policyctl/change/checkpoints.h"
#include "tools/policyctl/change/read_switch.h"
#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/language/statements.h"

namespace {

// Undoing reads the switch and compares; who changes it at the same moment may
// make that stale.
constexpr int UNDO_ATTEMPTS = 3;
// How long a switch that stopped answering is given to say how things stand.
constexpr auto LAST_WORD = std::chrono::milliseconds(500);
// A mapping that line cards were told before the one that undoes it is confirmed
// before it, too: what reads back for this long is the later one.
constexpr auto SETTLED_AFTER = std::chrono::milliseconds(50);

std::string recover_advice() {
  return "Run " + own_command("recover") + " to undo it once the switch answers.";
}

std::string as_it_was(const Difference& undone) {
  if (undone.clashes.empty()) return "Everything was undone; the switch is as it was.";
  return "Everything was undone but what somebody else changed meanwhile: " +
         joined(undone.clashes) + ".";
}

// The statement of such an entry ends in "PRIORITY queue QUEUE".
std::string differences_text(const Step& told, const Entries& differs) {
  const auto& pattern = statements_of(*told.kind).front().elements;
  std::string key_word(pattern[pattern.size() - 3].word);
  for (char& c : key_word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  const Entries wanted = entries_of(told);
  std::string text;
  for (const auto& [key, value] : differs.of(*told.kind)) {
    text += (text.empty() ? " " : ", ") + key_word + " " + std::to_string(key.numbers[0]) +
            " reads back as " + std::string(pattern[pattern.size() - 2].word) + " " +
            std::to_string(value.number(0)) + ", not " +
            std::to_string(wanted.find(*told.kind, key)->number(0));
  }
  return text + ".";
}

// Of what line cards were told: what undoing it puts back, and so what they must hear
// again, whatever policyd reads back.
std::set<EntryKey> put_back_at_line_cards(const Entries& before, const Entries& target) {
  std::set<EntryKey> keys;
  for (const EntryKind* kind : entry_kinds()) {
    if (*kind->facts().phase != Phase::LINE_CARDS) continue;
    for (const auto& [key, value] : before.of(*kind)) {
      if (*target.find(*kind, key) == value) keys.insert(key);
    }
  }
  return keys;
}

// One attempt; throws Failure.
ChangeReport undo_once(SwitchSession& session, const Touched& touched, bool mapping_was_sent) {
  const SwitchConfiguration now = read_switch_for(session, touched.before);
  Difference undone = undo(touched, now);
  std::set<EntryKey> told;
  if (mapping_was_sent) told = put_back_at_line_cards(touched.before, undone.target);
  const Plan plan(now, std::move(undone.target), told);
  RunResult result = run_plan(session, plan, [](std::size_t, std::size_t) {});
  if (result.failure) throw Failure(std::move(*result.failure));
  ChangeReport report;
  report.outcome = as_it_was(undone);
  if (told.empty()) return report;
  const Step& step = *plan.told_to_line_cards();
  report.mapping_differs = wait_for_line_cards(session, step, session.patience(), SETTLED_AFTER);
  if (report.mapping_differs.of(*step.kind).empty()) return report;
  report.status = ExitStatus::TIMED_OUT;
  report.outcome = "Everything was undone, but the line cards have not confirmed the mapping:" +
                   differences_text(step, report.mapping_differs);
  return report;
}

ChangeReport not_undone(const Failure& failure) {
  ChangeReport report;
  report.status = failure.status();
  report.problem = failure.what();
  report.outcome = "Whether any of the change is on the switch is not known.";
  report.advice = recover_advice();
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
  ChangeUnderWay(const OnProgress& on_progress, SwitchSession& session,
                 const StateDirectory& directory, const Plan& plan, const ChangeOptions& options)
      : _on_progress(on_progress),
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
    RunResult result = run_plan(_session, _plan, _on_progress);
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
    if (_plan.told_to_line_cards() != nullptr) await_mapping();
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
    const Step& told = *_plan.told_to_line_cards();
    try {
      _report.mapping_differs = wait_for_line_cards(_session, told, _session.patience());
    } catch (const Failure& failure) {
      _report.status = failure.status();
      _report.problem = failure.what();
      _report.outcome =
          "The change is made; whether the line cards confirm the mapping is not known.";
      return;
    }
    if (_report.mapping_differs.of(*told.kind).empty()) return;
    _report.status = ExitStatus::TIMED_OUT;
    _report.problem = _session.interrupted() ? "interrupted before the mapping read back."
                                             : "the mapping did not read back in time.";
    _report.outcome = "The change is made, but the line cards have not confirmed the mapping:" +
                      differences_text(told, _report.mapping_differs);
    _report.advice = "See the log of policyd, and " + own_command("show cos") + " later.";
  }

  const OnProgress& _on_progress;
  SwitchSession& _session;
  const StateDirectory& _directory;
  const Plan& _plan;
  std::int64_t _confirm_by;
  Journal _journal;
  ChangeReport _report;
};

}  // namespace

std::string new_change_id() {
  std::random_device random;
  return std::to_string(getpid()) + "-" + std::to_string(random());
}

void refuse_unfinished_change(const StateDirectory& directory) {
  const std::optional<Journal> journal = read_journal(directory);
  if (!journal) return;
  const std::string what = "the change '" + journal->what + "' ";
  const std::string recover = own_command("recover");
  const std::string confirm = own_command("confirm");
  const auto refuse = [](const std::string& why, const std::string& advice) {
    throw Failure(ExitStatus::REFUSED, why, advice, Fate::UNCHANGED);
  };
  if (journal->confirm_by > milliseconds_since_epoch()) {
    refuse(what + "waits for its confirmation.",
           "Keep it with " + confirm + ", or undo it with " + recover + ".");
  }
  if (journal->confirm_by > 0) {
    refuse(what + "was not confirmed in time and is not undone yet.",
           "Undo it with " + recover + ", or keep it with " + confirm + ".");
  }
  refuse(what + "before this one was not finished.", "Undo it with " + recover + ".");
}

ChangeReport change_switch(const OnProgress& on_progress, SwitchSession& session,
                           const StateDirectory& directory, const Plan& plan,
                           const ChangeOptions& options) {
  if (plan.empty()) {
    ChangeReport report;
    report.is_made = true;
    report.outcome = "There is nothing to change.";
    return report;
  }
  return ChangeUnderWay(on_progress, session, directory, plan, options).make();
}

ChangeReport forget_with_its_policyd(const StateDirectory& directory) {
  ChangeReport report;
  remove_journal(directory);
  report.outcome =
      "policyd was started anew meanwhile and began from its defaults: nothing of the change is "
      "left, nor of what was before.";
  report.advice = "Apply a saved configuration, or go back with " + own_command("rollback") + ".";
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
