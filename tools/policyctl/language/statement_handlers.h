// What each statement does to the configuration that is being read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/language/statement_match.h"

// A binding of a file, and where it stands there: whether its rule exists is
// known only together with what the switch has.
struct BindingPlace {
  std::string interface;  // empty: of the VLAN
  std::uint32_t vlan = 0;
  RuleKey key;
  bool is_remark = false;
  std::size_t line = 0;
  std::size_t column = 0;
  std::size_t length = 0;
};

// A line that opens an interface or VLAN, which may not exist.
struct RecordPlace {
  std::string interface;  // empty: the VLAN
  std::uint32_t vlan = 0;
  std::size_t line = 0;
  std::size_t column = 0;
  std::size_t length = 0;
};

// A rule that denies, and where it stands: whether a remark uses it is known only
// together with what the switch has.
struct DenialPlace {
  RuleKey key;
  std::size_t line = 0;
  std::size_t column = 0;
  std::size_t length = 0;
};

class StatementEntry {
 public:
  explicit StatementEntry(Configuration& configuration) : _configuration(configuration) {}

  Configuration& configuration() { return _configuration; }

  // Where the following lines stand.
  [[nodiscard]] StatementContext context() const { return _context; }
  void close() { _context = StatementContext::TOP; }
  void open_acl(std::uint32_t number, Acl& acl);
  void open_interface(const StatementValues::Value& name);
  void open_vlan(const StatementValues::Value& id);
  // The following lines stand below a line that could not be read: they are
  // checked among themselves and kept nowhere.
  void open_unread(StatementContext context);
  [[nodiscard]] Acl& acl() { return *_acl; }
  [[nodiscard]] std::uint32_t acl_number() const { return _acl_number; }
  [[nodiscard]] Bindings& bindings() { return *_bindings; }
  [[nodiscard]] bool is_interface() const { return !_interface.empty(); }

  // False when the filter was there already.
  bool add_filter(const RuleKey& key);
  // Of the filter or remark that the open interface or VLAN was just given.
  void note_binding(const RuleKey& key, bool is_remark, const StatementValues::Value& rule);

  // Of the open list.
  void note_denial(const StatementValues::Value& rule);

  // The line is wrong at that value.
  void refuse(const StatementValues::Value& at, std::string message, std::string advice = "");

  void begin_line(std::size_t line) { _line = line; }
  [[nodiscard]] std::vector<Fault>& faults() { return _faults; }
  [[nodiscard]] std::vector<BindingPlace>& bindings_placed() { return _bindings_placed; }
  [[nodiscard]] std::vector<RecordPlace>& records_placed() { return _records_placed; }
  [[nodiscard]] std::vector<DenialPlace>& denials_placed() { return _denials_placed; }

 private:
  void open_bindings(Bindings& bindings, const StatementValues::Value& at);

  Configuration& _configuration;
  StatementContext _context = StatementContext::TOP;
  Acl* _acl = nullptr;
  std::uint32_t _acl_number = 0;
  Bindings* _bindings = nullptr;
  Acl _unread_acl;
  Bindings _unread_bindings;
  std::string _interface;
  std::uint32_t _vlan = 0;
  std::set<RuleKey> _filters;  // of the open interface or VLAN
  std::size_t _line = 0;
  std::vector<Fault> _faults;
  std::vector<BindingPlace> _bindings_placed;
  std::vector<RecordPlace> _records_placed;
  std::vector<DenialPlace> _denials_placed;
};

void enter_cos_flag(StatementEntry& entry, const StatementValues& values);
void enter_cos_schedule_mode(StatementEntry& entry, const StatementValues& values);
void enter_cos_schedule_algorithm(StatementEntry& entry, const StatementValues& values);
void enter_cos_priority(StatementEntry& entry, const StatementValues& values);
void enter_cos_mapping(StatementEntry& entry, const StatementValues& values);
void enter_time_range(StatementEntry& entry, const StatementValues& values);
void enter_acl(StatementEntry& entry, const StatementValues& values);
void enter_interface(StatementEntry& entry, const StatementValues& values);
void enter_vlan(StatementEntry& entry, const StatementValues& values);
void enter_rule(StatementEntry& entry, const StatementValues& values);
void enter_cos_value(StatementEntry& entry, const StatementValues& values);
void enter_filter(StatementEntry& entry, const StatementValues& values);
void enter_remark_dscp(StatementEntry& entry, const StatementValues& values);
void enter_remark_priority(StatementEntry& entry, const StatementValues& values);
void enter_remark_two_bit(StatementEntry& entry, const StatementValues& values);
