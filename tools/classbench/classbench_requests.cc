#include "tools/classbench/classbench_requests.h"

#include <istream>
#include <limits>
#include <string_view>
#include <vector>

namespace {

constexpr const char* TARGET = "policy";
constexpr std::uint32_t ACL_TYPE = 0;

[[noreturn]] void fail(std::size_t line, std::size_t column, const std::string& problem) {
  throw ClassbenchError(std::to_string(line) + ":" + std::to_string(column) + ": " + problem);
}

ClassbenchRule parse_line(std::string_view text, std::size_t line) {
  try {
    return parse_classbench_line(text);
  } catch (const ClassbenchLineError& error) {
    fail(line, error.column(), error.what());
  }
}

}  // namespace

Xrl create_acl_request(std::uint32_t acl) {
  Xrl request{TARGET, "policy_config/0.1/create_acl", {}};
  request.args.add(XrlAtom("acl", acl));
  request.args.add(XrlAtom("type", ACL_TYPE));
  return request;
}

Xrl create_rule_request(const ClassbenchRule& rule, const ClassbenchNumbers& numbers,
                        std::uint32_t rule_number) {
  XrlAtomList flags;
  XrlAtomList values;
  for (const MatchValue& value : match_values(rule)) {
    flags.append(value.field->number);
    values.append(value.text);
  }
  Xrl request{TARGET, "policy_config/0.1/create_rule", {}};
  request.args.add(XrlAtom("acl", numbers.acl));
  request.args.add(XrlAtom("rule", rule_number));
  request.args.add(XrlAtom("action", numbers.action));
  request.args.add(XrlAtom("flags", std::move(flags)));
  request.args.add(XrlAtom("values", std::move(values)));
  return request;
}

std::string classbench_requests(std::istream& set, const ClassbenchNumbers& numbers) {
  constexpr std::uint64_t LAST_RULE = std::numeric_limits<std::uint32_t>::max();
  std::string requests = create_acl_request(numbers.acl).str() + '\n';
  std::uint64_t rule_number = numbers.first_rule;
  std::size_t line = 1;
  for (std::string text; std::getline(set, text); ++line, ++rule_number) {
    const ClassbenchRule rule = parse_line(text, line);
    if (rule_number > LAST_RULE) fail(line, 1, "no rule number is left");
    requests +=
        create_rule_request(rule, numbers, static_cast<std::uint32_t>(rule_number)).str() + '\n';
  }
  if (line == 1) fail(line, 1, "the set has no rules");
  return requests;
}
