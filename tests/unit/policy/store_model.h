// A PolicyTree as simple as can be: plain containers, searched from end to
// end. It shares nothing with the real one but its promises.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

class StoreModel {
 public:
  using Key = std::pair<std::uint32_t, std::uint32_t>;  // ACL, rule

  struct Rule {
    std::uint32_t action;
    std::string description;
    std::map<std::uint32_t, std::string> fields;
  };
  struct Acl {
    std::uint32_t type;
    std::string description;
    std::map<std::uint32_t, Rule> rules;
  };
  struct Record {
    std::vector<Key> filters;
    std::map<Key, std::pair<std::uint32_t, std::uint32_t>> actions;
  };
  struct Port : Record {
    std::uint32_t card = 0;
    bool ready = false;
  };
  struct TimeRange {
    std::uint32_t values[5];
  };

  int create_acl(std::uint32_t acl, std::uint32_t type);
  int delete_acl(std::uint32_t acl);
  int create_rule(Key key, std::uint32_t action, const std::vector<std::uint32_t>& flags,
                  const std::vector<std::string>& values);
  int delete_rule(Key key);
  int create_port(const std::string& name, std::uint32_t card);
  int delete_port(const std::string& name);
  int create_vlan(std::uint32_t vlan);
  int delete_vlan(std::uint32_t vlan);
  int create_time_range(const std::string& name, const TimeRange& range);
  void set_card_up(std::uint32_t card);
  void set_card_down(std::uint32_t card);

  int add_filter(Record& record, Key key);
  int delete_filter(Record& record, Key key);
  int set_action(Record& record, Key key, std::uint32_t kind, std::uint32_t value);
  int delete_action(Record& record, Key key);

  [[nodiscard]] Rule* find_rule(Key key);
  // Who uses the ACL first, as "port NAME" or "vlan ID".
  [[nodiscard]] std::optional<std::string> first_user(std::uint32_t acl) const;
  [[nodiscard]] bool is_rule_used(Key key) const;

  // As picture_of() draws the real one.
  [[nodiscard]] std::string picture() const;

  std::map<std::uint32_t, Acl> acls;
  std::map<std::string, Port> ports;
  std::map<std::uint32_t, Record> vlans;
  std::map<std::string, TimeRange> time_ranges;

 private:
  std::set<std::uint32_t> _cards;
};
