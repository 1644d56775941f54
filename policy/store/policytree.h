// PolicyTree: all access-control configuration, and the records of the ports
// and VLANs that rules are bound to.
//
// It keeps ACLs with their rules, port records, VLAN records and time ranges,
// each by number or name and in ascending order (names byte by byte), and the
// cards that are up. It neither evaluates a rule nor sends anything anywhere.
//
// Operations answer 0, or -1 for a refusal (null or false for a look-up that
// finds nothing); a refusal, memory running out included, leaves everything
// as it was. A record stays where it is until it is deleted. What a command
// asks about costs the logarithm of how much there is, and what it does not
// ask about nothing: whether a rule or an ACL is used is known without
// looking at the records that could use it (PolicyBindingTable).
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "policy/store/packed_map.h"
#include "policy/store/policy_time_range.h"
#include "policy/store/store_bounds.h"

class PolicyAclInfo;
class PolicyPortInfo;
class PolicyRuleInfo;
class PolicyVlanInfo;

class PolicyTree {
 public:
  // Empty, with no card up. What commands store takes at most `max_stored_bytes`.
  explicit PolicyTree(std::size_t max_stored_bytes = store_bounds::MAX_STORED_BYTES);
  virtual ~PolicyTree();
  PolicyTree(const PolicyTree&) = delete;
  PolicyTree& operator=(const PolicyTree&) = delete;

  // Any number; `type` 0 or 1. -1 when the type is above 1, there is an ACL of that
  // number, which keeps its type, or a bound of the store would be passed.
  [[nodiscard]] int create_acl(std::uint32_t id, std::uint32_t type);
  // Deletes the ACL with its rules. -1 when there is none, or any of its
  // rules is bound; then is_acl_used() has warned.
  [[nodiscard]] int delete_acl(std::uint32_t id);
  [[nodiscard]] PolicyAclInfo* find_acl(std::uint32_t id) const;
  // Appends every ACL number in ascending order.
  void get_acl_ids(std::vector<std::uint32_t>& ids) const;

  [[nodiscard]] bool find_rule(std::uint32_t acl, std::uint32_t rule) const;
  // Null when the ACL or the rule is missing.
  [[nodiscard]] PolicyRuleInfo* find_rule_info(std::uint32_t acl, std::uint32_t rule) const;
  // -1, and `action` is left alone, when the ACL or the rule is missing.
  [[nodiscard]] int get_rule_action(std::uint32_t acl, std::uint32_t rule,
                                    std::uint32_t& action) const;

  // Whether the filters or the actions of any port or VLAN name a rule of the
  // ACL. If so it logs a warning that names the first such port in ascending
  // order of name or, when no port does, the first such VLAN in ascending
  // order of id.
  [[nodiscard]] bool is_acl_used(std::uint32_t id) const;
  // Whether the filters or the actions of any port or VLAN name the rule; logs
  // nothing. False when it does not exist.
  [[nodiscard]] bool is_rule_used(std::uint32_t acl, std::uint32_t rule) const;

  // The new record is ready when its card is up. -1 when there is one already.
  [[nodiscard]] int create_port(std::string_view name);
  // The record goes with all its bindings. -1 when there is none.
  int delete_port(std::string_view name);
  [[nodiscard]] PolicyPortInfo* find_port(std::string_view name) const;
  // Appends every interface name in ascending order.
  void get_port_names(std::vector<std::string>& names) const;

  // -1 when there is one already.
  [[nodiscard]] int create_vlan(std::uint32_t id);
  // The record goes with all its bindings. -1 when there is none.
  [[nodiscard]] int delete_vlan(std::uint32_t id);
  [[nodiscard]] PolicyVlanInfo* find_vlan(std::uint32_t id) const;
  // Appends every VLAN id in ascending order.
  void get_vlan_ids(std::vector<std::uint32_t>& ids) const;

  // The five values are kept as given. -1 when there is one of that name, which
  // keeps its values, or a bound of the store would be passed.
  [[nodiscard]] int create_time_range(std::string_view name, std::uint32_t number1,
                                      std::uint32_t number2, bool flag, std::uint32_t number3,
                                      std::uint32_t number4);
  // Always 0: that a time range is missing is what deleting it is for.
  int delete_time_range(std::string_view name);
  void clear_time_ranges();
  [[nodiscard]] const PolicyTimeRange* find_time_range(std::string_view name) const;
  // Appends every time range in ascending order of name.
  void get_time_ranges(std::vector<const PolicyTimeRange*>& time_ranges) const;

  // A card that was not up is; every port of it becomes ready. A card that is
  // up already changes nothing, not even ports that came since. -1 when
  // memory runs out.
  [[nodiscard]] int set_card_up(std::uint32_t card_id);
  // A card that was up no longer is; no port of it is ready any more.
  void set_card_down(std::uint32_t card_id);
  [[nodiscard]] bool is_card_up(std::uint32_t card_id) const { return _cards.contains(card_id); }

  // What is stored and listed, for the records to count themselves.
  [[nodiscard]] StoreAccount& stored() { return _stored; }
  [[nodiscard]] Listing& listed_acls() { return _listed_acls; }

 private:
  void set_card_ready(std::uint32_t card_id, bool ready);
  void forget_time_ranges(std::size_t count, std::size_t name_bytes);

  // They count what goes until all is gone.
  StoreAccount _stored;
  Listing _listed_acls;
  Listing _listed_time_ranges;

  // The rules count the bindings that ports and VLANs hold, so the ACLs come
  // first here and go last.
  PackedMap<std::uint32_t, std::unique_ptr<PolicyAclInfo>> _acls;
  std::map<std::string, std::unique_ptr<PolicyPortInfo>, std::less<>> _ports;
  PackedMap<std::uint32_t, std::unique_ptr<PolicyVlanInfo>> _vlans;
  std::map<std::string, std::unique_ptr<PolicyTimeRange>, std::less<>> _time_ranges;
  std::set<std::uint32_t> _cards;
};
