#include "tools/policyctl/switch/read_switch.h"

#include <deque>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "platform/interfaces/sif_xif.h"
#include "platform/interfaces/vlan_xif.h"
#include "policy/interfaces/policy_config_xif.h"
#include "tools/policyctl/switch/answer_lists.h"
#include "tools/policyctl/switch/request_window.h"

namespace {

// Others than policyd that are asked one question.
struct Manager {
  const char* target;
  const char* name;
  const char* question;  // as of a request
};
constexpr Manager INTERFACE_MANAGER{"sif", "the interface manager 'sif'",
                                    "ask the interface manager 'sif' for the interfaces"};
constexpr Manager VLAN_MANAGER{"vlan", "the VLAN manager 'vlan'",
                               "ask the VLAN manager 'vlan' for the VLANs"};

enum class Gone { IS_FINE, IS_A_FAILURE };

class SwitchReader {
 public:
  SwitchReader(SwitchSession& session, const SwitchParts& parts)
      : _session(session),
        _client(session.sender()),
        _window(session, "the configuration of the switch", [this] { return who_is_silent(); }) {
    if (parts.class_of_service) ask_class_of_service();
    if (parts.time_ranges) ask_time_ranges();
    if (parts.acls) ask_acls();
    if (parts.bindings) {
      ask_interfaces();
      ask_vlans();
    }
  }

  Configuration read() {
    _window.run([this] { return send_next(); });
    if (_failure) throw Failure(*_failure);
    if (!_unsent.empty()) {
      throw Failure(ExitStatus::NOT_REACHABLE, "a request could not be sent to the switch.");
    }
    return std::move(_read);
  }

 private:
  using Ask = std::function<bool()>;

  void ask(Ask request) { _unsent.push_back(std::move(request)); }

  RequestWindow::Sent send_next() {
    if (_unsent.empty()) {
      return _window.in_flight() == 0 ? RequestWindow::Sent::NO_MORE : RequestWindow::Sent::NOT_NOW;
    }
    if (!_unsent.front()()) return RequestWindow::Sent::NOT_NOW;
    _unsent.pop_front();
    return RequestWindow::Sent::YES;
  }

  // Whether a reply has results.
  bool is_good(const XrlError& error, const std::string& what, Gone gone) {
    if (error.is_okay()) return true;
    if (error.code() == XrlErrorCode::COMMAND_FAILED && gone == Gone::IS_FINE) return false;
    fail(request_failure(what, error));
    return false;
  }

  void fail(Failure failure) {
    if (!_failure) _failure.emplace(std::move(failure));
    _window.stop();
  }

  // A callback that stores the results of one good reply.
  template <typename Store>
  auto store(const char* what, Store results, Gone gone = Gone::IS_A_FAILURE) {
    return callback(_lifeline, [this, what, results, gone](const XrlError& error, auto... result) {
      try {
        if (is_good(error, what, gone)) results(*result...);
      } catch (const SenselessAnswer&) {
        fail(Failure(ExitStatus::NOT_REACHABLE,
                     std::string("could not ") + what + ": the answer makes no sense.",
                     "Is what runs there of the same version as policyctl?"));
      }
      std::erase_if(_asked, [what](const Manager* manager) { return manager->question == what; });
      _window.answered();
    });
  }

  // Of those that have something to answer.
  [[nodiscard]] std::string who_is_silent() const {
    std::string names = _window.in_flight() > _asked.size() ? "policyd" : "";
    for (const Manager* manager : _asked) {
      names += (names.empty() ? "" : " and ") + std::string(manager->name);
    }
    return names;
  }

  template <typename Send>
  void ask_manager(const Manager& manager, Send send) {
    ask([this, &manager, send] {
      if (!send()) return false;
      _asked.push_back(&manager);
      return true;
    });
  }

  // Of something that may have gone since it was listed: it is not read then.
  template <typename Store>
  auto store_if_there(const char* what, Store results) {
    return store(what, results, Gone::IS_FINE);
  }

  void ask_class_of_service() {
    ClassOfService& cos = _read.cos;
    ask([this, &cos] {
      return _client.send_get_cos_flag(
          policyd(), store("read the cos flag", [&cos](bool flag) { cos.flag = flag; }));
    });
    ask([this, &cos] {
      return _client.send_get_schedule_mode(
          policyd(), store("read the schedule mode", [&cos](std::uint32_t m) { cos.mode = m; }));
    });
    ask([this, &cos] {
      return _client.send_get_schedule_algorithm(
          policyd(), store("read the schedule algorithm",
                           [&cos](std::uint32_t algorithm, const XrlAtomList& weights) {
                             Schedule schedule{algorithm, {}};
                             require_size(schedule.weights.size(), weights);
                             std::size_t i = 0;
                             for (const std::uint32_t w : weights.u32s()) schedule.weights[i++] = w;
                             cos.schedule = schedule;
                           }));
    });
    ask([this, &cos] {
      return _client.send_get_priority_queue(
          policyd(), priorities(),
          store("read the queues of priorities",
                [&cos](const XrlAtomList& queues) { store_queues(cos.priority_queues, queues); }));
    });
    ask([this, &cos] {
      return _client.send_get_cos_mapping(
          policyd(), priorities(), store("read the mapping", [&cos](const XrlAtomList& queues) {
            store_queues(cos.mapping, queues);
          }));
    });
  }

  static XrlAtomList priorities() {
    XrlAtomList list;
    for (std::uint32_t priority = 0; priority < PRIORITIES; ++priority) list.append(priority);
    return list;
  }

