// A policyd that knows nothing but what its commands do to a configuration.
#pragma once

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/plan/plan.h"

class NaivePolicyd {
 public:
  explicit NaivePolicyd(Configuration configuration) : now(std::move(configuration)) {}

  // Whether it takes the request; one that it refuses changes nothing.
  bool carry_out(const Step& step, const Plan& plan);
  // All of it; false when a step was refused.
  bool carry_out(const Plan& plan);

  Configuration now;

 private:
  Bindings* record(const RecordName& name);
  [[nodiscard]] bool is_bound(const RuleKey& key, bool whole_acl) const;
  bool carry_out_at_record(const Step& step, const Configuration& target);
  bool carry_out_at_rule(const Step& step, const Configuration& target);
  bool carry_out_at_acl(const Step& step, const Configuration& target);
  bool set_class_of_service(StepKind kind, const Plan& plan);
};
