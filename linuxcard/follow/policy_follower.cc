#include "linuxcard/follow/policy_follower.h"

#include <algorithm>
#include <utility>

#include "framework/base/xlog.h"
#include "framework/xrl/interfaces/statistics_xif.h"

PolicyFollower::PolicyFollower(EventLoop& loop, XrlSender& sender, DataPathRunner& data_path,
                               Options options)
    : _loop(loop),
      _sender(sender),
      _data_path(data_path),
      _options(std::move(options)),
      _reader(loop, sender),
      _in_force(_options.in_force),
      _poll(loop, [this] { poll(); }),
      _clock(loop, [this] { look_at_the_clock(); }) {
  _poll.schedule_after(POLL_INTERVAL);
  _clock.schedule_after(CLOCK_INTERVAL);
}

void PolicyFollower::policy_born(std::string_view instance) {
  if (_policy == instance) return;
  _policy = instance;
  _born = _loop.now();
  _changed_at = _born;
  _seen = false;
  _read.reset();
  _reader.forget();
  _asked.reset();
  _asking = false;
}

void PolicyFollower::policy_died(std::string_view instance) {
  if (_policy != instance) return;
  _policy.clear();
  _read.reset();
  _reader.forget();
  _asked.reset();
  _asking = false;
}

void PolicyFollower::set_switch(KernelSwitch kernel) {
  if (_has_switch && kernel == _kernel) return;
  _has_switch = true;
  _kernel = std::move(kernel);
  _read_again = true;
  _apply_again = true;
}

void PolicyFollower::set_queue_map(const std::string& port, const QueueMap& map) {
  QueueMap& known = _queues[port];
  if (known == map) return;
  known = map;
  _apply_again = true;
}

PolicyFollower::State PolicyFollower::state() const {
  if (_policy.empty() || _in_force.empty()) return State::WAITING;
  return _in_force == _policy ? State::FOLLOWING : State::HOLDING;
}

std::uint64_t PolicyFollower::serial_in_force() const {
  return _taken == nullptr ? 0 : _taken->serial;
}

void PolicyFollower::poll() {
  _poll.schedule_after(POLL_INTERVAL);
  if (!_has_switch || is_busy()) return;
  if (_policy.empty()) {
    // Links may change while no policyd is there; what it said last still holds.
    if (_apply_again && _taken != nullptr) apply();
    return;
  }
  _asked = std::make_unique<Lifeline>();
  _asking = XrlStatisticsV0p1Client(&_sender).send_get_changes(
      _policy, callback(*_asked, [this](const XrlError& error, const std::uint64_t* serial) {
        _asking = false;
        if (error.is_okay()) serial_arrived(*serial);
      }));
}

void PolicyFollower::serial_arrived(std::uint64_t serial) {
  if (!_seen || serial != _seen_serial) {
    _seen = true;
    _seen_serial = serial;
    _changed_at = _loop.now();
  }
  if (_read == nullptr || _read->serial != serial || _read_again) {
    read();
  } else {
    take_if_due();
  }
}

void PolicyFollower::read() {
  PolicyReader::Places places;
  for (const KernelPort& port : _kernel.ports) places.ports.push_back(port.name);
  places.vlans = _kernel.vlans;
  _read_again = false;
  _noticed_at = _loop.now();
  _reader.read(_policy, std::move(places), _read,
               [this](std::shared_ptr<const PolicySnapshot> snapshot) {
                 snapshot_arrived(std::move(snapshot));
               });
}

void PolicyFollower::snapshot_arrived(std::shared_ptr<const PolicySnapshot> snapshot) {
  if (snapshot == nullptr) {
    _read_again = true;
    return;
  }
  if (snapshot->serial != _seen_serial) {
    _seen_serial = snapshot->serial;
    _changed_at = _loop.now();
  }
  _read = std::move(snapshot);
  take_if_due();
}

bool PolicyFollower::may_take(const PolicySnapshot& snapshot) const {
  if (_in_force.empty() || _in_force == _policy) return true;
  const TimePoint now = _loop.now();
  if (now - _born >= _options.hold) return true;
  return !snapshot.is_empty() && now - _changed_at >= SETTLE;
}

void PolicyFollower::take_if_due() {
  if (!may_take(*_read)) {
    if (_apply_again && _taken != nullptr) apply();
    return;
  }
  if (_in_force != _policy) {
    _in_force = _policy;
    if (_options.adopted) _options.adopted(_in_force);
  }
  if (_taken != _read) {
    _taken = _read;
    _apply_again = true;
  }
  if (_apply_again) apply();
}

void PolicyFollower::apply() {
  _apply_again = false;
  _applying = true;
  _active_time_ranges = active_time_ranges(_taken->time_ranges, _options.now());
  auto policy = std::make_shared<const SwitchPolicy>(
      switch_policy_of(*_taken, _kernel, _queues, _active_time_ranges));
  _data_path.apply(std::move(policy),
                   [this, token = _lifeline.token()](const DataPathRunner::Outcome& outcome) {
                     if (token->alive) applied(outcome);
                   });
}

void PolicyFollower::applied(const DataPathRunner::Outcome& outcome) {
  _applying = false;
  _applied_at = _loop.now();
  _last_change_took = _applied_at - _noticed_at;
  tell_of_refusals(outcome);
  _outcome = outcome;
  if (_options.applied) _options.applied();
}

// What was told already is not told again.
void PolicyFollower::tell_of_refusals(const DataPathRunner::Outcome& outcome) const {
  if (!outcome.problem.empty() && outcome.problem != _outcome.problem) {
    XLOG_ERROR("The kernel cannot be made to obey the policy: %s", outcome.problem.c_str());
  }
  const auto& known = _outcome.report.refusals;
  for (const PolicyRefusal& refusal : outcome.report.refusals) {
    if (std::find(known.begin(), known.end(), refusal) != known.end()) continue;
    const std::string place =
        refusal.port.empty() ? "VLAN " + std::to_string(refusal.vlan) : "Port " + refusal.port;
    const std::string rule = refusal.rule ? " acl " + std::to_string(refusal.rule->acl) + " rule " +
                                                std::to_string(refusal.rule->rule) + ":"
                                          : "";
    XLOG_ERROR("%s keeps the filters that it has:%s %s", place.c_str(), rule.c_str(),
               refusal.reason.c_str());
  }
}

void PolicyFollower::look_at_the_clock() {
  _clock.schedule_after(CLOCK_INTERVAL);
  if (_taken == nullptr) return;
  const bool refused = !_outcome.problem.empty() || !_outcome.report.refusals.empty();
  if (refused && _loop.now() - _applied_at >= REFUSED_AGAIN) _apply_again = true;
  std::set<std::string> active = active_time_ranges(_taken->time_ranges, _options.now());
  if (active == _active_time_ranges) return;
  _active_time_ranges = active;
  _data_path.set_active_time_ranges(std::move(active));
}
