#include "tools/policyctl/import/openconfig_entry.h"

#include <algorithm>
#include <array>

#include "tools/policyctl/import/match_spelling.h"

namespace {

using Take = void (OpenconfigEntry::*)(const std::string& path, const JsonValue& value);

struct KnownLeaf {
  std::string_view path;
  Take take;               // or
  std::string_view field;  // the match field whose value it is
};

constexpr std::array LEAVES{
    KnownLeaf{"config/sequence-id", &OpenconfigEntry::take_number, ""},
    KnownLeaf{"config/description", &OpenconfigEntry::take_description, ""},
    KnownLeaf{"actions/config/forwarding-action", &OpenconfigEntry::take_action, ""},
    KnownLeaf{"ip/config/source-ip-address", &OpenconfigEntry::take_source, ""},
    KnownLeaf{"ip/config/destination-ip-address", &OpenconfigEntry::take_destination, ""},
    KnownLeaf{"ip/config/protocol", &OpenconfigEntry::take_protocol, ""},
    KnownLeaf{"ip/config/dscp", nullptr, "dscp"},
    KnownLeaf{"ip/config/hop-limit", nullptr, "ttl"},
    KnownLeaf{"l2/config/ethertype", &OpenconfigEntry::take_ethertype, ""},
    KnownLeaf{"l2/config/vlan-id", nullptr, "vlan"},
    KnownLeaf{"l2/config/source-mac", nullptr, "src-mac"},
    KnownLeaf{"l2/config/destination-mac", nullptr, "dst-mac"},
    KnownLeaf{"transport/config/source-port", &OpenconfigEntry::take_source_port, ""},
    KnownLeaf{"transport/config/destination-port", &OpenconfigEntry::take_destination_port, ""},
    KnownLeaf{"icmp/config/type", &OpenconfigEntry::take_icmp_type, ""},
    KnownLeaf{"icmp/config/code", &OpenconfigEntry::take_icmp_code, ""},
    KnownLeaf{"input_interface/interface_ref/config/interface", nullptr, "in-ports"},
};

struct NamedNumber {
  std::string_view name;
  std::uint32_t number;
};

constexpr std::uint32_t ICMP = 1;
constexpr std::uint32_t ICMP6 = 58;
constexpr std::string_view IPV4_ETHERTYPE = "0x0800";
constexpr std::string_view IPV6_ETHERTYPE = "0x86dd";

constexpr std::array PROTOCOLS{
    NamedNumber{"IP_ICMP", ICMP}, NamedNumber{"IP_IGMP", 2},  NamedNumber{"IP_TCP", 6},
    NamedNumber{"IP_UDP", 17},    NamedNumber{"IP_RSVP", 46}, NamedNumber{"IP_GRE", 47},
    NamedNumber{"IP_AUTH", 51},   NamedNumber{"IP_PIM", 103}, NamedNumber{"IP_L2TP", 115},
};
constexpr std::array ETHERTYPES{
    NamedNumber{"ETHERTYPE_IPV4", 0x0800}, NamedNumber{"ETHERTYPE_ARP", 0x0806},
    NamedNumber{"ETHERTYPE_VLAN", 0x8100}, NamedNumber{"ETHERTYPE_IPV6", 0x86dd},
    NamedNumber{"ETHERTYPE_MPLS", 0x8847}, NamedNumber{"ETHERTYPE_ROCE", 0x8915},
    NamedNumber{"ETHERTYPE_LLDP", 0x88cc},
};

// An identity may have the module that defines it in front of its name.
std::string_view without_module(std::string_view name) {
  return name.substr(name.rfind(':') + 1);
}

template <std::size_t N>
const NamedNumber* find(const std::array<NamedNumber, N>& names, std::string_view name) {
  const auto* const at = std::find_if(names.begin(), names.end(), [name](const NamedNumber& each) {
    return each.name == without_module(name);
  });
  return at == names.end() ? nullptr : at;
}

// Whether a leaf that is not known narrows what the entry matches. What a 'state'
// holds mirrors the 'config' beside it, or counts.
bool is_condition(std::string_view leaf_path) {
  const std::size_t end = leaf_path.find('/');
  if (end == std::string_view::npos || leaf_path.find("/state/", end) != std::string_view::npos) {
    return false;
  }
  const std::string_view block = leaf_path.substr(0, end);
  return block != "config" && block != "state" && block != "actions";
}

bool begins_as_number(std::string_view text) {
  return !text.empty() && text[0] >= '0' && text[0] <= '9';
}

}  // namespace

void OpenconfigEntry::read(const JsonValue& entry) {
  if (!entry.is_object()) {
    _is_wrong = true;
    (void)_log.members(_path, entry);
    return;
  }
  read_leaves(entry, "", _path);
  settle_family();
  if (_action || _is_left_out || _is_wrong) return;
  _is_wrong = true;
  _log.fault(_path, "actions/config/forwarding-action is missing.");
}

std::optional<Rule> OpenconfigEntry::rule() const {
  if (_is_left_out || _is_wrong || !_action) return std::nullopt;
  return Rule{*_action, _fields.fields(), _description};
}

void OpenconfigEntry::read_leaves(const JsonValue& object, const std::string& leaf_path,
                                  const std::string& path) {
  for (const auto& [name, value] : object.members) {
    std::string inner = leaf_path;
    if (!inner.empty()) inner += '/';
    inner += name;
    if (value.is_object()) {
      read_leaves(value, inner, json_path(path, name));
    } else {
      read_leaf(inner, json_path(path, name), value);
    }
  }
}

