#include "tools/policyctl/change/run_plan.h"

#include <algorithm>
#include <utility>

#include "tools/policyctl/entries/entry_sender.h"
#include "tools/policyctl/switch/request_window.h"

namespace {

constexpr auto MAPPING_POLL = std::chrono::milliseconds(5);

void append_pairs(const Queues& pairs, XrlAtomList& keys, XrlAtomList& queues) {
  for (const auto& [key, queue] : pairs) {
    keys.append(key);
    queues.append(queue);
  }
}

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
      _result.interrupted = true;
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

Queues wait_for_mapping(SwitchSession& session, const Queues& wanted, Duration limit,
                        Duration steady) {
  const Lifeline lifeline;
  XrlPolicyConfigV0p1Client client(session.sender());
  XrlAtomList priorities;
  XrlAtomList ignored;
  append_pairs(wanted, priorities, ignored);
  const TimePoint end = session.loop().now() + limit;
  TimePoint reads_back_since = TimePoint::max();
  for (;;) {
    Queues others;
    bool answered = false;
    bool makes_sense = true;
    XrlError problem;
    const bool sent = client.send_get_cos_mapping(
        session.policyd(), priorities,
        callback(lifeline, [&](const XrlError& error, const XrlAtomList* queues) {
          answered = true;
          problem = error;
          if (queues == nullptr) return;
          makes_sense = queues->size() == wanted.size();
          if (!makes_sense) return;
          std::size_t i = 0;
          for (const auto& [priority, queue] : wanted) {
            const std::uint32_t read_back = queues->u32_at(i++);
            if (read_back != queue) others[priority] = read_back;
          }
        }));
    if (!sent) throw Failure(ExitStatus::NOT_REACHABLE, "a request could not be sent to policyd.");
    session.heard();
    session.wait("the mapping to be read back", [&] { return answered; });
    if (!problem.is_okay()) throw request_failure("read the mapping back", problem);
    if (!makes_sense) {
      throw Failure(ExitStatus::NOT_REACHABLE,
                    "could not read the mapping back: the answer makes no sense.");
    }
    const TimePoint now = session.loop().now();
    reads_back_since = others.empty() ? std::min(reads_back_since, now) : TimePoint::max();
    const bool is_steady = others.empty() && now - reads_back_since >= steady;
    if (is_steady || now >= end || session.interrupted()) return others;
    (void)session.wait_for(MAPPING_POLL, [] { return false; });
  }
}
