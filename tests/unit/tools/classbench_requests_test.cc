#include "tools/classbench/classbench_requests.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

#include "common/match_values.h"

namespace {

constexpr const char* ANY_LINE =
    "@0.0.0.0/0\t0.0.0.0/0\t0 : 65535\t0 : 65535\t0x00/0x00\t0x0000/0x0000\t\n";
constexpr const char* TCP_LINE =
    "@10.0.0.0/8\t0.0.0.0/0\t0 : 65535\t80 : 80\t0x06/0xFF\t0x0000/0x0000\t\n";

std::string requests(const std::string& set, const ClassbenchNumbers& numbers) {
  std::istringstream in(set);
  return classbench_requests(in, numbers);
}

std::string refusal(const std::string& set, const ClassbenchNumbers& numbers = {}) {
  try {
    return requests(set, numbers);
  } catch (const ClassbenchError& error) {
    return error.what();
  }
}

TEST(ClassbenchRequests, CreateTheAclAndThenItsRules) {
  EXPECT_EQ(requests(std::string(TCP_LINE) + ANY_LINE, {10, 1, 1}),
            "finder://policy/policy_config/0.1/create_acl?acl:u32=10&type:u32=0\n"
            "finder://policy/policy_config/0.1/create_rule?acl:u32=10&rule:u32=1&action:u32=1"
            "&flags:list=:u32=7,:u32=11,:u32=13&values:list=:txt=10.0.0.0/8,:txt=6,:txt=80\n"
            "finder://policy/policy_config/0.1/create_rule?acl:u32=10&rule:u32=2&action:u32=1"
            "&flags:list=&values:list=\n");
}

TEST(ClassbenchRequests, CountUpFromTheFirstRuleAndCarryTheAction) {
  const std::string text = requests(std::string(ANY_LINE) + ANY_LINE, {4294967295, 0, 4294967294});
  EXPECT_NE(text.find("acl:u32=4294967295&rule:u32=4294967294&action:u32=0&"), std::string::npos);
  EXPECT_NE(text.find("acl:u32=4294967295&rule:u32=4294967295&action:u32=0&"), std::string::npos);
}

TEST(ClassbenchRequests, RuleNumbersDoNotWrapAround) {
  EXPECT_EQ(refusal(std::string(ANY_LINE) + ANY_LINE, {1, 1, 4294967295}),
            "2:1: no rule number is left");
}

TEST(ClassbenchRequests, TellLineAndColumnOfWhatIsWrong) {
  EXPECT_EQ(refusal(std::string(ANY_LINE) + "@10.0.0.0/8 \n"), "2:12: tab expected");
  EXPECT_EQ(refusal(std::string(ANY_LINE) + "\n" + ANY_LINE), "2:1: '@' expected");
}

TEST(ClassbenchRequests, ASetWithoutRulesIsNone) {
  EXPECT_EQ(refusal(""), "1:1: the set has no rules");
}

TEST(ClassbenchRequests, TheLastLineNeedsNoLineBreak) {
  std::string set = ANY_LINE;
  set.pop_back();
  EXPECT_EQ(requests(set, {1, 1, 1}), requests(ANY_LINE, {1, 1, 1}));
}

std::vector<std::string> lines_of(const std::string& name) {
  std::ifstream file(std::string(EXAMPLES) + "/" + name);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// The fields of a create_rule request, by their names.
std::map<std::string, std::string> fields_of(const Xrl& request) {
  std::map<std::string, std::string> fields;
  auto value = request.args.find("values")->list().texts().begin();
  for (const std::uint32_t number : request.args.find("flags")->list().u32s()) {
    const MatchField* const field = find_match_field(number);
    if (field == nullptr) throw std::runtime_error("reserved " + std::to_string(number));
    const std::string text(*value);
    ++value;
    const std::string problem = match_value_problem(*field, text);
    if (!problem.empty()) throw std::runtime_error(problem);
    fields.emplace(field->name, text);
  }
  return fields;
}

std::string take(std::map<std::string, std::string>& fields, const char* name,
                 const std::string& otherwise) {
  const auto field = fields.extract(name);
  return field.empty() ? otherwise : field.mapped();
}

std::string ports(const std::string& text) {
  const std::size_t dash = text.find('-');
  return text.substr(0, dash) + " : " + text.substr(dash == std::string::npos ? 0 : dash + 1);
}

std::string protocol(const std::string& text) {
  if (text.empty()) return "0x00/0x00";
  char written[16];
  std::snprintf(written, sizeof written, "0x%02X/0xFF", std::stoi(text));
  return written;
}

// The line of the set that a create_rule request was made of.
std::string line_of(const Xrl& request) {
  std::map<std::string, std::string> fields = fields_of(request);
  std::string line = "@" + take(fields, "src-ip", "0.0.0.0/0") + "\t";
  line += take(fields, "dst-ip", "0.0.0.0/0") + "\t";
  line += ports(take(fields, "src-port", "0-65535")) + "\t";
  line += ports(take(fields, "dst-port", "0-65535")) + "\t";
  line += protocol(take(fields, "protocol", "")) + "\t";
  line += take(fields, "tcp-flags", "0x0000/0x0000") + "\t";
  if (!fields.empty()) line += "and " + fields.begin()->first;
  return line;
}

class ClassbenchSet : public testing::TestWithParam<std::pair<const char*, std::size_t>> {};

TEST_P(ClassbenchSet, EveryLineCanBeWrittenAgainFromItsRequest) {
  const auto& [name, count] = GetParam();
  const std::vector<std::string> lines = lines_of(name);
  ASSERT_EQ(lines.size(), count);
  std::ifstream set(std::string(EXAMPLES) + "/" + name);
  std::istringstream requests(classbench_requests(set, {10, 1, 1}));
  std::string text;
  ASSERT_TRUE(std::getline(requests, text));
  EXPECT_EQ(Xrl::parse(text), create_acl_request(10));
  for (std::size_t i = 0; i < lines.size(); ++i) {
    ASSERT_TRUE(std::getline(requests, text));
    const Xrl request = Xrl::parse(text);
    EXPECT_EQ(request.method, "policy_config/0.1/create_rule");
    EXPECT_EQ(request.args.find("rule")->uint32(), i + 1);
    ASSERT_EQ(line_of(request), lines[i]);
  }
  EXPECT_FALSE(std::getline(requests, text));
}

INSTANTIATE_TEST_SUITE_P(Examples, ClassbenchSet,
                         testing::Values(std::pair("classbench-acl1-1k.rules", 942),
                                         std::pair("classbench-acl1-10k.rules", 9774)));

}  // namespace
