// The policy of a whole switch as plain data: what a data path is given to enforce.
//
// A packet is looked at where it comes in. The filters of the port are tried first, in
// the order of their list, then those of the VLAN that the packet belongs to; the first
// rule that matches decides, and a packet that none matches is forwarded.
// docs/data-path.md says what each match field sees of a packet.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

struct RuleKey {
  std::uint32_t acl = 0;
  std::uint32_t rule = 0;
  // NOLINTNEXTLINE(modernize-use-nullptr): the check takes the comparison for a null pointer
  auto operator<=>(const RuleKey&) const = default;
};

// The numbers are those of policyd.
enum class RuleAction : std::uint8_t { DENY = 0, PERMIT = 1 };

enum class RemarkKind : std::uint8_t { DSCP = 0, PRIORITY = 1, TWO_BIT = 2 };

// What a rule writes into the packets that it decides: a DSCP 0..63, or an 802.1p
// priority 0..7 into the outer tag of those that have one. Linux has no counterpart of
// the two-bit value; a list with such a remark is refused.
struct Remark {
  RemarkKind kind = RemarkKind::DSCP;
  std::uint32_t value = 0;
  bool operator==(const Remark&) const = default;
};

struct PolicyRule {
  RuleKey key;
  RuleAction action = RuleAction::DENY;
  // Of this binding; only a rule that permits may have one.
  std::optional<Remark> remark;
  // By number of the match field, values as docs/match-fields.md writes them. A rule
  // without fields matches every packet.
  std::map<std::uint32_t, std::string> fields;
  bool operator==(const PolicyRule&) const = default;
};

// In bound order.
using RuleList = std::vector<PolicyRule>;
// Lists are shared, not copied: ports that are given one pointer, or lists that are
// equal, share one set of tables. Null is a list without rules.
using SharedRuleList = std::shared_ptr<const RuleList>;

constexpr std::size_t PRIORITIES = 8;
using QueueMap = std::array<std::uint8_t, PRIORITIES>;

struct PolicyPort {
  // As policyd names it; what `in-ports` of a rule compares with. Unique.
  std::string name;
  // The name of the aggregate of which the port is a member; empty when of none. What comes
  // in by a member meets its filters first, then as coming in by the aggregate, if that is
  // a port of the policy, those of the aggregate and of the VLAN.
  std::string aggregate;
  // The interface of the kernel whose incoming packets are looked at. Unique.
  std::uint32_t ifindex = 0;
  // The VLAN 1..4094 of packets that come in without a tag or with a priority tag; 0
  // for none: such packets meet the port's filters only.
  std::uint16_t untagged_vlan = 0;
  SharedRuleList filters;
  // The queue 0..7 of each 802.1p priority, written to the priority of the socket buffer
  // of tagged packets, after a remark. Without one it is left as it is.
  std::optional<QueueMap> queues;
};

struct SwitchPolicy {
  std::vector<PolicyPort> ports;
  // By VLAN id, 1..4094; they hold on all `ports`.
  std::map<std::uint16_t, SharedRuleList> vlans;
  // The time ranges that hold now. A rule of any other does not match.
  std::set<std::string> active_time_ranges;
};
