#include "tests/unit/linuxcard/first_match_model.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sstream>
#include <utility>

namespace model {

namespace {

constexpr std::size_t FIELDS = 33;

enum Number : std::uint32_t {
  SRC_MAC,
  DST_MAC,
  ETHERTYPE,
  VLAN,
  DOT1P,
  INNER_VLAN,
  INNER_DOT1P,
  SRC_IP,
  DST_IP,
  SRC_IP6,
  DST_IP6,
  PROTOCOL,
  SRC_PORT,
  DST_PORT,
  TCP_FLAGS,
  ICMP_TYPE,
  ICMP_CODE,
  ICMP6_TYPE,
  ICMP6_CODE,
  IGMP_TYPE,
  DSCP,
  PRECEDENCE,
  TOS,
  ECN,
  FRAGMENT,
  TTL,
  OPTIONS,
  FLOW_LABEL,
  PACKET_LENGTH,
  ARP_OPERATION,
  IN_PORTS,
  OUT_PORTS,
  TIME_RANGE,
};

constexpr std::array V4_ONLY{SRC_IP, DST_IP, PRECEDENCE, TOS};
constexpr std::array V6_ONLY{SRC_IP6, DST_IP6, FLOW_LABEL};
constexpr std::array BOTH{PROTOCOL, SRC_PORT, DST_PORT, TCP_FLAGS, DSCP,
                          ECN,      FRAGMENT, TTL,      OPTIONS,   PACKET_LENGTH};
constexpr std::array V4_TRANSPORT{ICMP_TYPE, ICMP_CODE, IGMP_TYPE};
constexpr std::array V6_TRANSPORT{ICMP6_TYPE, ICMP6_CODE};

class Reader {
 public:
  explicit Reader(const Frame& frame) : _frame(frame), _fields(FIELDS) {}

  Fields read() {
    if (_frame.size() < 14) {
      for (std::uint32_t f = 0; f < IN_PORTS; ++f) lose(f);
      return _fields;
    }
    put(DST_MAC, {_frame.begin(), _frame.begin() + 6});
    put(SRC_MAC, {_frame.begin() + 6, _frame.begin() + 12});
    std::size_t at = 12;
    int tags = 0;
    while (word(at) == 0x8100 || word(at) == 0x88a8) {
      const bool is_whole = _frame.size() >= at + 6;
      if (!is_whole || tags == 4) {
        if (!is_whole && tags == 0) lose(VLAN), lose(DOT1P);
        if (!is_whole && tags <= 1) lose(INNER_VLAN), lose(INNER_DOT1P);
        lose(ETHERTYPE);
        lose(ARP_OPERATION);
        lose_all(V4_ONLY);
        lose_all(V6_ONLY);
        lose_all(BOTH);
        lose_all(V4_TRANSPORT);
        lose_all(V6_TRANSPORT);
        return _fields;
      }
      const std::uint32_t tag = word(at + 2);
      if (tags == 0) number(VLAN, tag & 0xfff), number(DOT1P, tag >> 13);
      if (tags == 1) number(INNER_VLAN, tag & 0xfff), number(INNER_DOT1P, tag >> 13);
      ++tags;
      at += 4;
    }
    number(ETHERTYPE, word(at));
    const std::uint32_t type = word(at);
    at += 2;
    if (type == 0x0806) {
      if (_frame.size() >= at + 8) {
        number(ARP_OPERATION, word(at + 6));
      } else {
        lose(ARP_OPERATION);
      }
    }
    if (type == 0x0800) ipv4(at);
    if (type == 0x86dd) ipv6(at);
    return _fields;
  }

