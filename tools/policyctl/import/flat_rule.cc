#include "tools/policyctl/import/flat_rule.h"

#include <algorithm>
#include <array>

namespace {

struct NamedText {
  std::string_view name;
  std::string_view text;
};

// The match field of each condition.
constexpr std::array CONDITIONS{
    NamedText{"SRC_IP", "src-ip"},          NamedText{"DST_IP", "dst-ip"},
    NamedText{"SRC_IPV6", "src-ip6"},       NamedText{"DST_IPV6", "dst-ip6"},
    NamedText{"IP_PROTOCOL", "protocol"},   NamedText{"NEXT_HEADER", "protocol"},
    NamedText{"ETHER_TYPE", "ethertype"},   NamedText{"VLAN_ID", "vlan"},
    NamedText{"L4_SRC_PORT", "src-port"},   NamedText{"L4_SRC_PORT_RANGE", "src-port"},
    NamedText{"L4_DST_PORT", "dst-port"},   NamedText{"L4_DST_PORT_RANGE", "dst-port"},
    NamedText{"TCP_FLAGS", "tcp-flags"},    NamedText{"DSCP", "dscp"},
    NamedText{"ICMP_TYPE", "icmp-type"},    NamedText{"ICMP_CODE", "icmp-code"},
    NamedText{"ICMPV6_TYPE", "icmp6-type"}, NamedText{"ICMPV6_CODE", "icmp6-code"},
    NamedText{"IN_PORTS", "in-ports"},      NamedText{"OUT_PORTS", "out-ports"},
};

// The EtherType of each IP_TYPE that is one.
constexpr std::array IP_TYPES{
    NamedText{"IPV4ANY", "0x0800"},
    NamedText{"IPV6ANY", "0x86dd"},
    NamedText{"ARP", "0x0806"},
};

template <std::size_t N>
const NamedText* find(const std::array<NamedText, N>& names, std::string_view name) {
  const auto* const at = std::find_if(names.begin(), names.end(),
                                      [name](const NamedText& each) { return each.name == name; });
  return at == names.end() ? nullptr : at;
}

std::string upper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

bool is_known(std::string_view name) {
  return name == "PRIORITY" || name == "PACKET_ACTION" || name == "IP_TYPE" ||
         find(CONDITIONS, name) != nullptr;
}

class FlatRuleReader {
 public:
  explicit FlatRuleReader(ImportLog& log) : _log(log) {}

  FlatRule read(const FlatEntry& entry, std::string_view name) {
    for (const auto& [member, value] : entry.value->members) {
      const std::string path = json_path(entry.path, member);
      const std::string known_as = upper(member);
      if (known_as != member && is_known(known_as)) {
        _log.note(path, describe(value), "this is taken for " + known_as + ".");
      }
      if (_log.scalar(path, value)) {
        take(known_as, path, value);
      } else {
        _is_wrong = true;
      }
    }
    FlatRule rule{entry.path, _priority, std::nullopt};
    if (_is_wrong || _is_left_out) return rule;
    if (!_action) {
      _log.fault(entry.path, "PACKET_ACTION is missing.");
      return rule;
    }
    if (_priority == FlatRule::NO_PRIORITY) {
      _log.note(entry.path, "no PRIORITY", "the rule comes last.");
    }
    rule.rule = Rule{*_action, _fields.fields(), std::string(name)};
    return rule;
  }

 private:
  void take(const std::string& name, const std::string& path, const JsonValue& value);
  void take_action(const std::string& path, const JsonValue& value);
  void take_ip_type(const std::string& path, const JsonValue& value);
  void set(const std::string& path, std::string_view field, std::string_view text);
  void leave_out(const std::string& path, const JsonValue& value, const std::string& why);

  ImportLog& _log;
  FieldsDraft _fields;
  std::int64_t _priority = FlatRule::NO_PRIORITY;
  std::optional<std::uint32_t> _action;
  bool _is_left_out = false;
  bool _is_wrong = false;
};

void FlatRuleReader::take(const std::string& name, const std::string& path,
                          const JsonValue& value) {
  if (name == "PRIORITY" && _priority == FlatRule::NO_PRIORITY) {
    const std::optional<std::uint32_t> priority = _log.number(path, value);
    _is_wrong = _is_wrong || !priority;
    if (priority) _priority = *priority;
  } else if (name == "PACKET_ACTION" && !_action) {
    take_action(path, value);
  } else if (name == "IP_TYPE") {
    take_ip_type(path, value);
  } else if (name == "PRIORITY" || name == "PACKET_ACTION") {
    _is_wrong = true;
    _log.fault(path, "the rule has a " + name + " already.");
  } else if (name.ends_with("_ACTION")) {
    leave_out(path, value, "a rule permits or denies");
  } else if (const NamedText* const condition = find(CONDITIONS, name); condition != nullptr) {
    set(path, condition->text, value.text);
  } else {
    leave_out(path, value, "no match field is like it");
  }
}

void FlatRuleReader::take_action(const std::string& path, const JsonValue& value) {
  const std::string action = upper(value.text);
  if (action == "FORWARD" || action == "ACCEPT") {
    _action = PERMIT;
  } else if (action == "DROP") {
    _action = DENY;
  } else {
    leave_out(path, value, "a rule permits or denies");
  }
}

void FlatRuleReader::take_ip_type(const std::string& path, const JsonValue& value) {
  const std::string type = upper(value.text);
  if (type == "ANY") return;
  const NamedText* const ethertype = find(IP_TYPES, type);
  if (ethertype == nullptr) return leave_out(path, value, "no match field is like it");
  set(path, "ethertype", ethertype->text);
}

void FlatRuleReader::set(const std::string& path, std::string_view field, std::string_view text) {
  const std::string problem = _fields.set(field, text);
  if (problem.empty()) return;
  _is_wrong = true;
  _log.fault(path, problem);
}

void FlatRuleReader::leave_out(const std::string& path, const JsonValue& value,
                               const std::string& why) {
  _is_left_out = true;
  _log.note(path, describe(value), why + "; the rule is left out.");
}

}  // namespace

FlatRule read_flat_rule(const FlatEntry& entry, std::string_view name, ImportLog& log) {
  return FlatRuleReader(log).read(entry, name);
}
