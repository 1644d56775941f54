#include "tests/unit/linuxcard/crafted_frames.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "tools/classbench/classbench_rule.h"

namespace {

std::uint32_t pick(Random& random, std::uint32_t below) {
  return static_cast<std::uint32_t>(random() % below);
}
bool one_in(Random& random, std::uint32_t chances) {
  return pick(random, chances) == 0;
}

using Bytes = std::vector<std::uint8_t>;

void add16(Bytes& bytes, std::uint32_t value) {
  bytes.push_back(static_cast<std::uint8_t>(value >> 8));
  bytes.push_back(static_cast<std::uint8_t>(value));
}

void add_transport(Bytes& frame, const FrameParts& parts) {
  switch (parts.protocol) {
    case 6:
    case 17:
    case 132:
      add16(frame, parts.src_port);
      add16(frame, parts.dst_port);
      if (parts.protocol == 6) {
        frame.resize(frame.size() + 8);
        add16(frame, parts.tcp_flags);
      }
      break;
    case 1:
    case 2:
    case 58:
      frame.push_back(parts.icmp_type);
      frame.push_back(parts.icmp_code);
      break;
    default:
      break;
  }
  frame.resize(frame.size() + parts.payload);
}

void add_sum(Bytes& frame, std::size_t header, std::size_t size) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < size; i += 2) {
    sum += static_cast<std::uint32_t>(frame[header + i] << 8 | frame[header + i + 1]);
  }
  while (sum > 0xffff) sum = (sum & 0xffff) + (sum >> 16);
  frame[header + 10] = static_cast<std::uint8_t>(~sum >> 8);
  frame[header + 11] = static_cast<std::uint8_t>(~sum);
}

void add_ipv4(Bytes& frame, const FrameParts& parts) {
  const std::size_t at = frame.size();
  frame.push_back(static_cast<std::uint8_t>(0x40 | (5 + parts.options / 4)));
  frame.push_back(parts.traffic_class);
  add16(frame, 0);
  add16(frame, 0x1234);
  add16(frame, parts.fragment);
  frame.push_back(parts.ttl);
  frame.push_back(parts.protocol);
  add16(frame, 0);
  frame.insert(frame.end(), parts.src.begin(), parts.src.begin() + 4);
  frame.insert(frame.end(), parts.dst.begin(), parts.dst.begin() + 4);
  frame.resize(frame.size() + parts.options, 1);
  const std::size_t header = frame.size() - at;
  add_transport(frame, parts);
  const std::size_t length =
      parts.length < 0 ? frame.size() - at : static_cast<std::size_t>(parts.length);
  frame[at + 2] = static_cast<std::uint8_t>(length >> 8);
  frame[at + 3] = static_cast<std::uint8_t>(length);
  add_sum(frame, at, header);
}

void add_ipv6(Bytes& frame, const FrameParts& parts) {
  const std::size_t at = frame.size();
  add16(frame,
        0x6000U | static_cast<std::uint32_t>(parts.traffic_class << 4) | parts.flow_label >> 16);
  add16(frame, parts.flow_label & 0xffff);
  add16(frame, 0);
  frame.push_back(parts.extensions.empty() ? parts.protocol : parts.extensions[0]);
  frame.push_back(parts.ttl);
  frame.insert(frame.end(), parts.src.begin(), parts.src.end());
  frame.insert(frame.end(), parts.dst.begin(), parts.dst.end());
  for (std::size_t i = 0; i < parts.extensions.size(); ++i) {
    const bool is_last = i + 1 == parts.extensions.size();
    frame.push_back(is_last ? parts.protocol : parts.extensions[i + 1]);
    if (parts.extensions[i] == 44) {
      frame.push_back(0);
      add16(frame, static_cast<std::uint32_t>((parts.fragment & 0x1fff) << 3) |
                       (parts.fragment >> 13 & 1));
      frame.resize(frame.size() + 4);
    } else {
      const std::uint8_t more = i % 2 == 1 ? 1 : 0;
      frame.push_back(more);
      frame.resize(frame.size() + 6 + (parts.extensions[i] == 51 ? 4U : 8U) * more);
    }
  }
  add_transport(frame, parts);
  const std::size_t length =
      parts.length < 0 ? frame.size() - at - 40 : static_cast<std::size_t>(parts.length);
  frame[at + 4] = static_cast<std::uint8_t>(length >> 8);
  frame[at + 5] = static_cast<std::uint8_t>(length);
}

