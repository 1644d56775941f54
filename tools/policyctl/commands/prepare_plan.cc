#include "tools/policyctl/commands/prepare_plan.h"

#include <algorithm>
#include <map>
#include <ostream>
#include <utility>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/commands/context.h"
#include "tools/policyctl/language/words.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/plan/find_entry.h"

namespace {

constexpr const char* NOTHING_WAS_CHANGED = " Nothing was changed.";

bool has_record(const Configuration& present, const std::string& interface, std::uint32_t vlan) {
  return interface.empty() ? present.vlans.contains(vlan) : present.interfaces.contains(interface);
}

Fault unknown_record(const RecordPlace& place, const Configuration& present) {
  Fault fault{place.line, place.column, place.length, "", ""};
  if (place.interface.empty()) {
    fault.message = "the switch has no VLAN " + std::to_string(place.vlan) + ".";
    fault.advice = "Create it at the VLAN manager first, or leave it out.";
    return fault;
  }
  fault.message = "the switch has no interface " + as_word(place.interface) + ".";
  NearestName nearest(place.interface);
  for (const auto& [name, bindings] : present.interfaces) nearest.consider(name);
  if (!nearest.name().empty()) {
    fault.advice = "Is '" + nearest.name() + "' meant?";
  } else if (!present.interfaces.empty()) {
    fault.advice = "Its interfaces have names like '" + present.interfaces.begin()->first + "'.";
  }
  return fault;
}

// Each remarked rule, with one of the remarks.
std::map<RuleKey, std::string> remarks_of(const Configuration& configuration) {
  std::map<RuleKey, std::string> remarks;
  const auto collect = [&remarks](const std::string& record, const Bindings& bindings) {
    for (const auto& [key, remark] : bindings.remarks) {
      remarks.try_emplace(key, record + ": " + remark_statement(key, remark));
    }
  };
  for (const auto& [name, bound] : configuration.interfaces) {
    collect(interface_statement(name), bound);
  }
  for (const auto& [id, bound] : configuration.vlans) collect(vlan_statement(id), bound);
  return remarks;
}

// Of rules that are to deny, though a remark of the switch uses them.
void add_denied_remarks(const std::vector<DenialPlace>& denials, const Configuration& target,
                        std::vector<Fault>& faults) {
  if (denials.empty()) return;
  const std::map<RuleKey, std::string> remarks = remarks_of(target);
  for (const DenialPlace& place : denials) {
    const std::string* const remark = find_entry(remarks, place.key);
    if (remark == nullptr) continue;
    faults.push_back({place.line, place.column, place.length,
                      "a remark uses this rule, so it has to permit.",
                      *remark + "; delete that first."});
  }
}

const char* colour_of(ChangeSign sign) {
  switch (sign) {
    case ChangeSign::ADDED:
      return "\033[32m";
    case ChangeSign::REMOVED:
      return "\033[31m";
    case ChangeSign::CHANGED:
      break;
  }
  return "\033[33m";
}

}  // namespace

void before_change(const std::function<void()>& run) {
  try {
    run();
  } catch (const Failure& failure) {
    if (std::string_view(failure.what()).ends_with(NOTHING_WAS_CHANGED)) throw;
    throw Failure(failure.status(), std::string(failure.what()) + NOTHING_WAS_CHANGED,
                  failure.advice());
  }
}

std::string leave_gone_out(ReadConfiguration& kept, const Configuration& present) {
  std::string gone;
  const auto name = [&gone](const std::string& statement) {
    gone += (gone.empty() ? "" : ", ") + statement;
  };
  std::erase_if(kept.configuration.interfaces, [&](const auto& entry) {
    if (present.interfaces.contains(entry.first)) return false;
    name(interface_statement(entry.first));
    return true;
  });
  std::erase_if(kept.configuration.vlans, [&](const auto& entry) {
    if (present.vlans.contains(entry.first)) return false;
    name(vlan_statement(entry.first));
    return true;
  });
  const auto is_of_one_gone = [&present](const auto& place) {
    return !has_record(present, place.interface, place.vlan);
  };
  std::erase_if(kept.records, is_of_one_gone);
  std::erase_if(kept.bindings, is_of_one_gone);
  return gone.empty() ? gone : "Left out, as the switch has them no longer: " + gone + ".";
}

std::vector<Fault> faults_at_switch(const ReadConfiguration& wanted, const Configuration& present,
                                    const Configuration& target) {
  std::vector<Fault> faults;
  for (const RecordPlace& place : wanted.records) {
    const bool known = has_record(present, place.interface, place.vlan);
    if (!known) faults.push_back(unknown_record(place, present));
  }
  const std::vector<Fault> unbound = binding_faults(wanted.bindings, target, true);
  faults.insert(faults.end(), unbound.begin(), unbound.end());
  add_denied_remarks(wanted.denials, target, faults);
  std::stable_sort(faults.begin(), faults.end(), [](const Fault& a, const Fault& b) {
    return std::pair(a.line, a.column) < std::pair(b.line, b.column);
  });
  return faults;
}

void print_plan(std::ostream& out, const Plan& plan, bool in_colour) {
  std::string where;
  for (const Change& change : plan.changes()) {
    const ChangeText text = describe(change, plan);
    if (text.where != where && !text.where.empty()) out << "  " << text.where << '\n';
    where = text.where;
    const char* const indentation = where.empty() ? " " : "   ";
    const std::string& now = change.sign == ChangeSign::REMOVED ? text.before : text.after;
    const std::string line = static_cast<char>(change.sign) + (indentation + now);
    out << coloured(change.sign, line, in_colour) << '\n';
    if (change.sign == ChangeSign::CHANGED)
      out << " " << indentation << "was: " << text.before << '\n';
  }
  const PlanCounts counts = plan.counts();
  out << counts.added << " added, " << counts.changed << " changed, " << counts.removed
      << " removed; " << counted(plan.steps().size(), "request") << ".\n";
}

std::string coloured(ChangeSign sign, const std::string& text, bool in_colour) {
  return in_colour ? colour_of(sign) + text + "\033[0m" : text;
}
