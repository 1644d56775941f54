#include "tools/policyctl/language/configuration.h"

std::string rule_name(const RuleKey& key) {
  return "acl " + std::to_string(key.acl) + " rule " + std::to_string(key.rule);
}

const Rule* find_rule(const Configuration& configuration, const RuleKey& key) {
  const auto acl = configuration.acls.find(key.acl);
  if (acl == configuration.acls.end()) return nullptr;
  const auto rule = acl->second.rules.find(key.rule);
  return rule == acl->second.rules.end() ? nullptr : &rule->second;
}

ClassOfService default_class_of_service() {
  ClassOfService cos;
  cos.flag = false;
  cos.mode = 0;
  cos.schedule = Schedule{0, {12, 8, 4, 1}};
  for (std::uint32_t priority = 0; priority < 8; ++priority) {
    cos.priority_queues[priority] = priority;
    cos.mapping[priority] = priority;
  }
  cos.mapping[0] = 2;
  cos.mapping[1] = 0;
  cos.mapping[2] = 1;
  return cos;
}