// A value of "LOW-HIGH" or "NUMBER": an edge mostly, sometimes beside it or between.
std::uint32_t value_near(const std::string& text, Random& random) {
  const std::size_t dash = text.find('-');
  const auto low = static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 0));
  const std::uint32_t high =
      dash == std::string::npos
          ? low
          : static_cast<std::uint32_t>(std::strtoul(text.c_str() + dash + 1, nullptr, 0));
  switch (pick(random, 16)) {
    case 0:
      return low - 1;
    case 1:
      return high + 1;
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
      return high;
    case 7:
    case 8:
      return low + pick(random, high - low + 1);
    default:
      return low;
  }
}

// Sets what of the prefix is given; the bits behind it at random, sometimes all or none.
void take_prefix(Bytes& address, int family, const std::string& text, Random& random) {
  const std::size_t slash = text.find('/');
  Bytes prefix(16);
  inet_pton(family, text.substr(0, slash).c_str(), prefix.data());
  const std::uint32_t length =
      static_cast<std::uint32_t>(std::strtoul(text.c_str() + slash + 1, nullptr, 10));
  const std::uint32_t kind = pick(random, 3);
  for (std::uint32_t bit = 0; bit < (family == AF_INET ? 32U : 128U); ++bit) {
    const auto mask = static_cast<std::uint8_t>(0x80 >> bit % 8);
    bool is_set = (prefix[bit / 8] & mask) != 0;
    if (bit >= length) is_set = kind == 0 ? one_in(random, 2) : kind == 1;
    if (bit + 1 == length && one_in(random, 16)) is_set = !is_set;
    address[bit / 8] =
        static_cast<std::uint8_t>(is_set ? address[bit / 8] | mask : address[bit / 8] & ~mask);
  }
}

void take_mac(Bytes& mac, const std::string& text, Random& random) {
  for (std::size_t i = 0; i < 6; ++i) {
    const auto value = static_cast<std::uint8_t>(std::strtoul(text.c_str() + 3 * i, nullptr, 16));
    std::uint8_t mask = 0xff;
    if (text.size() > 17) {
      mask = static_cast<std::uint8_t>(std::strtoul(text.c_str() + 18 + 3 * i, nullptr, 16));
    }
    mac[i] =
        static_cast<std::uint8_t>(value | (random() & ~static_cast<std::uint64_t>(mask) & 0xff));
    if (one_in(random, 64)) mac[i] ^= 1;
  }
}

void set_tag_bits(FrameParts& parts, std::size_t which, std::uint32_t value, std::uint32_t shift,
                  std::uint32_t mask) {
  while (parts.tags.size() <= which) parts.tags.emplace_back(0x8100, 1);
  std::uint16_t& tag = parts.tags[which].second;
  tag = static_cast<std::uint16_t>((tag & ~(mask << shift)) | (value & mask) << shift);
}

