#include "linuxcard/ebpf/list_name.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace {

constexpr std::uint32_t IN_PORTS_FIELD = 30;

// Two sums that go through the bytes in different ways.
class Digest {
 public:
  void add(std::uint64_t value) {
    _first = (_first ^ value) * 0x100000001b3U;
    _first ^= _first >> 29U;
    _second = (_second + value) * 0x9e3779b97f4a7c15U;
    _second ^= _second >> 32U;
  }
  void add(std::string_view text) {
    add(text.size());
    std::uint64_t gathered = 0;
    unsigned count = 0;
    for (const char c : text) {
      gathered = gathered << 8U | static_cast<unsigned char>(c);
      if (++count % 8 == 0) add(gathered);
    }
    add(gathered);
  }
  [[nodiscard]] std::string str() const {
    std::array<char, 33> text{};
    (void)std::snprintf(text.data(), text.size(), "%016llx%016llx",
                        static_cast<unsigned long long>(_first),
                        static_cast<unsigned long long>(_second));
    return text.data();
  }

 private:
  std::uint64_t _first = 0xcbf29ce484222325U;
  std::uint64_t _second = 0x2545f4914f6cdd1dU;
};

// Answers whether the rule looks at ports.
bool add_rule(Digest& digest, const PolicyRule& rule) {
  digest.add(rule.key.acl);
  digest.add(rule.key.rule);
  digest.add(static_cast<std::uint64_t>(rule.action));
  digest.add(rule.remark ? 1U + static_cast<std::uint64_t>(rule.remark->kind) : 0U);
  digest.add(rule.remark ? rule.remark->value : 0U);
  digest.add(rule.fields.size());
  for (const auto& [field, value] : rule.fields) {
    digest.add(field);
    digest.add(value);
  }
  return rule.fields.contains(IN_PORTS_FIELD);
}

}  // namespace

std::string list_name(std::span<const ListPart> parts, const std::vector<PortNames>& ports,
                      std::string_view kind) {
  Digest digest;
  digest.add(kind);
  bool looks_at_ports = false;
  for (const ListPart& part : parts) {
    digest.add(part.vlan);
    digest.add(part.rules == nullptr ? 0U : part.rules->size());
    if (part.rules == nullptr) continue;
    for (const PolicyRule& rule : *part.rules) {
      looks_at_ports = add_rule(digest, rule) || looks_at_ports;
    }
  }
  if (looks_at_ports) {
    for (const PortNames& port : ports) {
      digest.add(port.slot);
      digest.add(port.name);
      digest.add(port.aggregate);
    }
  }
  return digest.str();
}
