#include "bench/rule_files.h"

#include <netinet/in.h>

#include <cstdint>
#include <fstream>
#include <optional>
#include <vector>

#include "bench/measure.h"
#include "tools/classbench/classbench_rule.h"

namespace {

using Prefix = ClassbenchRule::Prefix;
using Ports = ClassbenchRule::Ports;

std::vector<std::string> lines_of(const std::string& path) {
  std::ifstream in(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  if (lines.empty()) give_up(path + " has no rules");
  return lines;
}

// The line with the first number of its source address turned on by as many; a
// prefix that leaves some of it open stays.
std::string moved(const std::string& line, std::size_t by) {
  const ClassbenchRule rule = parse_classbench_line(line);
  if (rule.src.length < 8) return line;
  const std::size_t dot = line.find('.');
  const auto first = static_cast<std::size_t>(std::stoul(line.substr(1)));
  return "@" + std::to_string((first + by) % 224) + line.substr(dot);
}

std::string text_of(const Prefix& prefix) {
  return prefix.address.str() + "/" + std::to_string(prefix.length);
}

// Of a rule that has ports at all.
const char* transport_of(const ClassbenchRule& rule) {
  if (rule.protocol == IPPROTO_TCP) return "tcp";
  return rule.protocol == IPPROTO_UDP ? "udp" : nullptr;
}

// As many tables as priorities ask for: no flow may replace another.
constexpr std::size_t FLOWS_OF_TABLE = 10000;

std::string flow(const ClassbenchRule& rule, std::size_t number) {
  std::string text = "table=" + std::to_string(number / FLOWS_OF_TABLE) +
                     ",priority=" + std::to_string(FLOWS_OF_TABLE - number % FLOWS_OF_TABLE) +
                     ",ip";
  if (rule.src.length > 0) text += ",nw_src=" + text_of(rule.src);
  if (rule.dst.length > 0) text += ",nw_dst=" + text_of(rule.dst);
  if (rule.protocol) text += ",nw_proto=" + std::to_string(*rule.protocol);
  if (transport_of(rule) != nullptr) {
    if (rule.src_ports.low == rule.src_ports.high) {
      text += ",tp_src=" + std::to_string(rule.src_ports.low);
    }
    if (rule.dst_ports.low == rule.dst_ports.high) {
      text += ",tp_dst=" + std::to_string(rule.dst_ports.low);
    }
  }
  return text + ",actions=normal\n";
}

std::string filter_ports(const char* transport, const char* end, const Ports& ports) {
  if (ports == Ports()) return "";
  std::string text = std::string(transport) + " " + end + " " + std::to_string(ports.low);
  if (ports.high != ports.low) text += "-" + std::to_string(ports.high);
  return text + " ";
}

std::string filter(const ClassbenchRule& rule) {
  std::string text = "add rule ip bench permit ";
  if (rule.src.length > 0) text += "ip saddr " + text_of(rule.src) + " ";
  if (rule.dst.length > 0) text += "ip daddr " + text_of(rule.dst) + " ";
  const char* const transport = transport_of(rule);
  std::string ports;
  if (transport != nullptr) {
    ports = filter_ports(transport, "sport", rule.src_ports) +
            filter_ports(transport, "dport", rule.dst_ports);
  }
  if (rule.protocol && ports.empty()) text += "ip protocol " + std::to_string(*rule.protocol) + " ";
  return text + ports + "accept\n";
}

}  // namespace

RuleFiles write_rule_files(const std::string& folder, const std::string& source,
                           std::size_t count) {
  const std::string stem = folder + "/" + std::to_string(count);
  RuleFiles files{stem + ".rules", stem + ".flows", stem + ".nft"};
  std::ofstream classbench(files.classbench);
  std::ofstream flows(files.flows);
  std::ofstream packet_filter(files.packet_filter);
  packet_filter << "add table ip bench\nadd chain ip bench permit\n";
  const std::vector<std::string> lines = lines_of(source);
  for (std::size_t number = 0; number < count; ++number) {
    const std::string line = moved(lines[number % lines.size()], number / lines.size());
    const ClassbenchRule rule = parse_classbench_line(line);
    classbench << line << '\n';
    flows << flow(rule, number);
    packet_filter << filter(rule);
  }
  for (std::ofstream* file : {&classbench, &flows, &packet_filter}) {
    file->close();
    if (!*file) give_up("the rules cannot be written to " + folder);
  }
  return files;
}