void take_field(FrameParts& parts, std::uint32_t field, const std::string& text, Random& random) {
  const auto near = [&] { return value_near(text, random); };
  const auto byte = [&] { return static_cast<std::uint8_t>(near()); };
  const auto transport = [&](std::uint8_t first, std::uint8_t second) {
    if (parts.protocol != first && parts.protocol != second) parts.protocol = first;
  };
  switch (field) {
    case 0:
      return take_mac(parts.src_mac, text, random);
    case 1:
      return take_mac(parts.dst_mac, text, random);
    case 2:
      parts.type = static_cast<std::uint16_t>(near());
      return;
    case 3:
      return set_tag_bits(parts, 0, near(), 0, 0xfff);
    case 4:
      return set_tag_bits(parts, 0, near(), 13, 7);
    case 5:
      return set_tag_bits(parts, 1, near(), 0, 0xfff);
    case 6:
      return set_tag_bits(parts, 1, near(), 13, 7);
    case 7:
    case 8:
      parts.type = 0x0800;
      return take_prefix(field == 7 ? parts.src : parts.dst, AF_INET, text, random);
    case 9:
    case 10:
      parts.type = 0x86dd;
      return take_prefix(field == 9 ? parts.src : parts.dst, AF_INET6, text, random);
    case 11:
      parts.protocol = byte();
      return;
    case 12:
      transport(6, 17);
      parts.src_port = static_cast<std::uint16_t>(near());
      return;
    case 13:
      transport(17, 6);
      parts.dst_port = static_cast<std::uint16_t>(near());
      return;
    case 14: {
      const auto value = static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 0));
      const auto mask = static_cast<std::uint32_t>(std::strtoul(text.c_str() + 7, nullptr, 0));
      parts.protocol = 6;
      parts.tcp_flags = static_cast<std::uint16_t>(value | (random() & ~mask & 0xffff));
      if (one_in(random, 16)) parts.tcp_flags ^= static_cast<std::uint16_t>(1U << pick(random, 16));
      return;
    }
    case 15:
    case 17:
    case 19:
      parts.protocol = field == 15 ? 1 : field == 17 ? 58 : 2;
      parts.icmp_type = byte();
      return;
    case 16:
    case 18:
      parts.protocol = field == 16 ? 1 : 58;
      parts.icmp_code = byte();
      return;
    case 20:
      parts.traffic_class = static_cast<std::uint8_t>(near() << 2 | (parts.traffic_class & 3));
      return;
    case 21:
      parts.traffic_class = static_cast<std::uint8_t>(near() << 5 | (parts.traffic_class & 31));
      return;
    case 22:
      parts.traffic_class =
          static_cast<std::uint8_t>((near() & 15) << 1 | (parts.traffic_class & 0xe1));
      return;
    case 23:
      parts.traffic_class = static_cast<std::uint8_t>((near() & 3) | (parts.traffic_class & 0xfc));
      return;
    case 24:
      parts.fragment = text == "no"      ? 0x4000
                       : text == "first" ? 0x2000
                       : text == "any"   ? (one_in(random, 2) ? 0x2000 : 0x2005)
                                         : 0x0001;
      if (parts.type == 0x86dd && text != "no") parts.extensions.push_back(44);
      return;
    case 25:
      parts.ttl = byte();
      return;
    case 26:
      if (text == "present") {
        parts.options = 4 * (1 + pick(random, 10));
        parts.extensions.push_back(0);
      }
      return;
    case 27:
      parts.type = 0x86dd;
      parts.flow_label = near() & 0xfffff;
      return;
    case 28:
      parts.length = static_cast<int>(near() & 0xffff);
      if (parts.type == 0x86dd) parts.length = std::max(0, parts.length - 40);
      return;
    case 29:
      parts.type = 0x0806;
      parts.arp_operation = static_cast<std::uint16_t>(near());
      return;
    default:
      return;
  }
}

