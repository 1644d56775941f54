#include "linuxcard/follow/policy_reader.h"

#include <utility>

#include "framework/xrl/interfaces/statistics_xif.h"
#include "framework/xrl/xrl_error.h"
#include "policy/interfaces/policy_config_xif.h"

namespace {

// To give a rule that is bound another content takes four changes: it is released,
// deleted, made anew and bound.
constexpr std::uint64_t CHANGES_TO_REPLACE_A_RULE = 4;

bool read_filters(const XrlAtomList& acls, const XrlAtomList& rules, PolicyBindings& bindings) {
  if (acls.size() != rules.size()) return false;
  for (std::size_t i = 0; i < acls.size(); ++i) {
    bindings.filters.push_back({acls.u32_at(i), rules.u32_at(i)});
  }
  return true;
}

bool read_remarks(const XrlAtomList& acls, const XrlAtomList& rules, const XrlAtomList& kinds,
                  const XrlAtomList& values, PolicyBindings& bindings) {
  const std::size_t size = acls.size();
  if (rules.size() != size || kinds.size() != size || values.size() != size) return false;
  for (std::size_t i = 0; i < size; ++i) {
    const std::uint32_t kind = kinds.u32_at(i);
    if (kind > static_cast<std::uint32_t>(RemarkKind::TWO_BIT)) return false;
    bindings.remarks[{acls.u32_at(i), rules.u32_at(i)}] = {static_cast<RemarkKind>(kind),
                                                           values.u32_at(i)};
  }
  return true;
}

// Null when it makes no sense.
std::shared_ptr<const PolicyRule> read_rule(RuleKey key, std::uint32_t action,
                                            const XrlAtomList& flags, const XrlAtomList& values) {
  if (flags.size() != values.size() || action > 1) return nullptr;
  auto rule = std::make_shared<PolicyRule>();
  rule->key = key;
  rule->action = action == 1 ? RuleAction::PERMIT : RuleAction::DENY;
  std::size_t i = 0;
  for (const std::string_view value : values.texts()) {
    rule->fields.emplace(flags.u32_at(i++), value);
  }
  return rule;
}

}  // namespace

PolicyReader::PolicyReader(EventLoop& loop, XrlSender& sender)
    : _sender(sender), _pump(loop, [this] { pump(); }) {}

void PolicyReader::read(std::string policy, Places places,
                        std::shared_ptr<const PolicySnapshot> before, Done done) {
  forget();
  _policy = std::move(policy);
  _places = std::move(places);
  _before = std::move(before);
  _done = std::move(done);
  _attempts = 0;
  begin_attempt();
}

void PolicyReader::forget() {
  _reading.reset();
  _asks.clear();
  _in_flight = 0;
  _done = nullptr;
}

void PolicyReader::begin_attempt() {
  ++_attempts;
  _reading = std::make_unique<Lifeline>();
  _snapshot = std::make_shared<PolicySnapshot>();
  _asks.clear();
  _in_flight = 0;
  _failed = false;
  _changed_meanwhile = false;
  _phase = Phase::SERIAL;
  _asks.emplace_back([this] { return ask_serial(); });
  _pump.schedule();
}

void PolicyReader::pump() {
  while (!_failed && !_asks.empty() && _in_flight < MAX_IN_FLIGHT) {
    if (!_asks.front()()) {
      _failed = true;
      break;
    }
    ++_in_flight;
    _asks.pop_front();
  }
  if (_done != nullptr && _in_flight == 0 && (_failed || _asks.empty())) phase_ended();
}

void PolicyReader::answered() {
  --_in_flight;
  // Half a window at a time: requests that are sent together leave together.
  if (_in_flight == 0 || (_in_flight <= MAX_IN_FLIGHT / 2 && !_asks.empty())) _pump.schedule();
}

bool PolicyReader::take(const XrlError& error) {
  if (error.is_okay()) return true;
  // A port that policyd does not know yet, a rule that was deleted a moment ago.
  if (error.code() == XrlErrorCode::COMMAND_FAILED) {
    _changed_meanwhile = _changed_meanwhile || _phase == Phase::RULES;
  } else {
    _failed = true;
  }
  return false;
}

void PolicyReader::phase_ended() {
  if (_failed) {
    finish(nullptr);
    return;
  }
  switch (_phase) {
    case Phase::SERIAL:
      _phase = Phase::BINDINGS;
      ask_for_bindings();
      break;
    case Phase::BINDINGS:
      _phase = Phase::RULES;
      ask_for_rules();
      break;
    case Phase::RULES:
      _phase = Phase::SERIAL_AGAIN;
      _asks.emplace_back([this] { return ask_serial(); });
      break;
    case Phase::SERIAL_AGAIN:
      if (!_changed_meanwhile && _serial_again == _snapshot->serial) {
        finish(_snapshot);
      } else if (_attempts == MAX_ATTEMPTS) {
        finish(nullptr);
      } else {
        begin_attempt();
      }
      return;
  }
  _pump.schedule();
}

void PolicyReader::finish(std::shared_ptr<const PolicySnapshot> snapshot) {
  const Done done = std::move(_done);
  forget();
  done(std::move(snapshot));
}

bool PolicyReader::ask_serial() {
  return XrlStatisticsV0p1Client(&_sender).send_get_changes(
      _policy, callback(*_reading, [this](const XrlError& error, const std::uint64_t* serial) {
        if (take(error)) {
          (_phase == Phase::SERIAL ? _snapshot->serial : _serial_again) = *serial;
        } else {
          _failed = true;
        }
        answered();
      }));
}