 private:
  void ipv4(std::size_t at) {
    const std::size_t left = _frame.size() - at;
    const std::size_t header = left >= 1 ? (_frame[at] & 15U) * 4U : 0;
    std::size_t total = left >= 4 ? word(at + 2) : 0;
    if (total == 0) total = left;
    if (left < 20 || _frame[at] >> 4 != 4 || header < 20 || header > left || header > total) {
      lose_all(V4_ONLY);
      lose_all(BOTH);
      lose_all(V4_TRANSPORT);
      return;
    }
    const std::uint32_t service = _frame[at + 1];
    number(PRECEDENCE, service >> 5);
    number(TOS, service >> 1 & 15);
    number(DSCP, service >> 2);
    number(ECN, service & 3);
    number(TTL, _frame[at + 8]);
    number(PACKET_LENGTH, static_cast<std::uint32_t>(std::min<std::size_t>(total, 65535)));
    number(OPTIONS, header > 20 ? 1 : 0);
    put(SRC_IP, {_frame.begin() + long(at) + 12, _frame.begin() + long(at) + 16});
    put(DST_IP, {_frame.begin() + long(at) + 16, _frame.begin() + long(at) + 20});
    const std::uint32_t place = word(at + 6);
    const bool is_later = (place & 0x1fff) != 0;
    number(FRAGMENT, is_later ? 2 : (place & 0x2000) != 0 ? 1 : 0);
    number(PROTOCOL, _frame[at + 9]);
    if (!is_later) transport(_frame[at + 9], at + header, std::min(_frame.size(), at + total), 4);
  }

  void ipv6(std::size_t at) {
    const std::size_t left = _frame.size() - at;
    if (left < 40 || _frame[at] >> 4 != 6) {
      lose_all(V6_ONLY);
      lose_all(BOTH);
      lose_all(V6_TRANSPORT);
      return;
    }
    const std::uint32_t first = word(at);
    number(DSCP, first >> 6 & 63);
    number(ECN, first >> 4 & 3);
    number(FLOW_LABEL, (first & 15) << 16 | word(at + 2));
    number(TTL, _frame[at + 7]);
    const std::size_t payload = word(at + 4);
    number(PACKET_LENGTH, static_cast<std::uint32_t>(
                              std::min<std::size_t>(payload == 0 ? left : payload + 40, 65535)));
    put(SRC_IP6, {_frame.begin() + long(at) + 8, _frame.begin() + long(at) + 24});
    put(DST_IP6, {_frame.begin() + long(at) + 24, _frame.begin() + long(at) + 40});
    const std::size_t end =
        payload == 0 ? _frame.size() : std::min(_frame.size(), at + 40 + payload);
    static const std::set<std::uint8_t> extensions{0, 43, 44, 51, 60, 135, 139, 140};
    std::uint8_t next = _frame[at + 6];
    number(OPTIONS, extensions.contains(next) ? 1 : 0);
    std::size_t here = at + 40;
    std::uint32_t fragment = 0;
    bool saw_fragment = false;
    for (int count = 0; extensions.contains(next); ++count) {
      const bool is_cut = here + 8 > end;
      if (is_cut || count == 8 || fragment == 2) {
        if (saw_fragment) {
          number(FRAGMENT, fragment);
        } else {
          lose(FRAGMENT);
        }
        for (const Number f : {PROTOCOL, SRC_PORT, DST_PORT, TCP_FLAGS}) lose(f);
        lose_all(V6_TRANSPORT);
        return;
      }
      std::size_t length = 8 + 8U * _frame[here + 1];
      if (next == 51) length = 8 + 4U * _frame[here + 1];
      if (next == 44) {
        length = 8;
        const std::uint32_t place = word(here + 2);
        const bool is_part = place >> 3 != 0 || (place & 1) != 0;
        if (is_part && !saw_fragment) fragment = place >> 3 != 0 ? 2 : 1;
        saw_fragment = true;
      }
      next = _frame[here];
      here += length;
    }
    number(FRAGMENT, fragment);
    number(PROTOCOL, next);
    if (fragment != 2) transport(next, here, end, 6);
  }

  void transport(std::uint8_t protocol, std::size_t at, std::size_t end, int family) {
    const std::size_t room = end > at ? end - at : 0;
    const auto byte_or_lose = [&](Number field, std::size_t where, std::size_t needed) {
      if (room < needed) return lose(field);
      number(field, _frame[at + where]);
    };
    if (protocol == 6 || protocol == 17 || protocol == 132) {
      if (room >= 4) {
        number(SRC_PORT, word(at));
        number(DST_PORT, word(at + 2));
      } else {
        lose(SRC_PORT);
        lose(DST_PORT);
      }
      if (protocol == 6) {
        if (room >= 14) {
          number(TCP_FLAGS, word(at + 12));
        } else {
          lose(TCP_FLAGS);
        }
      }
    } else if (family == 4 && protocol == 1) {
      byte_or_lose(ICMP_TYPE, 0, 2);
      byte_or_lose(ICMP_CODE, 1, 2);
    } else if (family == 6 && protocol == 58) {
      byte_or_lose(ICMP6_TYPE, 0, 2);
      byte_or_lose(ICMP6_CODE, 1, 2);
    } else if (family == 4 && protocol == 2) {
      byte_or_lose(IGMP_TYPE, 0, 1);
    }
  }

