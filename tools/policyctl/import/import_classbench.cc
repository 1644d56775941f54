#include "tools/classbench/classbench_rule.h"
#include "tools/policyctl/entries/acl.h"
#include "tools/policyctl/entries/rule.h"
#include "tools/policyctl/import/import_formats.h"

namespace {

// Up to the end of the line; the reader of a rule says where, not how far.
Fault fault_of(std::string_view line, std::size_t number, const ClassbenchLineError& error) {
  const std::size_t begin = error.column() - 1;
  const std::size_t length = line.size() > begin ? line.size() - begin : 1;
  return {number, error.column(), length, std::string(error.what()) + ".",
          "A line is: @SRC/LEN DST/LEN LOW : HIGH LOW : HIGH 0xPR/0xMA 0xFLAG/0xMASK, with a tab "
          "behind each field."};
}

Rule rule_of(const ClassbenchRule& from) {
  Rule rule;
  rule.action = PERMIT;
  const std::vector<MatchValue> values = match_values(from);
  for (const MatchValue& value : values) rule.fields.append(value.field->number, value.text);
  return rule;
}

}  // namespace

void import_classbench(std::string_view text, const ImportOptions& options, Import& import) {
  import.configuration.put(ACL, key_of(options.first_acl), acl_value(0, ""));
  std::uint32_t number = 1;
  for (; !text.empty(); ++number) {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() < text.size() ? line.size() + 1 : line.size());
    if (line.ends_with('\r')) line.remove_suffix(1);
    try {
      import.configuration.put(RULE, key_of(RuleKey{options.first_acl, number}),
                               value_of(rule_of(parse_classbench_line(line))));
    } catch (const ClassbenchLineError& error) {
      import.faults.push_back(fault_of(line, number, error));
    }
  }
  if (number == 1) import.faults.push_back({0, 0, 0, "the set has no rules.", ""});
}
