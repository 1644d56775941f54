#include "tests/integration/command_model.h"

#include <algorithm>
#include <utility>

namespace {

using Exchange = CommandModel::Exchange;
using Atoms = std::vector<XrlAtom>;

constexpr std::uint32_t MAX_U32 = 0xffffffffU;
// Past what a switch has.
constexpr std::uint32_t FIRST_VLAN = 5000;

const std::string NO_ACL = "102 the acl does not exist.";
const std::string NO_RULE = "102 the rule does not exist.";

XrlArgs args_of(Atoms atoms) {
  XrlArgs args;
  for (XrlAtom& atom : atoms) args.add(std::move(atom));
  return args;
}

std::string okay(Atoms results = {}) {
  return results.empty() ? "100" : "100 " + args_of(std::move(results)).str();
}

Exchange command(const std::string& method, Atoms arguments, std::string answer) {
  return {{"policy", "policy_config/0.1/" + method, args_of(std::move(arguments))},
          std::move(answer)};
}

template <typename Values>
XrlAtomList list_of(const Values& values) {
  XrlAtomList list;
  for (const auto& value : values) list.append(value);
  return list;
}

bool all_below(const std::vector<std::uint32_t>& numbers, std::uint32_t limit) {
  return std::all_of(numbers.begin(), numbers.end(), [&](std::uint32_t n) { return n < limit; });
}

std::string no_record(const std::string& kind) {
  return kind == "port" ? "102 the interface does not exist." : "102 the vlan does not exist.";
}

}  // namespace

CommandModel::CommandModel(std::uint32_t seed, const std::vector<std::string>& ports)
    : _random(seed) {
  for (const std::string& port : ports) add_port(port);
  _cos_mapping = {{0, 2}, {1, 0}, {2, 1}, {3, 3}, {4, 4}, {5, 5}, {6, 6}, {7, 7}};
  for (std::uint32_t dscp = 0; dscp <= 62; ++dscp) _dscp_queue[dscp] = dscp / 8;
  for (std::uint32_t priority = 0; priority < 8; ++priority) _priority_queue[priority] = priority;
}

void CommandModel::add_port(const std::string& name) {
  _store.create_port(name, 0);
  _port_values[name] = 0;
}

void CommandModel::remove_port(const std::string& name) {
  _store.delete_port(name);
  _port_values.erase(name);
}

void CommandModel::confirm_mapping(std::uint32_t priority, std::uint32_t queue) {
  _cos_mapping[priority] = queue;
}

// Few things of each kind, so that commands meet the same ones again and again;
// now and then one that is far away.

std::uint32_t CommandModel::drawn_acl() {
  return below(100) == 0 ? MAX_U32 : below(5);
}

StoreModel::Key CommandModel::drawn_key() {
  return {drawn_acl(), below(100) == 0 ? MAX_U32 : below(8)};
}

std::uint32_t CommandModel::drawn_vlan() {
  return below(20) == 0 ? MAX_U32 : FIRST_VLAN + below(4);
}

std::string CommandModel::drawn_port() {
  if (below(20) == 0 || _store.ports.empty()) return "eth-0/9/" + std::to_string(below(9));
  auto port = _store.ports.begin();
  std::advance(port, below(static_cast<std::uint32_t>(_store.ports.size())));
  return port->first;
}

std::string CommandModel::drawn_text() {
  std::string text(below(3) == 0 ? 0 : below(24), ' ');
  for (char& byte : text) byte = static_cast<char>(below(256));
  return text;
}

CommandModel::Numbers CommandModel::drawn_numbers(std::uint32_t limit) {
  Numbers numbers(below(6));
  for (std::uint32_t& number : numbers) number = below(40) == 0 ? limit + below(2) : below(limit);
  return numbers;
}

StoreModel::Record* CommandModel::find_port(const std::string& name) {
  const auto port = _store.ports.find(name);
  return port == _store.ports.end() ? nullptr : &port->second;
}

StoreModel::Record* CommandModel::find_vlan(std::uint32_t id) {
  const auto vlan = _store.vlans.find(id);
  return vlan == _store.vlans.end() ? nullptr : &vlan->second;
}