// What no rule asks for: it comes anyway.
void disturb(FrameParts& parts, Random& random) {
  if (one_in(random, 8)) {
    for (std::uint32_t i = pick(random, 6); i > 0; --i) {
      parts.tags.emplace_back(one_in(random, 3) ? 0x88a8 : 0x8100, random() & 0xffff);
    }
  }
  if (one_in(random, 10)) parts.options = 4 * pick(random, 11);
  if (one_in(random, 10)) parts.fragment = static_cast<std::uint16_t>(random());
  if (one_in(random, 4)) {
    static const Bytes kinds{0, 43, 44, 51, 60, 135, 139, 140};
    for (std::uint32_t i = pick(random, 11); i > 0; --i) {
      parts.extensions.push_back(kinds[pick(random, 8)]);
    }
  }
  if (one_in(random, 24)) parts.length = static_cast<int>(pick(random, 80));
  if (one_in(random, 8)) parts.payload = pick(random, 3);
  if (one_in(random, 16)) parts.protocol = static_cast<std::uint8_t>(random());
  if (one_in(random, 4)) parts.traffic_class = static_cast<std::uint8_t>(random());
}

}  // namespace

Bytes frame_of(const FrameParts& parts) {
  Bytes frame = parts.dst_mac;
  frame.insert(frame.end(), parts.src_mac.begin(), parts.src_mac.end());
  for (const auto& [type, tag] : parts.tags) {
    add16(frame, type);
    add16(frame, tag);
  }
  add16(frame, parts.type);
  if (parts.type == 0x0800) add_ipv4(frame, parts);
  if (parts.type == 0x86dd) add_ipv6(frame, parts);
  if (parts.type == 0x0806) {
    frame.resize(frame.size() + 6);
    add16(frame, parts.arp_operation);
    frame.resize(frame.size() + 20);
  }
  return frame;
}

Bytes frame_for(const PolicyRule& rule, Random& random) {
  FrameParts parts;
  if (one_in(random, 3)) parts.type = 0x86dd;
  if (one_in(random, 3)) parts.protocol = 6;
  for (const auto& [field, value] : rule.fields) take_field(parts, field, value, random);
  if (one_in(random, 2)) disturb(parts, random);
  Bytes frame = frame_of(parts);
  // Cut off anywhere, or bytes that mean nothing.
  if (one_in(random, 10))
    frame.resize(14 + pick(random, static_cast<std::uint32_t>(frame.size() - 13)));
  if (one_in(random, 24))
    frame[12 + random() % (frame.size() - 12)] = static_cast<std::uint8_t>(random());
  if (frame.size() < 14) frame.resize(14);
  // The kernel's test call refuses packets of IP without a whole header, but not behind a
  // tag.
  const int type = frame[12] << 8 | frame[13];
  const std::size_t needed = type == 0x0800 ? 20 : type == 0x86dd ? 40 : 0;
  if (frame.size() < 14 + needed) {
    const Bytes tag{0x81, 0x00, 0x20, 0x05};
    frame.insert(frame.begin() + 12, tag.begin(), tag.end());
  }
  return frame;
}

