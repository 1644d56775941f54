#include "tools/policyctl/shell/candidate.h"

#include <algorithm>
#include <utility>

#include "tools/policyctl/commands/context.h"
#include "tools/policyctl/commands/prepare_plan.h"
#include "tools/policyctl/language/read_configuration.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

// Opens again, for one line, what the lines before have opened.
class LineEntry {
 public:
  explicit LineEntry(Configuration& said) : _reader(said) {}

  StatementEntry& entry() { return _reader.entry(); }
  void open_acl(std::uint32_t number, const Acl& acl) {
    _open.type = acl.type;
    _open.description = acl.description;
    entry().open_acl(number, _open);
  }
  void open_interface(const std::string& name) {
    entry().open_interface({0, name, &_nowhere});
    entry().records_placed().clear();
  }
  void open_vlan(std::uint32_t id) {
    entry().open_vlan({id, {}, &_nowhere});
    entry().records_placed().clear();
  }
  void read(std::string_view line) {
    _reader.read_line(line, 1);
    if (_open.rules.empty()) return;
    entry().configuration().acls.emplace(entry().acl_number(), std::move(_open));
  }

 private:
  Acl _open;  // apart from what is said, in which it may be said anew
  Word _nowhere;
  ConfigurationReader _reader;
};

std::string use_name(const Use& use) {
  const std::string record = use.record.interface != nullptr
                                 ? interface_statement(*use.record.interface)
                                 : vlan_statement(use.record.vlan);
  return record + ": " +
         (use.remark ? remark_statement(use.key, *use.remark) : filter_statement(use.key));
}

[[noreturn]] void refuse_used(const ObjectName& object, const std::vector<Use>& uses) {
  constexpr std::size_t MOST_SHOWN = 10;
  std::string advice;
  for (std::size_t i = 0; i < std::min(uses.size(), MOST_SHOWN); ++i) {
    advice += use_name(uses[i]) + "\n";
  }
  if (uses.size() > MOST_SHOWN) {
    advice += "... and " + std::to_string(uses.size() - MOST_SHOWN) + " more\n";
  }
  throw Failure(ExitStatus::REFUSED,
                object.name() + " is in use by " + counted(uses.size(), "binding") + ".",
                advice + "Unbind it first, or use 'delete " + object.name() + " cascade'.");
}

[[noreturn]] void refuse_missing(const std::string& what) {
  throw Failure(ExitStatus::REFUSED, "there is no " + what + " here.", "See 'show'.");
}

}  // namespace

void Candidate::start_from(Configuration present) {
  _base = std::move(present);
  _configuration = _base;
  _is_edited = false;
  leave();
}

void Candidate::set_committed(Configuration present) {
  Place place = std::move(_place);
  start_from(std::move(present));
  const bool is_there = place.context != StatementContext::ACL || _base.acls.contains(place.acl);
  if (is_there) _place = std::move(place);
}

void Candidate::become(Configuration configuration) {
  _configuration = std::move(configuration);
  _is_edited = true;
  leave();
}

std::string Candidate::place_name() const {
  switch (_place.context) {
    case StatementContext::TOP:
      return {};
    case StatementContext::ACL:
      return "acl " + std::to_string(_place.acl);
    case StatementContext::BINDINGS:
      break;
  }
  return _place.interface.empty() ? vlan_statement(_place.vlan)
                                  : interface_statement(_place.interface);
}

bool Candidate::open_acl(std::uint32_t number) {
  if (!_configuration.acls.contains(number)) return false;
  _place = {StatementContext::ACL, number, {}, 0};
  return true;
}

