// Frames and lists of rules made from a seed, such that frames hit the rules and the
// edges of what they ask for.
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "linuxcard/classifier/policy.h"

using Random = std::mt19937_64;

// What a frame is made from.
struct FrameParts {
  std::vector<std::uint8_t> dst_mac = std::vector<std::uint8_t>(6, 2);
  std::vector<std::uint8_t> src_mac = std::vector<std::uint8_t>(6, 4);
  std::vector<std::pair<std::uint16_t, std::uint16_t>> tags;  // type and tag
  std::uint16_t type = 0x0800;
  std::vector<std::uint8_t> src = std::vector<std::uint8_t>(16, 10);  // the first four for IPv4
  std::vector<std::uint8_t> dst = std::vector<std::uint8_t>(16, 11);
  std::uint8_t traffic_class = 0;
  std::uint32_t flow_label = 0;
  std::uint8_t ttl = 64;
  std::uint16_t fragment = 0;  // as in the header: flags and offset
  std::uint8_t protocol = 17;
  std::size_t options = 0;               // of IPv4, bytes
  std::vector<std::uint8_t> extensions;  // of IPv6, next header numbers
  int length = -1;                       // what the header says; -1: what is right
  std::uint16_t src_port = 1;
  std::uint16_t dst_port = 2;
  std::uint16_t tcp_flags = 0x5002;
  std::uint8_t icmp_type = 8;
  std::uint8_t icmp_code = 0;
  std::uint16_t arp_operation = 1;
  std::size_t payload = 20;
};

[[nodiscard]] std::vector<std::uint8_t> frame_of(const FrameParts& parts);

// A frame that is likely to match the rule, or to miss it by one.
[[nodiscard]] std::vector<std::uint8_t> frame_for(const PolicyRule& rule, Random& random);

// Rules of all fields with values from small sets, so that they overlap; each denies,
// permits or remarks.
[[nodiscard]] RuleList random_rules(std::size_t count, Random& random);

// The rules of a ClassBench file, denying and permitting in turn.
[[nodiscard]] RuleList classbench_rules(const std::string& path);
