// Candidate: the configuration that a person edits, statement by statement,
// before it goes to the switch.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/commands/object_uses.h"
#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/language/statements.h"

class Candidate {
 public:
  // Forgets all edits. `present` is the whole of a switch.
  void start_from(Configuration present);

  // What it was started from, and what it is.
  [[nodiscard]] const Configuration& base() const { return _base; }
  [[nodiscard]] const Configuration& configuration() const { return _configuration; }
  // Whether anything was edited since.
  [[nodiscard]] bool is_edited() const { return _is_edited; }
  // The edits are on the switch, which has become `present`; what is open stays so.
  void set_committed(Configuration present);

  // Which statement is open: what the next lines stand below.
  [[nodiscard]] StatementContext context() const { return _place.context; }
  [[nodiscard]] std::uint32_t open_acl_number() const { return _place.acl; }
  // "acl 10"; empty at the top level.
  [[nodiscard]] std::string place_name() const;
  void leave() { _place = {}; }
  // False when there is no such list.
  bool open_acl(std::uint32_t number);

  // A statement, which replaces what was said of the same thing before. Its
  // faults; with any, nothing is changed.
  [[nodiscard]] std::vector<Fault> enter(std::string_view line);
  // Becomes another configuration of the same switch.
  void become(Configuration configuration);

  // Each throws Failure REFUSED when it is not there or is in use, and then
  // nothing is changed.
  void delete_object(const ObjectName& object, bool cascade);
  void delete_bindings(const std::string& interface);
  void delete_bindings(std::uint32_t vlan);
  // Of the open interface or VLAN.
  void delete_filter(const RuleKey& key);
  void delete_remark(const RuleKey& key);

 private:
  struct Place {
    StatementContext context = StatementContext::TOP;
    std::uint32_t acl = 0;
    std::string interface;  // empty: the VLAN
    std::uint32_t vlan = 0;
  };

  [[nodiscard]] Bindings& open_bindings();
  void merge(Configuration said);
  template <typename Records>
  void merge_bindings(Records& records, Records& said);

  Configuration _base;
  Configuration _configuration;
  Place _place;
  bool _is_edited = false;
};