void PolicyReader::ask_for_bindings() {
  _asks.emplace_back([this] { return ask_time_ranges(); });
  for (const std::string& port : _places.ports) {
    _asks.emplace_back([this, port] { return ask_filters(port); });
    _asks.emplace_back([this, port] { return ask_remarks(port); });
  }
  for (const std::uint16_t vlan : _places.vlans) {
    _asks.emplace_back([this, vlan] { return ask_filters(vlan); });
    _asks.emplace_back([this, vlan] { return ask_remarks(vlan); });
  }
}

bool PolicyReader::rules_before_hold() const {
  return _before != nullptr && _snapshot->serial >= _before->serial &&
         _snapshot->serial - _before->serial < CHANGES_TO_REPLACE_A_RULE;
}

void PolicyReader::ask_for_rules() {
  static const decltype(PolicySnapshot::rules) NONE;
  const auto& before = rules_before_hold() ? _before->rules : NONE;
  const auto ask_for = [&](const PolicyBindings& bindings) {
    for (const RuleKey key : bindings.filters) {
      const auto [rule, added] = _snapshot->rules.try_emplace(key);
      if (!added) continue;
      const auto known = before.find(key);
      if (known != before.end()) {
        rule->second = known->second;
      } else {
        _asks.emplace_back([this, key] { return ask_rule(key); });
      }
    }
  };
  for (const auto& [name, bindings] : _snapshot->ports) ask_for(bindings);
  for (const auto& [id, bindings] : _snapshot->vlans) ask_for(bindings);
}

bool PolicyReader::ask_filters(const std::string& port) {
  return XrlPolicyConfigV0p1Client(&_sender).send_get_port_packet_filters(
      _policy, port,
      callback(*_reading, [this, port](const XrlError& error, const XrlAtomList* acls,
                                       const XrlAtomList* rules, const XrlAtomList* /*extras*/) {
        if (take(error) && !read_filters(*acls, *rules, _snapshot->ports[port])) _failed = true;
        answered();
      }));
}

bool PolicyReader::ask_filters(std::uint16_t vlan) {
  return XrlPolicyConfigV0p1Client(&_sender).send_get_vlan_packet_filters(
      _policy, vlan,
      callback(*_reading, [this, vlan](const XrlError& error, const XrlAtomList* acls,
                                       const XrlAtomList* rules, const XrlAtomList* /*extras*/) {
        if (take(error) && !read_filters(*acls, *rules, _snapshot->vlans[vlan])) _failed = true;
        answered();
      }));
}

bool PolicyReader::ask_remarks(const std::string& port) {
  return XrlPolicyConfigV0p1Client(&_sender).send_get_port_remark(
      _policy, port,
      callback(*_reading, [this, port](const XrlError& error, const XrlAtomList* acls,
                                       const XrlAtomList* rules, const XrlAtomList* kinds,
                                       const XrlAtomList* values) {
        if (take(error) && !read_remarks(*acls, *rules, *kinds, *values, _snapshot->ports[port])) {
          _failed = true;
        }
        answered();
      }));
}

bool PolicyReader::ask_remarks(std::uint16_t vlan) {
  return XrlPolicyConfigV0p1Client(&_sender).send_get_vlan_remark(
      _policy, vlan,
      callback(*_reading, [this, vlan](const XrlError& error, const XrlAtomList* acls,
                                       const XrlAtomList* rules, const XrlAtomList* kinds,
                                       const XrlAtomList* values) {
        if (take(error) && !read_remarks(*acls, *rules, *kinds, *values, _snapshot->vlans[vlan])) {
          _failed = true;
        }
        answered();
      }));
}

bool PolicyReader::ask_time_ranges() {
  return XrlPolicyConfigV0p1Client(&_sender).send_get_time_ranges(
      _policy, callback(*_reading, [this](const XrlError& error, const XrlAtomList* names,
                                          const XrlAtomList* number1s, const XrlAtomList* number2s,
                                          const XrlAtomList* flags, const XrlAtomList* number3s,
                                          const XrlAtomList* number4s) {
        if (take(error)) {
          const std::size_t size = names->size();
          const bool aligned = number1s->size() == size && number2s->size() == size &&
                               flags->size() == size && number3s->size() == size &&
                               number4s->size() == size;
          _failed = _failed || !aligned;
          std::size_t i = 0;
          for (const std::string_view name : names->texts()) {
            if (_failed) break;
            _snapshot->time_ranges.emplace(
                name,
                TimeRangeValues{number1s->u32_at(i), number2s->u32_at(i), flags->u32_at(i) != 0,
                                number3s->u32_at(i), number4s->u32_at(i)});
            ++i;
          }
        }
        answered();
      }));
}

bool PolicyReader::ask_rule(RuleKey key) {
  return XrlPolicyConfigV0p1Client(&_sender).send_get_rule(
      _policy, key.acl, key.rule,
      callback(*_reading, [this, key](const XrlError& error, const std::uint32_t* action,
                                      const std::string_view* /*description*/,
                                      const XrlAtomList* flags, const XrlAtomList* values) {
        if (take(error)) {
          auto rule = read_rule(key, *action, *flags, *values);
          _failed = _failed || rule == nullptr;
          _snapshot->rules[key] = std::move(rule);
        }
        answered();
      }));
}