std::vector<Fault> Candidate::enter(std::string_view line) {
  ReadConfiguration read;
  LineEntry said(read.configuration);
  if (_place.context == StatementContext::ACL) {
    said.open_acl(_place.acl, _configuration.acls.at(_place.acl));
  } else if (_place.context == StatementContext::BINDINGS && !_place.interface.empty()) {
    said.open_interface(_place.interface);
  } else if (_place.context == StatementContext::BINDINGS) {
    said.open_vlan(_place.vlan);
  }
  said.read(line);
  if (!said.entry().faults().empty()) return std::move(said.entry().faults());
  read.bindings = std::move(said.entry().bindings_placed());
  read.records = std::move(said.entry().records_placed());
  read.denials = std::move(said.entry().denials_placed());
  std::vector<Fault> faults = faults_at_switch(read, _configuration, _configuration);
  if (!faults.empty()) return faults;
  const StatementContext context = said.entry().context();
  if (context == StatementContext::ACL) {
    _place = {context, said.entry().acl_number(), {}, 0};
  } else if (!read.records.empty()) {
    _place = {context, 0, read.records.back().interface, read.records.back().vlan};
    return {};
  } else if (context == StatementContext::TOP) {
    leave();
  }
  merge(std::move(read.configuration));
  return {};
}

void Candidate::merge(Configuration said) {
  Configuration& all = _configuration;
  if (said.cos.flag) all.cos.flag = said.cos.flag;
  if (said.cos.mode) all.cos.mode = said.cos.mode;
  if (said.cos.schedule) all.cos.schedule = said.cos.schedule;
  for (const auto& [priority, queue] : said.cos.priority_queues) {
    all.cos.priority_queues[priority] = queue;
  }
  for (const auto& [priority, queue] : said.cos.mapping) all.cos.mapping[priority] = queue;
  for (auto& [name, range] : said.time_ranges) all.time_ranges.insert_or_assign(name, range);
  for (auto& [number, acl] : said.acls) {
    Acl& here = all.acls[number];
    here.type = acl.type;
    here.description = std::move(acl.description);
    for (auto& [rule_number, rule] : acl.rules) {
      here.rules.insert_or_assign(rule_number, std::move(rule));
    }
  }
  merge_bindings(all.interfaces, said.interfaces);
  merge_bindings(all.vlans, said.vlans);
  _is_edited = true;
}

template <typename Records>
void Candidate::merge_bindings(Records& records, Records& said) {
  for (auto& [name, bindings] : said) {
    Bindings& here = records[name];
    for (const RuleKey& key : bindings.filters) {
      const auto at = std::find(here.filters.begin(), here.filters.end(), key);
      if (at == here.filters.end()) here.filters.push_back(key);
    }
    for (const auto& [key, remark] : bindings.remarks) here.remarks.insert_or_assign(key, remark);
    if (bindings.cos_value) here.cos_value = bindings.cos_value;
  }
}

void Candidate::delete_object(const ObjectName& object, bool cascade) {
  require_object(object, _configuration, IN_THE_CANDIDATE);
  if (object.acl) {
    const std::vector<Use> uses = uses_of(object, _configuration);
    if (!uses.empty() && !cascade) refuse_used(object, uses);
    unbind_object(object, _configuration);
  }
  remove_object(object, _configuration);
  if (_place.context == StatementContext::ACL && !_configuration.acls.contains(_place.acl)) leave();
  _is_edited = true;
}

void Candidate::delete_bindings(const std::string& interface) {
  const auto at = _configuration.interfaces.find(interface);
  if (at == _configuration.interfaces.end()) refuse_missing(interface_statement(interface));
  at->second = {};
  at->second.cos_value = 0;
  _is_edited = true;
}

void Candidate::delete_bindings(std::uint32_t vlan) {
  const auto at = _configuration.vlans.find(vlan);
  if (at == _configuration.vlans.end()) refuse_missing(vlan_statement(vlan));
  at->second = {};
  _is_edited = true;
}

Bindings& Candidate::open_bindings() {
  return _place.interface.empty() ? _configuration.vlans.at(_place.vlan)
                                  : _configuration.interfaces.at(_place.interface);
}

void Candidate::delete_filter(const RuleKey& key) {
  std::vector<RuleKey>& filters = open_bindings().filters;
  const auto at = std::find(filters.begin(), filters.end(), key);
  if (at == filters.end()) refuse_missing(filter_statement(key));
  filters.erase(at);
  _is_edited = true;
}

void Candidate::delete_remark(const RuleKey& key) {
  if (open_bindings().remarks.erase(key) == 0) {
    refuse_missing("remark " + rule_name(key));
  }
  _is_edited = true;
}
