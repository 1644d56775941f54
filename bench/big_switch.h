// A switch of the largest size, filled with bindings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/rule_sample.h"
#include "policy/store/policy_acl_info.h"
#include "policy/store/policy_info.h"
#include "policy/store/policytree.h"

inline constexpr std::uint32_t PORTS = 1024;
inline constexpr std::uint32_t LAST_VLAN = 4094;
inline constexpr std::size_t RECORDS = PORTS + LAST_VLAN;

// "eth-0/1/1" .. "eth-0/16/64".
[[nodiscard]] std::string port_name(std::uint32_t port);

// Creates the first `ports` ports.
void create_ports(PolicyTree& tree, std::uint32_t ports = PORTS);
// Creates VLANs 1 .. `last`.
void create_vlans(PolicyTree& tree, std::uint32_t last = LAST_VLAN);
// Every port and VLAN there is.
[[nodiscard]] std::vector<PolicyInfo*> records_of(PolicyTree& tree);

// The ACL of that number with rules 0 .. `rules` - 1 of six fields, which may
// be remarked; bytes of all texts.
std::size_t create_acl(PolicyTree& tree, std::uint32_t acl, std::size_t rules);

// Binds the rule as a filter, which must be possible.
void bind(PolicyInfo& record, PolicyBindingKey key);
