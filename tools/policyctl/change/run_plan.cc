#include "tools/policyctl/change/run_plan.h"

#include <algorithm>
#include <utility>

#include "tools/policyctl/entries/entry_sender.h"
#include "tools/policyctl/entries/switch_reader.h"
#include "tools/policyctl/switch/request_window.h"

namespace {

constexpr auto READ_BACK_POLL = std::chrono::milliseconds(5);

class PlanRun {
 public:
  PlanRun(SwitchSession& session, const Plan& plan, const OnProgress& on_progress)
      : _session(session),
        _plan(plan),
        _on_progress(on_progress),
        _sender(session.sender(), session.policyd()),
        _window(session, "the answer to a change") {}

  RunResult run() {
    try {
      _window.run([this] { return send_next(); });
    } catch (const Failure& failure) {
      fail(failure);
    }
    if (!_result.failure && _next < _plan.steps().size()) {
      fail(Failure(ExitStatus::NOT_REACHABLE, "a request could not be sent to policyd."));
    }
    return std::move(_result);
  }

 private:
  RequestWindow::Sent send_next() {
    if (_next == _plan.steps().size()) return RequestWindow::Sent::NO_MORE;
    if (_session.interrupted()) {
      fail(Failure(ExitStatus::REFUSED, "interrupted."));
      return RequestWindow::Sent::NO_MORE;
    }
    const Step& step = _plan.steps()[_next];
    // What line cards were told cannot be called back: all else comes first.
    const bool reaches_line_cards = *step.kind->facts().phase == Phase::LINE_CARDS;
    if (reaches_line_cards && _window.in_flight() > 0) return RequestWindow::Sent::NOT_NOW;
    _sender.done =
        callback(_lifeline, [this, &step](const XrlError& error) { answered(step, error); });
    if (!step.kind->send(_sender, step)) return RequestWindow::Sent::NOT_NOW;
    _result.sent_mapping = _result.sent_mapping || reaches_line_cards;
    ++_next;
    return RequestWindow::Sent::YES;
  }

  void answered(const Step& step, const XrlError& error) {
    if (error.is_okay()) {
      ++_result.done;
      _on_progress(_result.done, _plan.steps().size());
    } else {
      const bool refused =
          error.code() == XrlErrorCode::COMMAND_FAILED || error.code() == XrlErrorCode::BAD_ARGS;
      if (refused) _result.refused.push_back(step);
      if (!_result.failure) fail(request_failure(step.kind->describe(step), error));
    }
    _window.answered();
  }

  void fail(Failure failure) {
    if (!_result.failure) _result.failure.emplace(std::move(failure));
    _window.stop();
  }

  SwitchSession& _session;
  const Plan& _plan;
  const OnProgress& _on_progress;
  EntrySender _sender;
  RequestWindow _window;
  RunResult _result;
  std::size_t _next = 0;
  Lifeline _lifeline;
};

}  // namespace

RunResult run_plan(SwitchSession& session, const Plan& plan, const OnProgress& on_progress) {
  return PlanRun(session, plan, on_progress).run();
}

Entries entries_of(const Step& step) {
  Entries entries;
  for (std::size_t i = 0; i + 1 < step.value.count(); i += 2) {
    entries.put(*step.kind, key_of(step.value.number(i)), EntryValue{step.value.number(i + 1)});
  }
  return entries;
}

Entries wait_for_line_cards(SwitchSession& session, const Step& told, Duration limit,
                            Duration steady) {
  const Entries wanted = entries_of(told);
  const TimePoint end = session.loop().now() + limit;
  TimePoint reads_back_since = TimePoint::max();
  for (;;) {
    const Entries present = SwitchReader(session).read({told.kind});
    Entries others;
    for (const auto& [key, value] : wanted.of(*told.kind)) {
      const EntryValue* const read_back = present.find(*told.kind, key);
      if (read_back != nullptr && *read_back != value) others.put(*told.kind, key, *read_back);
    }
    const bool is_told = others.of(*told.kind).empty();
    const TimePoint now = session.loop().now();
    reads_back_since = is_told ? std::min(reads_back_since, now) : TimePoint::max();
    const bool is_steady = is_told && now - reads_back_since >= steady;
    if (is_steady || now >= end || session.interrupted()) return others;
    (void)session.wait_for(READ_BACK_POLL, [] { return false; });
  }
}
