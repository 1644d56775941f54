// A policyd as simple as can be: random commands, and what each has to answer.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "framework/xrl/xrl.h"
#include "tests/unit/policy/store_model.h"

class CommandModel {
 public:
  struct Exchange {
    Xrl request;
    std::string answer;  // "100", "100 flag:bool=true", "102 the acl does not exist."
  };

  // `ports` are the interfaces of the switch. VLANs come and go by commands of
  // the model's own, with ids that a switch does not have.
  CommandModel(std::uint32_t seed, const std::vector<std::string>& ports);

  // Draws a command and carries it out.
  Exchange draw();
  // Commands that together read everything back.
  std::vector<Exchange> read_back();

  // What the switch did.
  void add_port(const std::string& name);
  void remove_port(const std::string& name);
  void confirm_mapping(std::uint32_t priority, std::uint32_t queue);

  // What policyd has to have logged until now: the messages of its warnings.
  [[nodiscard]] const std::vector<std::string>& warnings() const { return _warnings; }

 private:
  using Numbers = std::vector<std::uint32_t>;
  using Table = std::map<std::uint32_t, std::uint32_t>;

  std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(_random() % limit); }
  std::uint32_t drawn_acl();
  StoreModel::Key drawn_key();
  std::uint32_t drawn_vlan();
  std::string drawn_port();
  std::string drawn_text();
  Numbers drawn_numbers(std::uint32_t limit);

  // One family of commands each.
  Exchange acl_command();
  Exchange description_command();
  Exchange rule_command();
  Exchange time_range_command();
  Exchange vlan_event();
  Exchange port_filter_command();
  Exchange vlan_filter_command();
  Exchange all_ports_command();
  Exchange port_remark_command();
  Exchange vlan_remark_command();
  Exchange port_value_command();
  Exchange schedule_command();
  Exchange queue_command();
  Exchange reading();

  Exchange delete_acl(std::uint32_t acl);
  Exchange create_rule(StoreModel::Key key);
  Exchange filter_command(const std::string& kind, XrlAtom where, StoreModel::Record* record);
  Exchange remark_command(const std::string& kind, XrlAtom where, StoreModel::Record* record);

  Exchange read_acls();
  Exchange read_rules(std::uint32_t acl);
  Exchange read_rule(StoreModel::Key key);
  Exchange read_acl_description(std::uint32_t acl);
  Exchange read_rule_description(StoreModel::Key key);
  Exchange read_filters(const std::string& kind, XrlAtom where, const StoreModel::Record* record);
  Exchange read_remarks(const std::string& kind, XrlAtom where, const StoreModel::Record* record);
  Exchange read_port_value(const std::string& port);
  Exchange read_time_range(const std::string& name);
  Exchange read_time_ranges();
  Exchange read_schedule();
  Exchange read_queues(const std::string& table, const Numbers& keys);

  [[nodiscard]] StoreModel::Record* find_port(const std::string& name);
  [[nodiscard]] StoreModel::Record* find_vlan(std::uint32_t id);

  std::mt19937 _random;
  StoreModel _store;
  std::map<std::string, std::uint32_t> _port_values;
  bool _flag = false;
  std::uint32_t _mode = 0;
  std::uint32_t _algorithm = 0;
  Numbers _weights{12, 8, 4, 1};
  Table _cos_mapping;
  Table _dscp_queue;
  Table _priority_queue;
  std::vector<std::string> _warnings;
};
