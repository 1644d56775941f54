#include "tools/policyctl/commands/object_commands.h"

#include <ostream>
#include <utility>

#include "framework/xrl/nearest_name.h"
#include "policy/interfaces/policy_config_xif.h"
#include "tools/policyctl/commands/change_switch.h"
#include "tools/policyctl/commands/prepare_plan.h"
#include "tools/policyctl/json/json_output.h"
#include "tools/policyctl/language/statement_match.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/switch/read_switch.h"

namespace {

constexpr const char* FORMS =
    "The forms are: acl ACL, acl ACL rule RULE, and for delete also time-range NAME.";

std::uint32_t number_of(const std::string& word, const std::string& argument) {
  const std::optional<std::uint32_t> number = decimal_number(word);
  if (number) return *number;
  throw Failure(ExitStatus::USAGE, "'" + word + "' is no number of " + argument + ".", FORMS);
}

bool names(const ObjectName& object, const RuleKey& key) {
  return key.acl == object.acl && (!object.rule || key.rule == *object.rule);
}

// One binding of a list or rule.
struct Use {
  RecordName record;
  RuleKey key;
  std::optional<Remark> remark;  // none: a filter
};

std::vector<Use> uses_of(const ObjectName& object, const Configuration& configuration) {
  std::vector<Use> uses;
  const auto collect = [&](const RecordName& record, const Bindings& bindings) {
    for (const RuleKey& key : bindings.filters) {
      if (names(object, key)) uses.push_back({record, key, std::nullopt});
    }
    for (const auto& [key, remark] : bindings.remarks) {
      if (names(object, key)) uses.push_back({record, key, remark});
    }
  };
  for (const auto& [name, bindings] : configuration.interfaces) collect({&name, 0}, bindings);
  for (const auto& [id, bindings] : configuration.vlans) collect({nullptr, id}, bindings);
  return uses;
}

void print_uses(std::ostream& out, const std::vector<Use>& uses) {
  std::string record;
  for (const Use& use : uses) {
    const std::string statement = use.record.interface != nullptr
                                      ? interface_statement(*use.record.interface)
                                      : vlan_statement(use.record.vlan);
    if (statement != record) out << statement << '\n';
    record = statement;
    out << "  " << (use.remark ? remark_statement(use.key, *use.remark) : filter_statement(use.key))
        << '\n';
  }
}

Json uses_json(const ObjectName& object, const std::vector<Use>& uses) {
  Json list = Json::array();
  for (const Use& use : uses) {
    Json json = record_json(use.record);
    json["statement"] =
        use.remark ? remark_statement(use.key, *use.remark) : filter_statement(use.key);
    list.push_back(std::move(json));
  }
  return {{"object", text_json(object.name())}, {"uses", std::move(list)}};
}

template <typename Map>
std::string nearest_number(const Map& map, std::uint32_t wanted) {
  const std::string text = std::to_string(wanted);
  NearestName nearest(text);
  for (const auto& [number, value] : map) nearest.consider(std::to_string(number));
  return nearest.name();
}

[[noreturn]] void refuse_missing(const ObjectName& object, const std::string& nearest) {
  throw Failure(ExitStatus::REFUSED,
                "there is no " + object.name() + " on the switch. Nothing was changed.",
                nearest.empty() ? std::string() : "Is " + nearest + " meant?");
}

// Throws Failure REFUSED.
void require(const ObjectName& object, const Configuration& configuration) {
  if (!object.acl) {
    if (configuration.time_ranges.contains(object.time_range)) return;
    NearestName nearest(object.time_range);
    for (const auto& [name, range] : configuration.time_ranges) nearest.consider(name);
    refuse_missing(object, nearest.name());
  }
  const auto acl = configuration.acls.find(*object.acl);
  if (acl == configuration.acls.end()) {
    refuse_missing(object, nearest_number(configuration.acls, *object.acl));
  }
  if (object.rule && !acl->second.rules.contains(*object.rule)) {
    refuse_missing(object, nearest_number(acl->second.rules, *object.rule));
  }
}

void unbind(const ObjectName& object, Configuration& configuration) {
  const auto is_named = [&object](const RuleKey& key) { return names(object, key); };
  const auto unbind_in = [&](auto& records) {
    for (auto& [name, bindings] : records) {
      std::erase_if(bindings.filters, is_named);
      std::erase_if(bindings.remarks, [&](const auto& entry) { return is_named(entry.first); });
    }
  };
  unbind_in(configuration.interfaces);
  unbind_in(configuration.vlans);
}

void remove(const ObjectName& object, Configuration& configuration) {
  if (!object.acl) {
    configuration.time_ranges.erase(object.time_range);
  } else if (object.rule) {
    configuration.acls.at(*object.acl).rules.erase(*object.rule);
  } else {
    configuration.acls.erase(*object.acl);
  }
}

ExitStatus refuse_used(const Context& context, const ObjectName& object,
                       const std::vector<Use>& uses) {
  if (context.json) {
    print_json(context.out, uses_json(object, uses));
    return ExitStatus::REFUSED;
  }
  context.err << "policyctl: delete " << object.name() << ": it is in use by "
              << counted(uses.size(), "binding") << ". Nothing was changed.\n";
  print_uses(context.err, uses);
  context.err << "  Unbind it first, or delete it with --cascade.\n";
  return ExitStatus::REFUSED;
}

}  // namespace

