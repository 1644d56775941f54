#include "linuxcard/classifier/conditions.h"

#include <algorithm>
#include <bitset>
#include <charconv>
#include <string_view>

#include "common/match_values.h"
#include "framework/base/ipv4.h"

namespace {

using ByteSet = std::bitset<256>;

// The parts of values that match_value_problem() has nothing against.
struct Parts {
  std::string_view first;
  std::string_view second;  // empty when there is none
};

Parts split(std::string_view value, char separator) {
  const std::size_t at = value.find(separator);
  if (at == std::string_view::npos) return {value, {}};
  return {value.substr(0, at), value.substr(at + 1)};
}

std::uint32_t number(std::string_view text) {
  std::uint32_t result = 0;
  const bool is_hex = text.starts_with("0x");
  if (is_hex) text.remove_prefix(2);
  std::from_chars(text.data(), text.data() + text.size(), result, is_hex ? 16 : 10);
  return result;
}

std::uint64_t big_endian(const std::uint8_t* bytes) {
  std::uint64_t result = 0;
  for (int i = 0; i < 8; ++i) result = result << 8U | bytes[i];
  return result;
}

// Bytes that agree with `value` in the bits of `mask`.
ByteSet masked(std::uint32_t value, std::uint32_t mask) {
  ByteSet bytes;
  for (std::uint32_t byte = 0; byte < bytes.size(); ++byte) bytes[byte] = (byte & mask) == value;
  return bytes;
}

class RuleReader {
 public:
  RuleReader(std::uint32_t index, const std::vector<PortNames>& ports, Conditions& conditions)
      : _index(index), _ports(ports), _conditions(conditions) {}

  [[nodiscard]] std::optional<std::string> read(std::uint32_t field, const std::string& value);
  // Two fields may look at one byte; what both ask for is added when all were read.
  void finish();

 private:
  void add_range(unsigned dimension, std::uint32_t low, std::uint32_t high) {
    _conditions.ranges[dimension].push_back(
        {static_cast<std::uint16_t>(low), static_cast<std::uint16_t>(high), _index});
  }
  void add_range(unsigned dimension, std::string_view text) {
    const Parts parts = split(text, '-');
    add_range(dimension, number(parts.first),
              number(parts.second.empty() ? parts.first : parts.second));
  }
  void add_set(unsigned dimension, const ByteSet& bytes);
  void add_prefix(unsigned dimension, const std::string& value);
  void add_mac(unsigned dimension, std::string_view value);
  void add_fragment(std::string_view word);
  void add_ports(std::string_view names);
  [[nodiscard]] std::optional<std::string> read_fields_of_bytes(std::uint32_t field,
                                                                const std::string& value);