  std::uint32_t word(std::size_t at) const {
    if (at + 2 > _frame.size()) return 0;
    return static_cast<std::uint32_t>(_frame[at] << 8 | _frame[at + 1]);
  }
  void put(std::uint32_t field, std::vector<std::uint8_t> bytes) {
    _fields[field] = {Is::THERE, std::move(bytes)};
  }
  void number(std::uint32_t field, std::uint32_t value) {
    put(field, {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
                static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)});
  }
  void lose(std::uint32_t field) { _fields[field].is = Is::UNREADABLE; }
  template <typename Numbers>
  void lose_all(const Numbers& numbers) {
    for (const std::uint32_t field : numbers) lose(field);
  }

  const Frame& _frame;
  Fields _fields;
};

std::uint32_t value_of(const Field& field) {
  std::uint32_t value = 0;
  for (const std::uint8_t byte : field.bytes) value = value << 8 | byte;
  return value;
}

std::uint32_t parse_number(const std::string& text) {
  return static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 0));
}

std::pair<std::string, std::string> halves(const std::string& text, char separator) {
  const std::size_t at = text.find(separator);
  if (at == std::string::npos) return {text, {}};
  return {text.substr(0, at), text.substr(at + 1)};
}

std::function<bool(const Field&)> number_test(const std::string& text) {
  const auto [low, high] = halves(text, '-');
  const std::uint32_t from = parse_number(low);
  const std::uint32_t to = high.empty() ? from : parse_number(high);
  return [from, to](const Field& field) {
    const std::uint32_t value = value_of(field);
    return from <= value && value <= to;
  };
}

bool agree(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b,
           const std::vector<std::uint8_t>& mask) {
  for (std::size_t i = 0; i < mask.size(); ++i) {
    if (((a[i] ^ b[i]) & mask[i]) != 0) return false;
  }
  return true;
}

std::function<bool(const Field&)> masked_test(std::vector<std::uint8_t> value,
                                              std::vector<std::uint8_t> mask) {
  return [value = std::move(value), mask = std::move(mask)](const Field& field) {
    return agree(field.bytes, value, mask);
  };
}

std::function<bool(const Field&)> prefix_test(int family, const std::string& text) {
  const auto [address, length] = halves(text, '/');
  std::vector<std::uint8_t> value(family == AF_INET ? 4 : 16);
  inet_pton(family, address.c_str(), value.data());
  std::vector<std::uint8_t> mask(value.size());
  for (std::uint32_t bit = 0; bit < parse_number(length); ++bit) {
    mask[bit / 8] = static_cast<std::uint8_t>(mask[bit / 8] | 0x80 >> bit % 8);
  }
  return masked_test(value, mask);
}

std::vector<std::uint8_t> mac_bytes(const std::string& text) {
  std::vector<std::uint8_t> bytes;
  std::istringstream in(text);
  for (std::string pair; std::getline(in, pair, ':');) {
    bytes.push_back(static_cast<std::uint8_t>(std::strtoul(pair.c_str(), nullptr, 16)));
  }
  return bytes;
}

std::function<bool(const Field&)> test_of(std::uint32_t field, const std::string& text) {
  switch (field) {
    case SRC_MAC:
    case DST_MAC: {
      const auto [address, mask] = halves(text, '/');
      return masked_test(mac_bytes(address), mac_bytes(mask.empty() ? "ff:ff:ff:ff:ff:ff" : mask));
    }
    case SRC_IP:
    case DST_IP:
      return prefix_test(AF_INET, text);
    case SRC_IP6:
    case DST_IP6:
      return prefix_test(AF_INET6, text);
    case TCP_FLAGS: {
      const auto [value, mask] = halves(text, '/');
      return [v = parse_number(value), m = parse_number(mask)](const Field& found) {
        return (value_of(found) & m) == v;
      };
    }
    case FRAGMENT:
      if (text == "no") return number_test("0");
      if (text == "any") return number_test("1-2");
      return number_test(text == "first" ? "1" : "2");
    case OPTIONS:
      return number_test(text == "present" ? "1" : "0");
    default:
      return number_test(text);
  }
}