  void ask_time_ranges() {
    ask([this] {
      return _client.send_get_time_ranges(
          policyd(),
          store("read the time ranges",
                [this](const XrlAtomList& names, const XrlAtomList& number1s,
                       const XrlAtomList& number2s, const XrlAtomList& flags,
                       const XrlAtomList& number3s, const XrlAtomList& number4s) {
                  require_size(names.size(), number1s, number2s, flags, number3s, number4s);
                  std::size_t i = 0;
                  for (const std::string_view name : names.texts()) {
                    _read.time_ranges[std::string(name)] = {number1s.u32_at(i), number2s.u32_at(i),
                                                            flags.u32_at(i) != 0,
                                                            number3s.u32_at(i), number4s.u32_at(i)};
                    ++i;
                  }
                }));
    });
  }

  void ask_acls() {
    ask([this] {
      return _client.send_get_acls(
          policyd(), store("read the access control lists",
                           [this](const XrlAtomList& acls, const XrlAtomList& types,
                                  const XrlAtomList& descriptions) {
                             require_size(acls.size(), types, descriptions);
                             std::size_t i = 0;
                             for (const std::string_view description : descriptions.texts()) {
                               Acl& acl = _read.acls[acls.u32_at(i)];
                               acl.type = types.u32_at(i);
                               acl.description = description;
                               ask_rules(acls.u32_at(i), acl);
                               ++i;
                             }
                           }));
    });
  }

  void ask_rules(std::uint32_t number, Acl& acl) {
    ask([this, number, &acl] {
      return _client.send_get_rules(
          policyd(), number,
          store_if_there("read the rules",
                         [this, number, &acl](const XrlAtomList& rules, std::uint32_t) {
                           for (const std::uint32_t rule : rules.u32s())
                             ask_rule({number, rule}, acl);
                         }));
    });
  }

  void ask_rule(const RuleKey& key, Acl& acl) {
    ask([this, key, &acl] {
      return _client.send_get_rule(
          policyd(), key.acl, key.rule,
          store_if_there("read a rule", [&acl, number = key.rule](
                                            std::uint32_t action, std::string_view description,
                                            const XrlAtomList& flags, const XrlAtomList& values) {
            Rule& rule = acl.rules.try_emplace(acl.rules.end(), number)->second;
            rule.action = action;
            rule.description = description;
            store_fields(rule.fields, flags, values);
          }));
    });
  }

  void ask_interfaces() {
    ask_manager(INTERFACE_MANAGER, [this] {
      return XrlSifV0p1Client(_session.sender())
          .send_get_tree(INTERFACE_MANAGER.target,
                         store(INTERFACE_MANAGER.question,
                               [this](std::uint64_t, const XrlAtomList& names, const auto&,
                                      const auto&, const auto&, const auto&) {
                                 for (const std::string_view name : names.texts()) {
                                   ask_interface(std::string(name));
                                 }
                               }));
    });
  }

  void ask_vlans() {
    ask_manager(VLAN_MANAGER, [this] {
      return XrlVlanV0p1Client(_session.sender())
          .send_get_vlans(VLAN_MANAGER.target,
                          store(VLAN_MANAGER.question, [this](const XrlAtomList& vlans) {
                            for (const std::uint32_t id : vlans.u32s()) {
                              ask_vlan(id);
                            }
                          }));
    });
  }

  // An interface that policyd does not know yet, or no longer, is not there.
  void ask_interface(const std::string& name) {
    ask([this, name] {
      return _client.send_get_port_cos_value(
          policyd(), name, store_if_there("read a cos-value", [this, name](std::uint32_t value) {
            _read.interfaces[name].cos_value = value;
          }));
    });
    ask([this, name] {
      return _client.send_get_port_packet_filters(
          policyd(), name,
          store_if_there(
              "read the filters of an interface",
              [this, name](const XrlAtomList& acls, const XrlAtomList& rules, const auto&) {
                store_filters(_read.interfaces[name], acls, rules);
              }));
    });
    ask([this, name] {
      return _client.send_get_port_remark(
          policyd(), name,
          store_if_there("read the remarks of an interface",
                         [this, name](const XrlAtomList& acls, const XrlAtomList& rules,
                                      const XrlAtomList& kinds, const XrlAtomList& values) {
                           store_remarks(_read.interfaces[name], acls, rules, kinds, values);
                         }));
    });
  }

  void ask_vlan(std::uint32_t id) {
    ask([this, id] {
      return _client.send_get_vlan_packet_filters(
          policyd(), id,
          store_if_there("read the filters of a VLAN",
                         [this, id](const XrlAtomList& acls, const XrlAtomList& rules,
                                    const auto&) { store_filters(_read.vlans[id], acls, rules); }));
    });
    ask([this, id] {
      return _client.send_get_vlan_remark(
          policyd(), id,
          store_if_there("read the remarks of a VLAN",
                         [this, id](const XrlAtomList& acls, const XrlAtomList& rules,
                                    const XrlAtomList& kinds, const XrlAtomList& values) {
                           store_remarks(_read.vlans[id], acls, rules, kinds, values);
                         }));
    });
  }

  [[nodiscard]] const std::string& policyd() const { return _session.policyd(); }

  SwitchSession& _session;
  XrlPolicyConfigV0p1Client _client;
  RequestWindow _window;
  Configuration _read;
  std::deque<Ask> _unsent;
  std::vector<const Manager*> _asked;  // and have not answered
  std::optional<Failure> _failure;
  Lifeline _lifeline;
};

}  // namespace

Configuration read_switch(SwitchSession& session, const SwitchParts& parts) {
  return SwitchReader(session, parts).read();
}