void OpenconfigEntry::read_leaf(const std::string& leaf_path, const std::string& path,
                                const JsonValue& value) {
  const auto* const known =
      std::find_if(LEAVES.begin(), LEAVES.end(),
                   [&leaf_path](const KnownLeaf& leaf) { return leaf.path == leaf_path; });
  if (known == LEAVES.end()) {
    if (is_condition(leaf_path))
      return leave_out(path, describe(value), "no match field is like it");
    return _log.note(path, describe(value), "a rule has nothing like it.");
  }
  const std::optional<std::string_view> text = _log.scalar(path, value);
  if (!text) {
    _is_wrong = true;
  } else if (known->take != nullptr) {
    (this->*known->take)(path, value);
  } else {
    set(path, known->field, *text);
  }
}

void OpenconfigEntry::take_number(const std::string& path, const JsonValue& value) {
  _number = _log.number(path, value);
  _is_wrong = _is_wrong || !_number;
}

void OpenconfigEntry::take_description(const std::string& /*path*/, const JsonValue& value) {
  _description = value.text;
}

void OpenconfigEntry::take_action(const std::string& path, const JsonValue& value) {
  const std::string_view action = without_module(value.text);
  if (action == "ACCEPT") {
    _action = PERMIT;
  } else if (action == "DROP" || action == "REJECT") {
    _action = DENY;
    if (action == "REJECT") {
      _log.note(path, describe(value), "the rule denies, and the sender is not told.");
    }
  } else {
    leave_out(path, describe(value), "a rule permits or denies");
  }
}

void OpenconfigEntry::take_source(const std::string& path, const JsonValue& value) {
  take_address(path, value, "src-ip", "src-ip6");
}

void OpenconfigEntry::take_destination(const std::string& path, const JsonValue& value) {
  take_address(path, value, "dst-ip", "dst-ip6");
}

void OpenconfigEntry::take_address(const std::string& path, const JsonValue& value,
                                   std::string_view ipv4, std::string_view ipv6) {
  set(path, value.text.find(':') == std::string::npos ? ipv4 : ipv6, value.text);
}

void OpenconfigEntry::take_protocol(const std::string& path, const JsonValue& value) {
  if (begins_as_number(value.text)) return set(path, "protocol", value.text);
  const NamedNumber* const protocol = find(PROTOCOLS, value.text);
  if (protocol == nullptr) {
    return leave_out(path, describe(value), "no protocol of this name is known");
  }
  set(path, "protocol", std::to_string(protocol->number));
}

void OpenconfigEntry::take_ethertype(const std::string& path, const JsonValue& value) {
  if (begins_as_number(value.text)) return set(path, "ethertype", value.text);
  const NamedNumber* const ethertype = find(ETHERTYPES, value.text);
  if (ethertype == nullptr) {
    return leave_out(path, describe(value), "no EtherType of this name is known");
  }
  set(path, "ethertype", std::to_string(ethertype->number));
}

void OpenconfigEntry::take_source_port(const std::string& path, const JsonValue& value) {
  take_port(path, value, "src-port");
}

void OpenconfigEntry::take_destination_port(const std::string& path, const JsonValue& value) {
  take_port(path, value, "dst-port");
}

void OpenconfigEntry::take_port(const std::string& path, const JsonValue& value,
                                std::string_view field) {
  const std::string_view name = without_module(value.text);
  if (name == "ANY") return;
  if (begins_as_number(value.text)) return set(path, field, value.text);
  leave_out(path, describe(value), "no port of this name is known");
}

void OpenconfigEntry::take_icmp_type(const std::string& path, const JsonValue& value) {
  _icmp_type = {path, value.text};
}

void OpenconfigEntry::take_icmp_code(const std::string& path, const JsonValue& value) {
  _icmp_code = {path, value.text};
}

void OpenconfigEntry::set(const std::string& path, std::string_view field, std::string_view text) {
  const std::string problem = _fields.set(field, text);
  if (problem.empty()) return;
  _is_wrong = true;
  _log.fault(path, problem);
}

void OpenconfigEntry::leave_out(const std::string& path, std::string what, const std::string& why) {
  _is_left_out = true;
  _log.note(path, std::move(what), why + "; the rule is left out.");
}

void OpenconfigEntry::settle_family() {
  const std::string_view ethertype = _fields.value("ethertype");
  const bool has_ipv4 =
      _fields.has("src-ip") || _fields.has("dst-ip") || ethertype == IPV4_ETHERTYPE;
  const bool has_ipv6 =
      _fields.has("src-ip6") || _fields.has("dst-ip6") || ethertype == IPV6_ETHERTYPE;
  if (has_ipv4 && has_ipv6) {
    return leave_out(_path, "IPv4 and IPv6", "no packet is both");
  }
  const bool is_icmp = _fields.value("protocol") == std::to_string(ICMP);
  if (has_ipv6 && is_icmp) {
    _fields.drop("protocol");
    set(_path, "protocol", std::to_string(ICMP6));
    _log.note(_path, "ICMP with IPv6", "the rule matches ICMPv6, protocol 58.");
  }
  settle_icmp(has_ipv6 || _fields.value("protocol") == std::to_string(ICMP6));
}

void OpenconfigEntry::settle_icmp(bool is_ipv6) {
  if (_icmp_type) set(_icmp_type->path, is_ipv6 ? "icmp6-type" : "icmp-type", _icmp_type->text);
  if (_icmp_code) set(_icmp_code->path, is_ipv6 ? "icmp6-code" : "icmp-code", _icmp_code->text);
}
