#include "tools/policyctl/help/examples.h"

#include <algorithm>
#include <array>

#include "tools/policyctl/language/statement_match.h"

namespace {

constexpr std::string_view CONFIGURATION = R"(cos flag on
cos schedule mode 1
cos schedule algorithm 2 weights 12 8 4 1
cos priority 5 queue 5
cos mapping 0 queue 2
time-range night 22 6 on 0 0
acl 10 type 0 description "edge in"
  rule 1 permit src-ip 10.0.0.0/8 dst-port 80 description "web"
  rule 2 permit src-ip 192.0.2.0/24 time-range night
  rule 3 permit protocol 17 36 "any text of field 36"
  rule 9 deny
interface eth-0/3/1
  cos-value 3
  filter acl 10 rule 1
  filter acl 10 rule 9
  remark acl 10 rule 1 dscp 46
  remark acl 10 rule 2 priority 5
vlan 20
  filter acl 10 rule 1
  remark acl 10 rule 3 two-bit 2
)";

constexpr std::array COMMANDS{
    CommandExample{"policyctl check edge.conf", "look for faults, without a switch"},
    CommandExample{"policyctl plan edge.conf", "what would applying it change?"},
    CommandExample{"policyctl apply edge.conf", "make it so, all or nothing"},
    CommandExample{"policyctl show", "everything, as text that can be applied"},
    CommandExample{"policyctl show acl 10 rule 1", "one rule"},
    CommandExample{"policyctl --json show interface eth-0/3/1", "for programs"},
    CommandExample{"policyctl who-uses acl 10 rule 1", "what holds the rule?"},
    CommandExample{"policyctl save before.conf", "keep the configuration in a file"},
    CommandExample{"policyctl checkpoint 'before the night shift'", "keep it as a checkpoint"},
    CommandExample{"policyctl delete acl 10 rule 9 --cascade", "unbind the rule and delete it"},
    CommandExample{"policyctl diff before.conf switch", "what has changed since?"},
    CommandExample{"policyctl checkpoints", "the list, the newest first"},
    CommandExample{"policyctl rollback 2 --confirm 60",
                   "back to the second one, for a minute unless it is confirmed"},
    CommandExample{"policyctl confirm", "keep it"},
    CommandExample{"policyctl apply --prune edge.conf", "remove what the file does not name"},
    CommandExample{"policyctl recover", "finish undoing what a killed policyctl began"},
    CommandExample{"policyctl dscp-queue 46 7", "which queue DSCP 46 takes"},
    CommandExample{"policyctl help rule", "how a rule is written"},
};

}  // namespace

std::string_view example_configuration() {
  return CONFIGURATION;
}

std::string_view example_of(const Statement& statement) {
  std::string_view rest = CONFIGURATION;
  while (!rest.empty()) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(line.size() + 1);
    line.remove_prefix(line.find_first_not_of(' '));
    Words words;
    StatementMatch match;
    const bool is_read = !words.split(line) && !match.match(statement.context, words.all());
    if (is_read && match.statement().id == statement.id) return line;
  }
  return {};
}

std::span<const CommandExample> command_examples() {
  return COMMANDS;
}