Exchange CommandModel::draw() {
  struct Family {
    std::uint32_t weight;
    Exchange (CommandModel::*draw)();
  };
  static constexpr std::array<Family, 14> FAMILIES{{
      {6, &CommandModel::acl_command},
      {6, &CommandModel::description_command},
      {18, &CommandModel::rule_command},
      {4, &CommandModel::time_range_command},
      {2, &CommandModel::vlan_event},
      {14, &CommandModel::port_filter_command},
      {8, &CommandModel::vlan_filter_command},
      {3, &CommandModel::all_ports_command},
      {8, &CommandModel::port_remark_command},
      {6, &CommandModel::vlan_remark_command},
      {2, &CommandModel::port_value_command},
      {3, &CommandModel::schedule_command},
      {4, &CommandModel::queue_command},
      {16, &CommandModel::reading},
  }};
  std::uint32_t drawn = below(100);
  for (const Family& family : FAMILIES) {
    if (drawn < family.weight) return (this->*family.draw)();
    drawn -= family.weight;
  }
  return reading();
}

Exchange CommandModel::acl_command() {
  const std::uint32_t acl = drawn_acl();
  if (below(3) != 0) {
    const std::uint32_t type = below(20) == 0 ? 2 : below(2);
    const bool done = _store.create_acl(acl, type) == 0;
    return command("create_acl", {{"acl", acl}, {"type", type}},
                   done ? okay() : "102 failed to create acl");
  }
  return delete_acl(acl);
}

Exchange CommandModel::delete_acl(std::uint32_t acl) {
  if (const auto user = _store.first_user(acl)) {
    // Numbers are logged as signed ones.
    const bool is_vlan = user->rfind("vlan ", 0) == 0;
    const std::string name =
        is_vlan ? "vlan " + std::to_string(static_cast<int>(std::stoul(user->substr(5)))) : *user;
    _warnings.push_back("acl " + std::to_string(static_cast<int>(acl)) + " is still used in " +
                        name + ".");
  }
  const bool done = _store.delete_acl(acl) == 0;
  return command("delete_acl", {{"acl", acl}}, done ? okay() : "102 failed to delete acl");
}

Exchange CommandModel::description_command() {
  const StoreModel::Key key = drawn_key();
  const std::string text = below(4) == 0 ? "" : drawn_text();
  const bool unset = text.empty();
  const auto acl = _store.acls.find(key.first);
  if (below(2) == 0) {
    if (acl != _store.acls.end()) acl->second.description = text;
    Atoms arguments{{"acl", key.first}};
    if (!unset) arguments.emplace_back("description", text);
    return command(unset ? "unset_acl_description" : "set_acl_description", arguments,
                   acl == _store.acls.end() ? NO_ACL : okay());
  }
  StoreModel::Rule* rule = _store.find_rule(key);
  if (rule != nullptr) rule->description = text;
  Atoms arguments{{"acl", key.first}, {"rule", key.second}};
  if (!unset) arguments.emplace_back("description", text);
  return command(unset ? "unset_rule_description" : "set_rule_description", arguments,
                 acl == _store.acls.end() ? NO_ACL
                 : rule == nullptr        ? NO_RULE
                                          : okay());
}

Exchange CommandModel::rule_command() {
  const StoreModel::Key key = drawn_key();
  if (below(4) != 0) return create_rule(key);
  const bool has_acl = _store.acls.count(key.first) != 0;
  const bool done = _store.delete_rule(key) == 0;
  return command("delete_rule", {{"acl", key.first}, {"rule", key.second}},
                 !has_acl ? NO_ACL
                 : done   ? okay()
                          : "102 failed to delete rule.");
}

Exchange CommandModel::create_rule(StoreModel::Key key) {
  const std::uint32_t action = below(40) == 0 ? 2 : below(5) == 0 ? 0 : 1;
  const Numbers flags = drawn_numbers(37);
  std::vector<std::string> values(below(40) == 0 ? flags.size() + 1 : flags.size());
  for (std::string& value : values) value = drawn_text();
  std::string answer = okay();
  if (_store.acls.count(key.first) == 0) {
    answer = NO_ACL;
  } else if (flags.size() != values.size()) {
    answer = "101 bad flags and values.";
  } else if (_store.create_rule(key, action, flags, values) != 0) {
    answer = "102 failed to create acl.";
  }
  return command("create_rule",
                 {{"acl", key.first},
                  {"rule", key.second},
                  {"action", action},
                  {"flags", list_of(flags)},
                  {"values", list_of(values)}},
                 answer);
}

