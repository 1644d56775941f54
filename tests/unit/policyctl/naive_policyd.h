// A policyd that knows nothing but what its commands do to a configuration.
#pragma once

#include "tests/support/typed_configuration.h"
#include "tools/policyctl/change/plan.h"

class NaivePolicyd {
 public:
  explicit NaivePolicyd(Configuration configuration) : now(std::move(configuration)) {}

  // Whether it takes the request; one that it refuses changes nothing.
  bool carry_out(const Step& step);
  // All of it; false when a step was refused.
  bool carry_out(const Plan& plan);

  Configuration now;

 private:
  Bindings* record(const EntryKey& key);
  [[nodiscard]] bool is_bound(const RuleKey& key, bool whole_acl) const;
  bool carry_out_at_record(const Step& step);
  bool carry_out_at_rule(const Step& step);
  bool carry_out_at_acl(const Step& step);
  bool set_class_of_service(const Step& step);
};
