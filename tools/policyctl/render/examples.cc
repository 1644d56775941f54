#include "tools/policyctl/render/examples.h"

#include <algorithm>
#include <array>

#include "tools/policyctl/language/statement_match.h"

namespace {

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

bool is_text_head(const EntryKind& kind) {
  const Argument* const argument = statements_of(kind).front().elements[1].argument;
  return argument != nullptr && argument->syntax == ArgumentSyntax::TEXT;
}

}  // namespace

const std::string& example_configuration() {
  static const std::string EXAMPLE = [] {
    std::string text;
    for (const EntryKind* kind : top_kinds()) {
      text += *kind->facts().example;
      for (const EntryKind* child : kinds_below(*kind)) {
        const bool can_be = *child->facts().refused == nullptr || is_text_head(*kind);
        if (can_be) text += *child->facts().example;
      }
    }
    return text;
  }();
  return EXAMPLE;
}

std::string_view example_of(const Statement& statement) {
  std::string_view rest = *statement.kind->facts().example;
  while (!rest.empty()) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(line.size() + 1);
    line.remove_prefix(line.find_first_not_of(' '));
    Words words;
    StatementMatch match;
    const bool is_read = !words.split(line) && !match.match(statement.context, words.all());
    if (is_read && &match.statement() == &statement) return line;
  }
  return {};
}

std::span<const CommandExample> command_examples() {
  return COMMANDS;
}