Exchange CommandModel::time_range_command() {
  const std::string name(1, static_cast<char>('a' + below(5)));
  if (below(40) == 0) {
    _store.time_ranges.clear();
    return command("clear_time_ranges", {}, okay());
  }
  if (below(3) == 0) {
    _store.time_ranges.erase(name);
    return command("delete_time_range", {{"name", name}}, okay());
  }
  const StoreModel::TimeRange range{{below(MAX_U32), below(9), below(2), below(9), below(MAX_U32)}};
  const bool done = _store.create_time_range(name, range) == 0;
  return command("create_time_range",
                 {{"name", name},
                  {"number1", range.values[0]},
                  {"number2", range.values[1]},
                  {"flag", range.values[2] == 1},
                  {"number3", range.values[3]},
                  {"number4", range.values[4]}},
                 done ? okay() : "102 failed to create time range.");
}

Exchange CommandModel::vlan_event() {
  const std::uint32_t vlan = drawn_vlan();
  const std::uint32_t event = below(20) == 0 ? 2 : below(4) == 0 ? 0 : 1;
  std::string answer = okay();
  if (event == 2) {
    answer = "101 event is bad.";
  } else if (event == 1 && _store.create_vlan(vlan) != 0) {
    answer = "102 vlan has existed.";
  } else if (event == 0 && _store.delete_vlan(vlan) != 0) {
    answer = "102 vlan does not exist.";
  }
  return {
      {"policy", "vlan_observer/0.1/vlan_event", args_of({{"event", event}, {"vlan_id", vlan}})},
      answer};
}

Exchange CommandModel::filter_command(const std::string& kind, XrlAtom where,
                                      StoreModel::Record* record) {
  if (below(30) == 0) {
    if (record != nullptr) record->filters.clear();
    return command("clear_" + kind + "_packet_filters", {std::move(where)},
                   record == nullptr ? no_record(kind) : okay());
  }
  const StoreModel::Key key = drawn_key();
  const bool set = below(3) != 0;
  const std::string verb = set ? "set" : "delete";
  std::string answer = okay();
  if (record == nullptr) {
    answer = no_record(kind);
  } else if ((set ? _store.add_filter(*record, key) : _store.delete_filter(*record, key)) != 0) {
    answer = "102 failed to " + verb + " " + kind + " packet filter.";
  }
  return command(verb + "_" + kind + "_packet_filter",
                 {std::move(where), {"acl", key.first}, {"rule", key.second}}, answer);
}

Exchange CommandModel::port_filter_command() {
  const std::string port = drawn_port();
  return filter_command("port", {"ifname", port}, find_port(port));
}

Exchange CommandModel::vlan_filter_command() {
  const std::uint32_t vlan = drawn_vlan();
  return filter_command("vlan", {"vlan", vlan}, find_vlan(vlan));
}

Exchange CommandModel::remark_command(const std::string& kind, XrlAtom where,
                                      StoreModel::Record* record) {
  if (below(30) == 0) {
    if (record != nullptr) record->actions.clear();
    return command("clear_" + kind + "_remark", {std::move(where)},
                   record == nullptr ? no_record(kind) : okay());
  }
  const StoreModel::Key key = drawn_key();
  if (below(3) == 0) {
    const bool done = record != nullptr && _store.delete_action(*record, key) == 0;
    return command("unremark_" + kind + "_priority",
                   {std::move(where), {"acl_id", key.first}, {"rule_id", key.second}},
                   record == nullptr ? no_record(kind)
                   : done            ? okay()
                                     : "102 failed to unremark " + kind + " priority.");
  }
  const std::uint32_t what = below(4);
  const std::uint32_t value = below(what == 0 ? 66 : 9);
  const bool done = record != nullptr && _store.set_action(*record, key, what, value) == 0;
  return command("remark_" + kind + "_priority",
                 {std::move(where),
                  {"acl_id", key.first},
                  {"rule_id", key.second},
                  {"kind", what},
                  {"value", value}},
                 record == nullptr ? no_record(kind)
                 : done            ? okay()
                                   : "102 failed to remark " + kind + " prioriy.");
}