bool names(const std::string& list, const std::string& name) {
  return !name.empty() && ("," + list + ",").find("," + name + ",") != std::string::npos;
}

void write_dscp(Frame& frame, std::uint32_t dscp) {
  std::size_t at = 12;
  while ((frame[at] == 0x81 && frame[at + 1] == 0) ||
         (frame[at] == 0x88 && frame[at + 1] == 0xa8)) {
    at += 4;
  }
  if (frame[at] == 0x08 && frame[at + 1] == 0x00) {
    at += 2;
    std::uint8_t& service = frame[at + 1];
    const auto wanted = static_cast<std::uint8_t>(dscp << 2 | (service & 3));
    // RFC 1624: the sum changes by what the word changes, wrong sums stay as wrong.
    const std::uint32_t before = static_cast<std::uint32_t>(frame[at] << 8 | service);
    const std::uint32_t after = static_cast<std::uint32_t>(frame[at] << 8 | wanted);
    if (before == after) return;
    std::uint32_t sum = static_cast<std::uint32_t>(frame[at + 10] << 8 | frame[at + 11]);
    sum = (~sum & 0xffff) + (~before & 0xffff) + after;
    while (sum > 0xffff) sum = (sum & 0xffff) + (sum >> 16);
    sum = ~sum & 0xffff;
    service = wanted;
    frame[at + 10] = static_cast<std::uint8_t>(sum >> 8);
    frame[at + 11] = static_cast<std::uint8_t>(sum);
  } else {
    at += 2;
    const std::uint32_t ecn = frame[at + 1] >> 4 & 3;
    const std::uint32_t traffic_class = dscp << 2 | ecn;
    frame[at] = static_cast<std::uint8_t>(0x60 | traffic_class >> 4);
    frame[at + 1] = static_cast<std::uint8_t>((traffic_class & 15) << 4 | (frame[at + 1] & 15));
  }
}

}  // namespace

Fields fields_of(const Frame& frame) {
  return Reader(frame).read();
}

FirstMatch::FirstMatch(const RuleList& rules, std::set<std::string> active_time_ranges,
                       Place place) {
  for (const PolicyRule& rule : rules) {
    Rule made{rule.action, rule.remark, {}, false};
    for (const auto& [field, text] : rule.fields) {
      if (field == TIME_RANGE) {
        made.never = made.never || !active_time_ranges.contains(text);
      } else if (field == IN_PORTS) {
        made.never = made.never || (!names(text, place.port) && !names(text, place.aggregate));
      } else {
        made.tests.push_back({field, test_of(field, text)});
      }
    }
    _rules.push_back(std::move(made));
  }
}

Verdict FirstMatch::decide(const Frame& frame) const {
  const Fields fields = fields_of(frame);
  for (std::size_t i = 0; i < _rules.size(); ++i) {
    const Rule& rule = _rules[i];
    if (rule.never) continue;
    const bool matches = std::all_of(rule.tests.begin(), rule.tests.end(), [&](const Test& test) {
      const Field& field = fields[test.field];
      // What cannot be read may be what a rule forbids.
      if (field.is == Is::UNREADABLE) return rule.action == RuleAction::DENY;
      return field.is == Is::THERE && test.holds(field);
    });
    if (!matches) continue;
    Verdict verdict{i, rule.action == RuleAction::PERMIT, frame};
    if (rule.remark && rule.remark->kind == RemarkKind::DSCP && fields[DSCP].is == Is::THERE) {
      write_dscp(verdict.frame, rule.remark->value);
    }
    if (rule.remark && rule.remark->kind == RemarkKind::PRIORITY && fields[VLAN].is == Is::THERE) {
      verdict.frame[14] =
          static_cast<std::uint8_t>((verdict.frame[14] & 0x1f) | rule.remark->value << 5);
    }
    return verdict;
  }
  return {std::nullopt, true, frame};
}

}  // namespace model
