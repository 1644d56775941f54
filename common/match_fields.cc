#include "common/match_fields.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::uint32_t LAST_U8 = 0xff;
constexpr std::uint32_t LAST_U16 = 0xffff;

struct Row {
  std::uint32_t number;
  std::string_view name;
  std::string_view help;
  std::string_view example;
};

constexpr MatchField plain(const Row& row, MatchSyntax syntax) {
  return {row.number, row.name, syntax, 0, 0, {}, row.help, row.example};
}
constexpr MatchField number(const Row& row, std::uint32_t lowest, std::uint32_t highest) {
  return {row.number, row.name, MatchSyntax::NUMBER, lowest, highest, {}, row.help, row.example};
}
constexpr MatchField range(const Row& row, std::uint32_t lowest, std::uint32_t highest) {
  return {row.number, row.name, MatchSyntax::RANGE, lowest, highest, {}, row.help, row.example};
}
constexpr MatchField word(const Row& row, std::string_view words) {
  return {row.number, row.name, MatchSyntax::WORD, 0, 0, words, row.help, row.example};
}

using enum MatchSyntax;

// The numbers are what stands in stored configurations: one that was given out
// keeps its meaning, a new field takes a reserved one.
// clang-format off
constexpr std::array FIELDS{
    plain({0, "src-mac", "source MAC address", "00:1b:21:3c:4d:5e"}, MAC),
    plain({1, "dst-mac", "destination MAC address", "01:00:5e:00:00:00/ff:ff:ff:80:00:00"}, MAC),
    plain({2, "ethertype", "EtherType behind all VLAN tags", "0x86dd"}, HEX),
    number({3, "vlan", "VLAN id of the outer tag", "100"}, FIRST_VLAN_ID, LAST_VLAN_ID),
    number({4, "dot1p", "802.1p priority of the outer tag", "5"}, 0, 7),
    number({5, "inner-vlan", "VLAN id of the inner tag", "2000"}, FIRST_VLAN_ID, LAST_VLAN_ID),
    number({6, "inner-dot1p", "802.1p priority of the inner tag", "0"}, 0, 7),
    plain({7, "src-ip", "source IPv4 address", "10.1.0.0/16"}, IPV4_PREFIX),
    plain({8, "dst-ip", "destination IPv4 address", "192.0.2.7/32"}, IPV4_PREFIX),
    plain({9, "src-ip6", "source IPv6 address", "2001:db8::/32"}, IPV6_PREFIX),
    plain({10, "dst-ip6", "destination IPv6 address", "2001:db8::1/128"}, IPV6_PREFIX),
    number({11, "protocol", "IPv4 protocol or last IPv6 next header", "6"}, 0, LAST_U8),
    range({12, "src-port", "TCP, UDP or SCTP source port", "1024-65535"}, 0, LAST_U16),
    range({13, "dst-port", "TCP, UDP or SCTP destination port", "443"}, 0, LAST_U16),
    plain({14, "tcp-flags", "bytes 13 and 14 of the TCP header; FIN is 0x0001", "0x0002/0x0012"}, BITS),
    range({15, "icmp-type", "ICMP type", "8"}, 0, LAST_U8),
    range({16, "icmp-code", "ICMP code", "0-1"}, 0, LAST_U8),
    range({17, "icmp6-type", "ICMPv6 type", "133-137"}, 0, LAST_U8),
    range({18, "icmp6-code", "ICMPv6 code", "0"}, 0, LAST_U8),
    number({19, "igmp-type", "IGMP type", "22"}, 0, LAST_U8),
    number({20, "dscp", "differentiated services code point, IPv4 and IPv6", "46"}, 0, MAX_DSCP),
    number({21, "precedence", "upper three bits of the IPv4 type of service", "6"}, 0, 7),
    number({22, "tos", "the four bits below the precedence", "8"}, 0, 15),
    number({23, "ecn", "explicit congestion notification, IPv4 and IPv6", "3"}, 0, 3),
    word({24, "fragment", "place within a fragmented packet", "not-first"}, "no|any|first|not-first"),
    range({25, "ttl", "IPv4 time to live or IPv6 hop limit", "0-1"}, 0, LAST_U8),
    word({26, "ip-options", "IPv4 options or IPv6 extension headers", "present"}, "present|absent"),
    number({27, "flow-label", "IPv6 flow label", "74565"}, 0, 0xfffff),
    range({28, "packet-length", "length of the whole IP packet", "1501-65535"}, 0, LAST_U16),
    number({29, "arp-operation", "ARP operation", "1"}, 0, LAST_U16),
    plain({30, "in-ports", "ports or aggregates the packet came in by", "eth-0/3/1,lag1"}, INTERFACES),
    plain({31, "out-ports", "ports or aggregates the packet leaves by", "eth-0/4/12"}, INTERFACES),
    plain({32, "time-range", "name of the time range in which the rule holds", "office-hours"}, NAME),
};
// clang-format on

