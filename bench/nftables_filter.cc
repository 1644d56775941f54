#include "bench/nftables_filter.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "framework/base/ipv4.h"

namespace {

struct Range {
  std::uint32_t low = 0;
  std::uint32_t high = 0;
  [[nodiscard]] bool overlaps(const Range& other) const {
    return low <= other.high && other.low <= high;
  }
};
// Source, destination, protocol, source port, destination port.
using Box = std::array<Range, 5>;

const std::string* value_of(const PolicyRule& rule, std::uint32_t field) {
  const auto found = rule.fields.find(field);
  return found == rule.fields.end() ? nullptr : &found->second;
}

Range prefix_range(const std::string* text) {
  if (text == nullptr) return {0, ~0U};
  const std::size_t slash = text->find('/');
  IPv4 address;
  (void)IPv4::parse(std::string_view(*text).substr(0, slash), address);
  const unsigned long length = std::strtoul(text->c_str() + slash + 1, nullptr, 10);
  const std::uint32_t host = length == 0 ? ~0U : (1U << (32 - length)) - 1;
  return {address.host_order() & ~host, address.host_order() | host};
}

Range number_range(const std::string* text, std::uint32_t highest) {
  if (text == nullptr) return {0, highest};
  char* end = nullptr;
  const auto low = static_cast<std::uint32_t>(std::strtoul(text->c_str(), &end, 10));
  const bool is_range = *end == '-';
  return {low, is_range ? static_cast<std::uint32_t>(std::strtoul(end + 1, nullptr, 10)) : low};
}

Box box_of(const PolicyRule& rule) {
  return {prefix_range(value_of(rule, 7)), prefix_range(value_of(rule, 8)),
          number_range(value_of(rule, 11), 255), number_range(value_of(rule, 12), 65535),
          number_range(value_of(rule, 13), 65535)};
}

bool overlap(const Box& one, const Box& other) {
  for (std::size_t i = 0; i < one.size(); ++i) {
    if (!one[i].overlaps(other[i])) return false;
  }
  return true;
}

// Each rule behind all earlier ones that it overlaps, so that the first layer with a match
// has the first rule.
std::vector<std::size_t> layers_of(const std::vector<Box>& boxes) {
  std::vector<std::size_t> layers(boxes.size());
  for (std::size_t i = 0; i < boxes.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (layers[j] >= layers[i] && overlap(boxes[i], boxes[j])) layers[i] = layers[j] + 1;
    }
  }
  return layers;
}

std::string element_of(const Box& box) {
  std::string text;
  for (std::size_t i = 0; i < box.size(); ++i) {
    const auto end = [i](std::uint32_t value) {
      return i < 2 ? IPv4(value).str() : std::to_string(value);
    };
    if (i > 0) text += " . ";
    text += end(box[i].low);
    if (box[i].low != box[i].high) text += "-" + end(box[i].high);
  }
  return text + " : accept";
}

constexpr std::string_view TABLE =
    "add table netdev bench\n"
    "add chain netdev bench ingress { type filter hook ingress device \"port\" priority 0; }\n";

}  // namespace

NftablesFilter::NftablesFilter(const RuleList& rules, NftForm form) : _script(TABLE) {
  if (form == NftForm::CHAIN) {
    write_chain(rules);
  } else {
    write_layers(rules);
  }
}

void NftablesFilter::write_chain(const RuleList& rules) {
  for (const PolicyRule& rule : rules) {
    _script += "add rule netdev bench ingress";
    const auto add = [&](std::uint32_t field, const std::string& what) {
      const std::string* const value = value_of(rule, field);
      if (value != nullptr) _script += " " + what + " " + *value;
    };
    const std::string protocol = rule.fields.at(11) == "6" ? "tcp" : "udp";
    add(7, "ip saddr");
    add(8, "ip daddr");
    add(11, "ip protocol");
    add(12, protocol + " sport");
    add(13, protocol + " dport");
    _script += " accept\n";
  }
}

void NftablesFilter::write_layers(const RuleList& rules) {
  std::vector<Box> boxes(rules.size());
  std::transform(rules.begin(), rules.end(), boxes.begin(), box_of);
  const std::vector<std::size_t> layers = layers_of(boxes);
  std::vector<std::string> elements;
  for (std::size_t i = 0; i < boxes.size(); ++i) {
    if (elements.size() <= layers[i]) elements.resize(layers[i] + 1);
    std::string& of_layer = elements[layers[i]];
    if (!of_layer.empty()) of_layer += ", ";
    of_layer += element_of(boxes[i]);
  }
  _layers = elements.size();
  for (std::size_t i = 0; i < _layers; ++i) {
    const std::string map = "layer" + std::to_string(i);
    _script += "add map netdev bench " + map +
               " { type ipv4_addr . ipv4_addr . inet_proto . inet_service . inet_service : verdict;"
               " flags interval; }\n";
    _script += "add element netdev bench " + map + " { " + elements[i] + " }\n";
    _script +=
        "add rule netdev bench ingress ip saddr . ip daddr . ip protocol . th sport . th dport "
        "vmap @" +
        map + "\n";
  }
}

bool NftablesFilter::load() const {
  FILE* const nft = popen("nft -f - >/dev/null 2>&1", "w");
  if (nft == nullptr) return false;
  (void)std::fwrite(_script.data(), 1, _script.size(), nft);
  return pclose(nft) == 0;
}

void NftablesFilter::unload() {
  // There may be none.
  [[maybe_unused]] const int status = std::system("nft delete table netdev bench >/dev/null 2>&1");
}