Exchange CommandModel::port_remark_command() {
  const std::string port = drawn_port();
  return remark_command("port", {"ifname", port}, find_port(port));
}

Exchange CommandModel::vlan_remark_command() {
  const std::uint32_t vlan = drawn_vlan();
  return remark_command("vlan", {"vlan_id", vlan}, find_vlan(vlan));
}

Exchange CommandModel::all_ports_command() {
  const StoreModel::Key key = drawn_key();
  const Atoms filter{{"acl", key.first}, {"rule", key.second}};
  const Atoms remark{{"acl_id", key.first}, {"rule_id", key.second}};
  switch (below(10)) {
    case 0:
      for (auto& [name, port] : _store.ports) port.filters.clear();
      for (auto& [id, vlan] : _store.vlans) vlan.filters.clear();
      return command("clear_all_packet_filters", {}, okay());
    case 1:
      for (auto& [name, port] : _store.ports) port.actions.clear();
      return command("clear_all_port_remark", {}, okay());
    case 2:
    case 3:
    case 4:
      for (auto& [name, port] : _store.ports) _store.delete_filter(port, key);
      return command("delete_all_ports_packet_filter", filter, okay());
    case 5:
    case 6:
      for (auto& [name, port] : _store.ports) _store.delete_action(port, key);
      return command("unremark_all_port_priority", remark, okay());
    case 7:
      for (auto& [name, port] : _store.ports) _store.set_action(port, key, 1, 7);
      return command("remark_all_port_priority",
                     {remark[0], remark[1], {"kind", 1U}, {"value", 7U}}, okay());
    default:
      for (auto& [name, port] : _store.ports) _store.add_filter(port, key);
      return command("set_all_ports_packet_filter", filter, okay());
  }
}

Exchange CommandModel::port_value_command() {
  const std::string port = drawn_port();
  const auto value = static_cast<std::uint32_t>(_random());
  if (find_port(port) != nullptr) _port_values[port] = value;
  return command("set_port_cos_value", {{"ifname", port}, {"value", value}},
                 find_port(port) == nullptr ? no_record("port") : okay());
}

Exchange CommandModel::schedule_command() {
  switch (below(3)) {
    case 0: {
      _flag = below(2) == 1;
      return command("set_cos_flag", {{"flag", _flag}}, okay());
    }
    case 1: {
      const std::uint32_t mode = below(6);
      if (mode <= 4) _mode = mode;
      return command("set_schedule_mode", {{"mode", mode}}, mode <= 4 ? okay() : "101 bad mode.");
    }
    default: {
      const std::uint32_t algorithm = below(5);
      Numbers weights(below(4) == 0 ? below(6) : 4);
      for (std::uint32_t& weight : weights) weight = static_cast<std::uint32_t>(_random());
      std::string answer = okay();
      if (algorithm > 3) {
        answer = "101 bad algorithm.";
      } else if (weights.size() != 4) {
        answer = "101 bad weight.";
      } else {
        _algorithm = algorithm;
        _weights = weights;
      }
      return command("set_schedule_algorithm",
                     {{"algorithm", algorithm}, {"weights", list_of(weights)}}, answer);
    }
  }
}

Exchange CommandModel::queue_command() {
  const bool of_dscp = below(2) == 0;
  const std::uint32_t keys_below = of_dscp ? 64 : 8;
  const Numbers keys = drawn_numbers(keys_below);
  Numbers queues = drawn_numbers(8);
  if (below(10) != 0) queues.resize(keys.size(), 3);
  const std::string what = of_dscp ? "dscp" : "priority";
  const Atoms arguments{{of_dscp ? "dscps" : "priorities", list_of(keys)},
                        {"queues", list_of(queues)}};
  const bool good =
      keys.size() == queues.size() && all_below(keys, keys_below) && all_below(queues, 8);
  for (std::size_t i = 0; good && i < keys.size(); ++i) {
    // A DSCP that has a queue changes the map of the line cards instead.
    if (!of_dscp) _priority_queue[keys[i]] = queues[i];
    if (of_dscp && _dscp_queue.count(keys[i]) != 0) _cos_mapping[keys[i]] = queues[i];
  }
  return command("set_" + what + "_queue", arguments,
                 good ? okay() : "101 bad " + what + " and queue.");
}