static_assert(std::is_sorted(FIELDS.begin(), FIELDS.end(),
                             [](const MatchField& a, const MatchField& b) {
                               return a.number < b.number;
                             }) &&
              FIELDS.back().number <= LAST_MATCH_FIELD);

// Of large configurations each word and each value asks which field it is: by its
// number a field stands at a place of its own, by its name among those as long.
constexpr auto BY_NUMBER = [] {
  std::array<const MatchField*, LAST_MATCH_FIELD + 1> fields{};
  for (const MatchField& field : FIELDS) fields[field.number] = &field;
  return fields;
}();

constexpr auto BY_LENGTH = [] {
  std::array<const MatchField*, FIELDS.size()> fields{};
  std::transform(FIELDS.begin(), FIELDS.end(), fields.begin(),
                 [](const MatchField& field) { return &field; });
  std::sort(fields.begin(), fields.end(), [](const MatchField* a, const MatchField* b) {
    return a->name.size() < b->name.size();
  });
  return fields;
}();
constexpr std::size_t LONGEST_NAME = BY_LENGTH.back()->name.size();

// Where in BY_LENGTH the names of a length begin.
constexpr auto BEGIN_OF_LENGTH = [] {
  std::array<std::size_t, LONGEST_NAME + 2> begins{};
  for (const MatchField* field : BY_LENGTH) ++begins[field->name.size() + 1];
  for (std::size_t i = 1; i < begins.size(); ++i) begins[i] += begins[i - 1];
  return begins;
}();

std::string bounds(const MatchField& field) {
  return std::to_string(field.lowest) + ".." + std::to_string(field.highest);
}

}  // namespace

std::span<const MatchField> match_fields() {
  return FIELDS;
}

const MatchField* find_match_field(std::string_view name) {
  if (name.size() > LONGEST_NAME) return nullptr;
  for (std::size_t i = BEGIN_OF_LENGTH[name.size()]; i < BEGIN_OF_LENGTH[name.size() + 1]; ++i) {
    if (BY_LENGTH[i]->name == name) return BY_LENGTH[i];
  }
  return nullptr;
}

const MatchField* find_match_field(std::uint32_t number) {
  return number < BY_NUMBER.size() ? BY_NUMBER[number] : nullptr;
}

std::string match_value_syntax(const MatchField& field) {
  switch (field.syntax) {
    case MAC:
      return "ADDRESS or ADDRESS/MASK";
    case IPV4_PREFIX:
    case IPV6_PREFIX:
      return "ADDRESS/LENGTH";
    case NUMBER:
      return bounds(field);
    case RANGE:
      return "LOW or LOW-HIGH, " + bounds(field);
    case HEX:
      return "0x0000..0xffff";
    case BITS:
      return "0xVALUE/0xMASK";
    case WORD: {
      std::string words(field.words);
      for (std::size_t at = 0; (at = words.find('|', at)) != std::string::npos; at += 2) {
        words.replace(at, 1, ", ");
      }
      return words;
    }
    case NAME:
      return "NAME";
    case INTERFACES:
      return "INTERFACE,...";
  }
  return {};
}