  const std::uint32_t _index;
  const std::vector<PortNames>& _ports;
  Conditions& _conditions;
  std::optional<ByteSet> _traffic_class;
  std::optional<ByteSet> _tos;
};

void narrow(std::optional<ByteSet>& set, const ByteSet& bytes) {
  set = set ? *set & bytes : bytes;
}

void RuleReader::add_set(unsigned dimension, const ByteSet& bytes) {
  // No byte at all is a range that nothing is in, so that the rule never matches.
  if (bytes.none()) return add_range(dimension, 1, 0);
  for (std::uint32_t low = 0; low < bytes.size(); ++low) {
    if (!bytes[low]) continue;
    std::uint32_t high = low;
    while (high + 1 < bytes.size() && bytes[high + 1]) ++high;
    add_range(dimension, low, high);
    low = high;
  }
}

void RuleReader::add_prefix(unsigned dimension, const std::string& value) {
  const Parts parts = split(value, '/');
  PrefixCondition condition{{0, 0, number(parts.second)}, _index};
  if (dimension == DIM_SRC4 || dimension == DIM_DST4) {
    IPv4 address;
    (void)IPv4::parse(parts.first, address);
    condition.prefix.upper = static_cast<std::uint64_t>(address.host_order()) << 32U;
  } else {
    IPv6 address;
    (void)IPv6::parse(parts.first, address);
    condition.prefix.upper = big_endian(address.bytes.data());
    condition.prefix.lower = big_endian(address.bytes.data() + 8);
  }
  _conditions.prefixes[dimension].push_back(condition);
}

void RuleReader::add_mac(unsigned dimension, std::string_view value) {
  const Parts parts = split(value, '/');
  Mac address;
  Mac mask;
  mask.bytes.fill(0xff);
  (void)Mac::parse(parts.first, address);
  if (!parts.second.empty()) (void)Mac::parse(parts.second, mask);
  for (unsigned i = 0; i < mask.bytes.size(); ++i) {
    if (mask.bytes[i] != 0) add_set(dimension + i, masked(address.bytes[i], mask.bytes[i]));
  }
}

void RuleReader::add_fragment(std::string_view word) {
  if (word == "no") add_range(DIM_FRAGMENT, FRAGMENT_NONE, FRAGMENT_NONE);
  if (word == "any") add_range(DIM_FRAGMENT, FRAGMENT_FIRST, FRAGMENT_LATER);
  if (word == "first") add_range(DIM_FRAGMENT, FRAGMENT_FIRST, FRAGMENT_FIRST);
  if (word == "not-first") add_range(DIM_FRAGMENT, FRAGMENT_LATER, FRAGMENT_LATER);
}

void RuleReader::add_ports(std::string_view names) {
  const std::size_t before = _conditions.ranges[DIM_IN_PORT].size();
  const auto is_named = [names](std::string_view wanted) {
    for (Parts rest{{}, names}; !rest.second.empty();) {
      rest = split(rest.second, ',');
      if (rest.first == wanted) return true;
    }
    return false;
  };
  for (const PortNames& port : _ports) {
    if (is_named(port.name) || (!port.aggregate.empty() && is_named(port.aggregate))) {
      add_range(DIM_IN_PORT, port.slot, port.slot);
    }
  }
  if (_conditions.ranges[DIM_IN_PORT].size() == before) add_range(DIM_IN_PORT, 1, 0);
}

std::optional<std::string> RuleReader::read_fields_of_bytes(std::uint32_t field,
                                                            const std::string& value) {
  switch (field) {
    case 0:
      add_mac(DIM_SRC_MAC, value);
      return std::nullopt;
    case 1:
      add_mac(DIM_DST_MAC, value);
      return std::nullopt;
    case 14: {
      const Parts bits = split(value, '/');
      const std::uint32_t wanted = number(bits.first);
      const std::uint32_t mask = number(bits.second);
      if (mask >> 8U != 0) add_set(DIM_TCP_UPPER, masked(wanted >> 8U, mask >> 8U));
      // With a mask of zero, too: only TCP has flags.
      if (mask >> 8U == 0 || (mask & 0xffU) != 0) {
        add_set(DIM_TCP_LOWER, masked(wanted & 0xffU, mask & 0xffU));
      }
      return std::nullopt;
    }
    case 20:
      narrow(_traffic_class, masked(number(value) << 2U, 0xfc));
      return std::nullopt;
    case 21:
      narrow(_tos, masked(number(value) << 5U, 0xe0));
      return std::nullopt;
    case 22:
      narrow(_tos, masked(number(value) << 1U, 0x1e));
      return std::nullopt;
    case 23:
      narrow(_traffic_class, masked(number(value), 0x03));
      return std::nullopt;
    case 27:
      add_range(DIM_FLOW_UPPER, number(value) >> 16U, number(value) >> 16U);
      add_range(DIM_FLOW_LOWER, number(value) & 0xffffU, number(value) & 0xffffU);
      return std::nullopt;
    default:
      return "match field '" + std::string(find_match_field(field)->name) + "' is not known here.";
  }
}

// Fields whose value is a number or a range of one dimension.
std::optional<unsigned> dimension_of_range(std::uint32_t field) {
  switch (field) {
    case 2:
      return DIM_ETHERTYPE;
    case 3:
      return DIM_VLAN;
    case 4:
      return DIM_DOT1P;
    case 5:
      return DIM_INNER_VLAN;
    case 6:
      return DIM_INNER_DOT1P;
    case 11:
      return DIM_PROTOCOL;
    case 12:
      return DIM_SRC_PORT;
    case 13:
      return DIM_DST_PORT;
    case 15:
      return DIM_ICMP_TYPE;
    case 16:
      return DIM_ICMP_CODE;
    case 17:
      return DIM_ICMP6_TYPE;
    case 18:
      return DIM_ICMP6_CODE;
    case 19:
      return DIM_IGMP_TYPE;
    case 25:
      return DIM_TTL;
    case 28:
      return DIM_LENGTH;
    case 29:
      return DIM_ARP_OPERATION;
    default:
      return std::nullopt;
  }
}

std::optional<std::string> RuleReader::read(std::uint32_t field, const std::string& value) {
  const MatchField* const meaning = find_match_field(field);
  if (meaning == nullptr) return "match field " + std::to_string(field) + " has no meaning.";
  const std::string problem = match_value_problem(*meaning, value);
  if (!problem.empty()) return std::string(meaning->name) + ": " + problem;
  if (const std::optional<unsigned> dimension = dimension_of_range(field)) {
    add_range(*dimension, value);
    return std::nullopt;
  }
  switch (field) {
    case 7:
    case 8:
    case 9:
    case 10:
      add_prefix(DIM_SRC4 + (field - 7), value);
      return std::nullopt;
    case 24:
      add_fragment(value);
      return std::nullopt;
    case 26:
      add_range(DIM_OPTIONS, value == "present" ? 1 : 0, value == "present" ? 1 : 0);
      return std::nullopt;
    case 30:
      add_ports(value);
      return std::nullopt;
    case 31:
      return "match field 'out-ports' is not known where packets come in.";
    case 32:
      _conditions.time_ranges[value].push_back(_index);
      return std::nullopt;
    default:
      return read_fields_of_bytes(field, value);
  }
}

void RuleReader::finish() {
  if (_traffic_class) add_set(DIM_TRAFFIC_CLASS, *_traffic_class);
  if (_tos) add_set(DIM_TOS, *_tos);
}

std::optional<std::string> remark_problem(const PolicyRule& rule) {
  if (!rule.remark) return std::nullopt;
  if (rule.action != RuleAction::PERMIT) return "only a rule that permits can remark.";
  switch (rule.remark->kind) {
    case RemarkKind::DSCP:
      if (rule.remark->value <= 63) return std::nullopt;
      break;
    case RemarkKind::PRIORITY:
      if (rule.remark->value <= 7) return std::nullopt;
      break;
    case RemarkKind::TWO_BIT:
      return "the two-bit remark has no counterpart in Linux.";
  }
  return "remark value " + std::to_string(rule.remark->value) + " is out of range.";
}

}  // namespace

bool is_of_bytes(unsigned dimension) {
  switch (dimension) {
    case DIM_DST_PORT:
    case DIM_SRC_PORT:
    case DIM_BOUND_VLAN:
    case DIM_VLAN:
    case DIM_INNER_VLAN:
    case DIM_ETHERTYPE:
    case DIM_FLOW_LOWER:
    case DIM_LENGTH:
    case DIM_ARP_OPERATION:
    case DIM_IN_PORT:
      return false;
    default:
      return true;
  }
}

std::optional<std::string> add_conditions(const PolicyRule& rule, std::uint32_t index,
                                          const std::vector<PortNames>& ports,
                                          Conditions& conditions) {
  if (std::optional<std::string> problem = remark_problem(rule)) return problem;
  RuleReader reader(index, ports, conditions);
  for (const auto& [field, value] : rule.fields) {
    if (std::optional<std::string> problem = reader.read(field, value)) return problem;
  }
  reader.finish();
  return std::nullopt;
}