std::string ObjectName::name() const {
  if (!acl) return "time-range " + time_range;
  return "acl " + std::to_string(*acl) + (rule ? " rule " + std::to_string(*rule) : "");
}

ObjectName parse_object(const std::vector<std::string>& words) {
  ObjectName object;
  if (words.size() == 2 && words[0] == "time-range") {
    object.time_range = words[1];
    return object;
  }
  const bool is_acl = words.size() == 2 && words[0] == "acl";
  const bool is_rule = words.size() == 4 && words[0] == "acl" && words[2] == "rule";
  if (!is_acl && !is_rule) {
    std::string given;
    for (const std::string& word : words) given += (given.empty() ? "" : " ") + word;
    throw Failure(ExitStatus::USAGE, "'" + given + "' names nothing.", FORMS);
  }
  object.acl = number_of(words[1], "an access control list");
  if (is_rule) object.rule = number_of(words[3], "a rule");
  return object;
}

ExitStatus who_uses_command(const Context& context, const ObjectName& object) {
  if (!object.acl) {
    throw Failure(ExitStatus::USAGE, "nothing on the switch uses a time range by itself.", FORMS);
  }
  const auto session = context.connect();
  const Configuration present = read_switch(*session, SwitchParts::all());
  require(object, present);
  const std::vector<Use> uses = uses_of(object, present);
  if (context.json) {
    print_json(context.out, uses_json(object, uses));
  } else if (uses.empty()) {
    context.out << object.name() << " is not in use.\n";
  } else {
    print_uses(context.out, uses);
  }
  return ExitStatus::DONE;
}

ExitStatus delete_command(const Context& context, const ObjectName& object, bool cascade) {
  const StateDirectory directory(context.place);
  const auto session = context.connect();
  const ChangeLock lock = directory.lock(context.patience);
  refuse_unfinished_change(directory);
  const Configuration present = read_switch(*session, SwitchParts::all());
  require(object, present);
  if (object.acl && !cascade) {
    const std::vector<Use> uses = uses_of(object, present);
    if (!uses.empty()) return refuse_used(context, object, uses);
  }
  Configuration target = present;
  if (object.acl) unbind(object, target);
  remove(object, target);
  const Plan plan(present, std::move(target));
  const std::string what = "delete " + object.name();
  const ChangeReport report =
      change_switch(context, *session, directory, plan, {what, new_change_id(), 0});
  return print_report(context, what, report);
}

ExitStatus dscp_queue_command(const Context& context, std::uint32_t dscp, std::uint32_t queue) {
  const auto session = context.connect();
  const Lifeline lifeline;
  XrlAtomList dscps;
  dscps.append(dscp);
  XrlAtomList queues;
  queues.append(queue);
  bool answered = false;
  XrlError problem;
  const bool sent = XrlPolicyConfigV0p1Client(session->sender())
                        .send_set_dscp_queue(session->policyd(), dscps, queues,
                                             callback(lifeline, [&](const XrlError& error) {
                                               answered = true;
                                               problem = error;
                                             }));
  if (!sent) throw Failure(ExitStatus::NOT_REACHABLE, "a request could not be sent to policyd.");
  session->wait("policyd to set the queue of a DSCP", [&answered] { return answered; });
  const std::string what = "set the queue of DSCP " + std::to_string(dscp);
  if (!problem.is_okay()) throw request_failure(what, problem);
  ChangeReport report;
  report.requests = 1;
  report.counts.changed = 1;
  report.outcome = "The queue is set.";
  return print_report(context, what, report);
}