Exchange CommandModel::reading() {
  const std::string port = drawn_port();
  const std::uint32_t vlan = drawn_vlan();
  switch (below(14)) {
    case 0:
      return read_acls();
    case 1:
      return read_rules(drawn_acl());
    case 2:
    case 3:
      return read_rule(drawn_key());
    case 4:
      return read_acl_description(drawn_acl());
    case 5:
      return read_rule_description(drawn_key());
    case 6:
      return read_filters("port", {"ifname", port}, find_port(port));
    case 7:
      return read_filters("vlan", {"vlan", vlan}, find_vlan(vlan));
    case 8:
      return read_remarks("port", {"ifname", port}, find_port(port));
    case 9:
      return read_remarks("vlan", {"vlan_id", vlan}, find_vlan(vlan));
    case 10:
      return read_port_value(port);
    case 11:
      return read_time_range(std::string(1, static_cast<char>('a' + below(6))));
    case 12:
      return read_schedule();
    default:
      return below(2) == 0 ? read_queues("dscp", drawn_numbers(64))
                           : read_queues("priority", drawn_numbers(8));
  }
}

Exchange CommandModel::read_acls() {
  XrlAtomList ids;
  XrlAtomList types;
  XrlAtomList descriptions;
  for (const auto& [id, acl] : _store.acls) {
    ids.append(id);
    types.append(acl.type);
    descriptions.append(acl.description);
  }
  return command("get_acls", {},
                 okay({{"acls", ids}, {"types", types}, {"descriptions", descriptions}}));
}

Exchange CommandModel::read_rules(std::uint32_t acl) {
  const auto found = _store.acls.find(acl);
  if (found == _store.acls.end()) return command("get_rules", {{"acl", acl}}, NO_ACL);
  XrlAtomList rules;
  for (const auto& [id, rule] : found->second.rules) rules.append(id);
  return command("get_rules", {{"acl", acl}},
                 okay({{"rules", rules}, {"type", found->second.type}}));
}

Exchange CommandModel::read_rule(StoreModel::Key key) {
  const Atoms arguments{{"acl", key.first}, {"rule", key.second}};
  if (_store.acls.count(key.first) == 0) return command("get_rule", arguments, NO_ACL);
  const StoreModel::Rule* rule = _store.find_rule(key);
  if (rule == nullptr) return command("get_rule", arguments, NO_RULE);
  XrlAtomList flags;
  XrlAtomList values;
  for (const auto& [flag, value] : rule->fields) {
    flags.append(flag);
    values.append(value);
  }
  return command("get_rule", arguments,
                 okay({{"action", rule->action},
                       {"description", rule->description},
                       {"flags", flags},
                       {"values", values}}));
}

Exchange CommandModel::read_acl_description(std::uint32_t acl) {
  const auto found = _store.acls.find(acl);
  return command(
      "get_acl_description", {{"acl", acl}},
      found == _store.acls.end() ? NO_ACL : okay({{"description", found->second.description}}));
}

Exchange CommandModel::read_rule_description(StoreModel::Key key) {
  const StoreModel::Rule* rule = _store.find_rule(key);
  return command("get_rule_description", {{"acl", key.first}, {"rule", key.second}},
                 _store.acls.count(key.first) == 0 ? NO_ACL
                 : rule == nullptr                 ? NO_RULE
                                                   : okay({{"description", rule->description}}));
}

Exchange CommandModel::read_filters(const std::string& kind, XrlAtom where,
                                    const StoreModel::Record* record) {
  const std::string method = "get_" + kind + "_packet_filters";
  if (record == nullptr) return command(method, {std::move(where)}, no_record(kind));
  XrlAtomList acls;
  XrlAtomList rules;
  for (const StoreModel::Key& key : record->filters) {
    acls.append(key.first);
    rules.append(key.second);
  }
  return command(method, {std::move(where)},
                 okay({{"acls", acls}, {"rules", rules}, {"extras", XrlAtomList()}}));
}

