// Plans in words.
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/plan/find_entry.h"
#include "tools/policyctl/plan/plan.h"

namespace {

std::string number(std::uint32_t value) {
  return std::to_string(value);
}

std::string record_statement(const RecordName& record) {
  return record.interface != nullptr ? interface_statement(*record.interface)
                                     : vlan_statement(record.vlan);
}

const Bindings* bindings_of(const Configuration& configuration, const RecordName& record) {
  return record.interface != nullptr ? find_entry(configuration.interfaces, *record.interface)
                                     : find_entry(configuration.vlans, record.vlan);
}

std::string filter_order(const Bindings& bindings) {
  std::string text = "filters in the order";
  for (const RuleKey& key : bindings.filters) {
    text += (text.ends_with("order") ? " " : ", ") + number(key.acl) + "/" + number(key.rule);
  }
  return text;
}

std::string queue_statement(const std::map<std::uint32_t, std::uint32_t>& queues,
                            std::uint32_t priority,
                            std::string (*statement)(std::uint32_t, std::uint32_t)) {
  const auto at = queues.find(priority);
  return at == queues.end() ? std::string() : statement(priority, at->second);
}

std::string binding_text(const Change& change, const Configuration& configuration) {
  const Bindings* const bindings = bindings_of(configuration, change.record);
  if (bindings == nullptr) return {};
  switch (change.entry) {
    case ChangedEntry::COS_VALUE:
      return cos_value_statement(bindings->cos_value.value_or(0));
    case ChangedEntry::FILTER:
      return filter_statement(change.key);
    case ChangedEntry::FILTER_ORDER:
      return filter_order(*bindings);
    default: {
      const auto at = bindings->remarks.find(change.key);
      return at == bindings->remarks.end() ? std::string()
                                           : remark_statement(change.key, at->second);
    }
  }
}

std::string acl_text(const Change& change, const Configuration& configuration) {
  if (change.entry == ChangedEntry::RULE) {
    const Rule* const rule = find_rule(configuration, change.key);
    return rule == nullptr ? std::string() : rule_statement(change.key.rule, *rule);
  }
  const auto at = configuration.acls.find(change.key.acl);
  return at == configuration.acls.end() ? std::string() : acl_statement(change.key.acl, at->second);
}

// The changed statement as `configuration` has it.
std::string text_in(const Change& change, const Configuration& configuration) {
  const ClassOfService& cos = configuration.cos;
  switch (change.entry) {
    case ChangedEntry::COS_FLAG:
      return cos.flag ? cos_flag_statement(*cos.flag) : std::string();
    case ChangedEntry::COS_SCHEDULE_MODE:
      return cos.mode ? cos_mode_statement(*cos.mode) : std::string();
    case ChangedEntry::COS_SCHEDULE_ALGORITHM:
      return cos.schedule ? cos_schedule_statement(*cos.schedule) : std::string();
    case ChangedEntry::COS_PRIORITY:
      return queue_statement(cos.priority_queues, change.key.rule, cos_priority_statement);
    case ChangedEntry::COS_MAPPING:
      return queue_statement(cos.mapping, change.key.rule, cos_mapping_statement);
    case ChangedEntry::TIME_RANGE: {
      const auto at = configuration.time_ranges.find(*change.name);
      return at == configuration.time_ranges.end() ? std::string()
                                                   : time_range_statement(*change.name, at->second);
    }
    case ChangedEntry::ACL:
    case ChangedEntry::RULE:
      return acl_text(change, configuration);
    default:
      return binding_text(change, configuration);
  }
}

std::string where(const Change& change, const Plan& plan) {
  switch (change.entry) {
    case ChangedEntry::RULE: {
      const auto& acls =
          change.sign == ChangeSign::REMOVED ? plan.present().acls : plan.target().acls;
      return acl_statement(change.key.acl, acls.at(change.key.acl));
    }
    case ChangedEntry::COS_VALUE:
    case ChangedEntry::FILTER:
    case ChangedEntry::FILTER_ORDER:
    case ChangedEntry::REMARK:
      return record_statement(change.record);
    default:
      return {};
  }
}

}  // namespace

ChangeText describe(const Change& change, const Plan& plan) {
  ChangeText text;
  text.where = where(change, plan);
  if (change.sign != ChangeSign::ADDED) text.before = text_in(change, plan.present());
  if (change.sign != ChangeSign::REMOVED) text.after = text_in(change, plan.target());
  return text;
}

std::string describe(const Step& step) {
  const auto bound = [&step](const std::string& what) {
    return what + " " + rule_name(step.key) + " on " + record_statement(step.record);
  };
  switch (step.kind) {
    case StepKind::DELETE_FILTER:
      return bound("unbind filter");
    case StepKind::UNREMARK:
      return bound("remove the remark of");
    case StepKind::DELETE_RULE:
      return "delete " + rule_name(step.key);
    case StepKind::DELETE_ACL:
      return "delete acl " + number(step.key.acl);
    case StepKind::DELETE_TIME_RANGE:
      return "delete time-range " + *step.name;
    case StepKind::CREATE_TIME_RANGE:
      return "create time-range " + *step.name;
    case StepKind::CREATE_ACL:
      return "create acl " + number(step.key.acl);
    case StepKind::SET_ACL_DESCRIPTION:
    case StepKind::UNSET_ACL_DESCRIPTION:
      return "describe acl " + number(step.key.acl);
    case StepKind::CREATE_RULE:
      return "create " + rule_name(step.key);
    case StepKind::SET_RULE_DESCRIPTION:
    case StepKind::UNSET_RULE_DESCRIPTION:
      return "describe " + rule_name(step.key);
    case StepKind::ADD_FILTER:
      return bound("bind filter");
    case StepKind::REMARK:
      return bound("remark");
    case StepKind::SET_COS_VALUE:
      return "set the cos-value of " + record_statement(step.record);
    case StepKind::SET_COS_FLAG:
      return "set the cos flag";
    case StepKind::SET_SCHEDULE_MODE:
      return "set the schedule mode";
    case StepKind::SET_SCHEDULE_ALGORITHM:
      return "set the schedule algorithm";
    case StepKind::SET_PRIORITY_QUEUES:
      return "set the queues of priorities";
    case StepKind::SET_COS_MAPPING:
      break;
  }
  return "program the line cards' mapping";
}