RuleList random_rules(std::size_t count, Random& random) {
  const auto number = [&](std::uint32_t low, std::uint32_t high) {
    return std::to_string(low + pick(random, high - low + 1));
  };
  const auto range = [&](std::uint32_t highest) {
    std::uint32_t low = pick(random, highest + 1);
    std::uint32_t high = pick(random, highest + 1);
    if (one_in(random, 4)) low = 0;
    if (one_in(random, 4)) high = highest;
    if (low > high) std::swap(low, high);
    return low == high ? std::to_string(low) : std::to_string(low) + "-" + std::to_string(high);
  };
  const auto hex = [](std::uint32_t value) {
    char text[8];
    (void)std::snprintf(text, sizeof text, "0x%04x", value & 0xffffU);
    return std::string(text);
  };
  const auto prefix = [&](int family) {
    const std::uint32_t bits = family == AF_INET ? 32 : 128;
    const std::uint32_t length = one_in(random, 3) ? bits : pick(random, bits + 1);
    Bytes address(16);
    for (std::uint8_t& byte : address) byte = static_cast<std::uint8_t>(pick(random, 3) * 85);
    for (std::uint32_t bit = length; bit < 128; ++bit) {
      address[bit / 8] = static_cast<std::uint8_t>(address[bit / 8] & ~(0x80 >> bit % 8));
    }
    char text[64];
    inet_ntop(family, address.data(), text, sizeof text);
    return std::string(text) + "/" + std::to_string(length);
  };
  const auto mac = [&] {
    static const std::vector<std::string> values{"02:00:00:00:00:01",
                                                 "02:00:00:00:00:02",
                                                 "01:00:5e:00:00:00/ff:ff:ff:80:00:00",
                                                 "02:00:00:00:00:00/ff:00:00:00:00:00",
                                                 "00:00:00:00:00:01/00:00:00:00:00:01",
                                                 "00:00:00:00:00:00/00:00:00:00:00:00"};
    return values[pick(random, static_cast<std::uint32_t>(values.size()))];
  };
  const auto word = [&](const std::vector<std::string>& words) {
    return words[pick(random, static_cast<std::uint32_t>(words.size()))];
  };
  RuleList rules;
  for (std::uint32_t i = 0; i < count; ++i) {
    PolicyRule rule;
    rule.key = {7, i};
    const std::uint32_t kind = pick(random, 6);
    rule.action = kind < 3 ? RuleAction::DENY : RuleAction::PERMIT;
    if (kind == 4) rule.remark = Remark{RemarkKind::DSCP, pick(random, 64)};
    if (kind == 5) rule.remark = Remark{RemarkKind::PRIORITY, pick(random, 8)};
    const std::uint32_t family = pick(random, 8);
    for (std::uint32_t fields = 1 + pick(random, 4); fields > 0; --fields) {
      std::uint32_t field = pick(random, 30);
      // Both families in one rule match nothing; seldom is enough.
      if (family < 4 && (field == 9 || field == 10)) field -= 2;
      if (family >= 4 && (field == 7 || field == 8)) field += 2;
      std::string& value = rule.fields[field];
      switch (field) {
        case 0:
        case 1:
          value = mac();
          break;
        case 2:
          value = word({"0x0800", "0x86dd", "0x0806", "0x88f7"});
          break;
        case 3:
        case 5:
          value = number(1, 3);
          break;
        case 4:
        case 6:
        case 21:
          value = number(0, 7);
          break;
        case 7:
        case 8:
          value = prefix(AF_INET);
          break;
        case 9:
        case 10:
          value = prefix(AF_INET6);
          break;
        case 11:
          value = word({"6", "17", "1", "58", "2", "132", "50", "59"});
          break;
        case 12:
        case 13:
        case 28:
          value = range(one_in(random, 2) ? 300 : 65535);
          break;
        case 14: {
          const auto mask = static_cast<std::uint32_t>(random() & random() & 0xffff);
          value = hex(static_cast<std::uint32_t>(random()) & mask) + "/" + hex(mask);
          break;
        }
        case 15:
        case 16:
        case 17:
        case 18:
        case 25:
          value = range(255);
          break;
        case 19:
          value = word({"17", "22"});
          break;
        case 20:
          value = number(0, 63);
          break;
        case 22:
          value = number(0, 15);
          break;
        case 23:
          value = number(0, 3);
          break;
        case 24:
          value = word({"no", "any", "first", "not-first"});
          break;
        case 26:
          value = word({"present", "absent"});
          break;
        case 27:
          value = word({"0", "1", "74565", "1048575"});
          break;
        default:
          value = number(0, 3);
          break;
      }
    }
    rules.push_back(std::move(rule));
  }
  return rules;
}

RuleList classbench_rules(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  RuleList rules;
  for (std::string line; std::getline(file, line);) {
    PolicyRule rule;
    rule.key = {1, static_cast<std::uint32_t>(rules.size())};
    rule.action = rules.size() % 2 == 0 ? RuleAction::DENY : RuleAction::PERMIT;
    for (const MatchValue& value : match_values(parse_classbench_line(line))) {
      rule.fields[value.field->number] = value.text;
    }
    rules.push_back(std::move(rule));
  }
  return rules;
}
