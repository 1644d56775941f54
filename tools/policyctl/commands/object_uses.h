// A list, a rule or a time range as people name it, and who uses it.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/commands/missing_object.h"
#include "tools/policyctl/json/json_output.h"
#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/plan/plan.h"

// "acl 10", "acl 10 rule 1", "time-range night".
struct ObjectName {
  std::optional<std::uint32_t> acl;
  std::optional<std::uint32_t> rule;  // of the list
  std::string time_range;             // when there is no list

  [[nodiscard]] std::string name() const;
};
// One of `forms`, which are some of object_forms(). Throws Failure USAGE, saying what
// is wrong.
[[nodiscard]] ObjectName parse_object(const std::vector<std::string_view>& forms,
                                      const std::vector<std::string>& words);
// The forms of names, in the notation of statements: of lists and rules, and of
// all objects.
[[nodiscard]] std::vector<std::string_view> list_forms();
[[nodiscard]] std::vector<std::string_view> object_forms();

// Throws Failure REFUSED when there is none; `place` is where it was looked for.
void require_object(const ObjectName& object, const Configuration& configuration,
                    const ObjectPlace& place);

// One binding of a list or rule.
struct Use {
  RecordName record;
  RuleKey key;
  std::optional<Remark> remark;  // none: a filter
};
// They refer to `configuration`.
[[nodiscard]] std::vector<Use> uses_of(const ObjectName& object,
                                       const Configuration& configuration);
void print_uses(std::ostream& out, const std::vector<Use>& uses);
[[nodiscard]] Json uses_json(const ObjectName& object, const std::vector<Use>& uses);

// Takes away every binding of a list or rule.
void unbind_object(const ObjectName& object, Configuration& configuration);
// It must be there.
void remove_object(const ObjectName& object, Configuration& configuration);
