#include "tools/policyctl/switch/run_plan.h"

#include <algorithm>
#include <utility>

#include "policy/interfaces/policy_config_xif.h"
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
        _client(session.sender()),
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
    if (step.kind == StepKind::SET_COS_MAPPING && _window.in_flight() > 0) {
      return RequestWindow::Sent::NOT_NOW;
    }
    const bool sent = send(
        step, callback(_lifeline, [this, &step](const XrlError& error) { answered(step, error); }));
    if (!sent) return RequestWindow::Sent::NOT_NOW;
    _result.sent_mapping = _result.sent_mapping || step.kind == StepKind::SET_COS_MAPPING;
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
      if (!_result.failure) fail(request_failure(describe(step), error));
    }
    _window.answered();
  }

  void fail(Failure failure) {
    if (!_result.failure) _result.failure.emplace(std::move(failure));
    _window.stop();
  }

  using Done = XorpCallback<void, const XrlError&>::RefPtr;

  [[nodiscard]] const Configuration& target() const { return _plan.target(); }
  [[nodiscard]] const std::string& policyd() const { return _session.policyd(); }

  bool send(const Step& step, const Done& done) {
    switch (step.kind) {
      case StepKind::DELETE_FILTER:
      case StepKind::UNREMARK:
      case StepKind::ADD_FILTER:
      case StepKind::REMARK:
      case StepKind::SET_COS_VALUE:
        return step.record.interface != nullptr
                   ? send_to_interface(step, *step.record.interface, done)
                   : send_to_vlan(step, step.record.vlan, done);
      case StepKind::DELETE_TIME_RANGE:
        return _client.send_delete_time_range(policyd(), *step.name, done);
      case StepKind::CREATE_TIME_RANGE: {
        const TimeRange& range = target().time_ranges.at(*step.name);
        return _client.send_create_time_range(policyd(), *step.name, range.number1, range.number2,
                                              range.flag, range.number3, range.number4, done);
      }
      case StepKind::DELETE_RULE:
      case StepKind::CREATE_RULE:
      case StepKind::SET_RULE_DESCRIPTION:
      case StepKind::UNSET_RULE_DESCRIPTION:
        return send_rule(step, done);
      case StepKind::DELETE_ACL:
      case StepKind::CREATE_ACL:
      case StepKind::SET_ACL_DESCRIPTION:
      case StepKind::UNSET_ACL_DESCRIPTION:
        return send_acl(step, done);
      default:
        return send_class_of_service(step, done);
    }
  }

  bool send_to_interface(const Step& step, const std::string& name, const Done& done) {
    const auto [acl, rule] = step.key;
    switch (step.kind) {
      case StepKind::DELETE_FILTER:
        return _client.send_delete_port_packet_filter(policyd(), name, acl, rule, done);
      case StepKind::ADD_FILTER:
        return _client.send_set_port_packet_filter(policyd(), name, acl, rule, done);
      case StepKind::UNREMARK:
        return _client.send_unremark_port_priority(policyd(), name, acl, rule, done);
      case StepKind::REMARK: {
        const Remark& remark = target().interfaces.at(name).remarks.at(step.key);
        return _client.send_remark_port_priority(policyd(), name, acl, rule, remark.kind,
                                                 remark.value, done);
      }
      default: {
        const Bindings& bindings = target().interfaces.at(name);
        return _client.send_set_port_cos_value(policyd(), name, bindings.cos_value.value_or(0),
                                               done);
      }
    }
  }

  bool send_to_vlan(const Step& step, std::uint32_t id, const Done& done) {
    const auto [acl, rule] = step.key;
    switch (step.kind) {
      case StepKind::DELETE_FILTER:
        return _client.send_delete_vlan_packet_filter(policyd(), id, acl, rule, done);
      case StepKind::ADD_FILTER:
        return _client.send_set_vlan_packet_filter(policyd(), id, acl, rule, done);
      case StepKind::UNREMARK:
        return _client.send_unremark_vlan_priority(policyd(), id, acl, rule, done);
      default: {
        const Remark& remark = target().vlans.at(id).remarks.at(step.key);
        return _client.send_remark_vlan_priority(policyd(), id, acl, rule, remark.kind,
                                                 remark.value, done);
      }
    }
  }

  bool send_rule(const Step& step, const Done& done) {
    const auto [acl, number] = step.key;
    if (step.kind == StepKind::DELETE_RULE) {
      return _client.send_delete_rule(policyd(), acl, number, done);
    }
    const Rule& rule = target().acls.at(acl).rules.at(number);
    if (step.kind == StepKind::SET_RULE_DESCRIPTION) {
      return _client.send_set_rule_description(policyd(), acl, number, rule.description, done);
    }
    if (step.kind == StepKind::UNSET_RULE_DESCRIPTION) {
      return _client.send_unset_rule_description(policyd(), acl, number, done);
    }
    _flags.clear();
    _values.clear();
    rule.fields.for_each([this](std::uint32_t field, std::string_view value) {
      _flags.append(field);
      _values.append(value);
    });
    return _client.send_create_rule(policyd(), acl, number, rule.action, _flags, _values, done);
  }

  bool send_acl(const Step& step, const Done& done) {
    const std::uint32_t number = step.key.acl;
    if (step.kind == StepKind::DELETE_ACL) {
      return _client.send_delete_acl(policyd(), number, done);
    }
    const Acl& acl = target().acls.at(number);
    if (step.kind == StepKind::CREATE_ACL) {
      return _client.send_create_acl(policyd(), number, acl.type, done);
    }
    if (step.kind == StepKind::SET_ACL_DESCRIPTION) {
      return _client.send_set_acl_description(policyd(), number, acl.description, done);
    }
    return _client.send_unset_acl_description(policyd(), number, done);
  }

  bool send_class_of_service(const Step& step, const Done& done) {
    const ClassOfService& cos = target().cos;
    if (step.kind == StepKind::SET_COS_FLAG) {
      return _client.send_set_cos_flag(policyd(), *cos.flag, done);
    }
    if (step.kind == StepKind::SET_SCHEDULE_MODE) {
      return _client.send_set_schedule_mode(policyd(), *cos.mode, done);
    }
    if (step.kind == StepKind::SET_SCHEDULE_ALGORITHM) {
      XrlAtomList weights;
      for (const std::uint32_t weight : cos.schedule->weights) weights.append(weight);
      return _client.send_set_schedule_algorithm(policyd(), cos.schedule->algorithm, weights, done);
    }
    XrlAtomList priorities;
    XrlAtomList queues;
    if (step.kind == StepKind::SET_PRIORITY_QUEUES) {
      append_pairs(_plan.priority_queues(), priorities, queues);
      return _client.send_set_priority_queue(policyd(), priorities, queues, done);
    }
    append_pairs(_plan.mapping(), priorities, queues);
    return _client.send_set_cos_mapping(policyd(), priorities, queues, done);
  }

  SwitchSession& _session;
  const Plan& _plan;
  const OnProgress& _on_progress;
  XrlPolicyConfigV0p1Client _client;
  RequestWindow _window;
  RunResult _result;
  std::size_t _next = 0;
  XrlAtomList _flags;
  XrlAtomList _values;
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