Exchange CommandModel::read_remarks(const std::string& kind, XrlAtom where,
                                    const StoreModel::Record* record) {
  const std::string method = "get_" + kind + "_remark";
  if (record == nullptr) return command(method, {std::move(where)}, no_record(kind));
  XrlAtomList acls;
  XrlAtomList rules;
  XrlAtomList kinds;
  XrlAtomList values;
  for (const auto& [key, action] : record->actions) {
    acls.append(key.first);
    rules.append(key.second);
    kinds.append(action.first);
    values.append(action.second);
  }
  return command(
      method, {std::move(where)},
      okay({{"acl_ids", acls}, {"rule_ids", rules}, {"kinds", kinds}, {"values", values}}));
}

Exchange CommandModel::read_port_value(const std::string& port) {
  return command(
      "get_port_cos_value", {{"ifname", port}},
      find_port(port) == nullptr ? no_record("port") : okay({{"value", _port_values[port]}}));
}

Exchange CommandModel::read_time_range(const std::string& name) {
  const auto found = _store.time_ranges.find(name);
  if (found == _store.time_ranges.end()) {
    return command("get_time_range", {{"name", name}}, "102 time range does not exist.");
  }
  const auto& [number1, number2, flag, number3, number4] = found->second.values;
  return command("get_time_range", {{"name", name}},
                 okay({{"number1", number1},
                       {"number2", number2},
                       {"flag", flag == 1},
                       {"number3", number3},
                       {"number4", number4}}));
}

Exchange CommandModel::read_time_ranges() {
  XrlAtomList names;
  std::array<XrlAtomList, 5> values;
  for (const auto& [name, range] : _store.time_ranges) {
    names.append(name);
    for (std::size_t i = 0; i < values.size(); ++i) values[i].append(range.values[i]);
  }
  return command("get_time_ranges", {},
                 okay({{"names", names},
                       {"number1s", values[0]},
                       {"number2s", values[1]},
                       {"flags", values[2]},
                       {"number3s", values[3]},
                       {"number4s", values[4]}}));
}

Exchange CommandModel::read_schedule() {
  switch (below(3)) {
    case 0:
      return command("get_cos_flag", {}, okay({{"flag", _flag}}));
    case 1:
      return command("get_schedule_mode", {}, okay({{"mode", _mode}}));
    default:
      return command("get_schedule_algorithm", {},
                     okay({{"algorithm", _algorithm}, {"weights", list_of(_weights)}}));
  }
}

Exchange CommandModel::read_queues(const std::string& table, const Numbers& keys) {
  const bool of_dscp = table == "dscp";
  const bool of_cards = table == "cos";
  const Table& queues = of_dscp ? _dscp_queue : of_cards ? _cos_mapping : _priority_queue;
  const std::string method = of_cards ? "get_cos_mapping" : "get_" + table + "_queue";
  const Atoms arguments{{of_dscp ? "dscps" : "priorities", list_of(keys)}};
  if (!all_below(keys, of_dscp ? 64 : 8)) {
    return command(method, arguments, of_dscp ? "101 bad dscp." : "101 bad priority.");
  }
  XrlAtomList answer;
  for (const std::uint32_t key : keys) {
    const auto found = queues.find(key);
    answer.append(found == queues.end() ? 0U : found->second);
  }
  return command(method, arguments, okay({{"queues", answer}}));
}

std::vector<Exchange> CommandModel::read_back() {
  std::vector<Exchange> all{read_acls(), read_time_ranges()};
  for (const auto& [id, acl] : _store.acls) {
    all.push_back(read_rules(id));
    for (const auto& [number, rule] : acl.rules) all.push_back(read_rule({id, number}));
  }
  for (const auto& [name, port] : _store.ports) {
    all.push_back(read_filters("port", {"ifname", name}, &port));
    all.push_back(read_remarks("port", {"ifname", name}, &port));
    all.push_back(read_port_value(name));
  }
  for (const auto& [id, vlan] : _store.vlans) {
    all.push_back(read_filters("vlan", {"vlan", id}, &vlan));
    all.push_back(read_remarks("vlan", {"vlan_id", id}, &vlan));
  }
  const Numbers eight{0, 1, 2, 3, 4, 5, 6, 7};
  Numbers all_dscps(64);
  for (std::uint32_t dscp = 0; dscp < 64; ++dscp) all_dscps[dscp] = dscp;
  all.push_back(read_queues("priority", eight));
  all.push_back(read_queues("cos", eight));
  all.push_back(read_queues("dscp", all_dscps));
  return all;
}
