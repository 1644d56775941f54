#include "tools/policyctl/language/statements.h"

#include <algorithm>
#include <array>
#include <limits>

#include "framework/base/xlog.h"
#include "tools/policyctl/language/statement_handlers.h"

namespace {

constexpr std::uint32_t ANY = std::numeric_limits<std::uint32_t>::max();

constexpr Argument number(std::string_view name, std::uint32_t lowest, std::uint32_t highest,
                          std::string_view help, LiveNames live = LiveNames::NONE) {
  return {name, ArgumentSyntax::NUMBER, lowest, highest, {}, live, help};
}
constexpr Argument one_of(std::string_view name, std::string_view choices, std::string_view help) {
  return {name, ArgumentSyntax::CHOICE, 0, 0, choices, LiveNames::NONE, help};
}
constexpr Argument text(std::string_view name, std::string_view help,
                        LiveNames live = LiveNames::NONE) {
  return {name, ArgumentSyntax::TEXT, 0, 0, {}, live, help};
}

constexpr std::array ARGUMENTS{
    one_of("SWITCH", "off|on", "off or on"),
    one_of("ACTION", "deny|permit", "what becomes of a packet that the rule matches"),
    number("ACL", 0, ANY, "number of an access control list", LiveNames::ACLS),
    number("RULE", 0, ANY, "number of a rule; lower ones come first", LiveNames::RULES),
    number("TYPE", 0, 1, "type of an access control list"),
    number("MODE", 0, 4, "scheduling mode of the queues"),
    number("ALGORITHM", 0, 3, "scheduling algorithm of the queues"),
    number("WEIGHT", 0, ANY, "weight of a queue, for queues 0 to 3"),
    number("PRIORITY", 0, 7, "802.1p priority"),
    number("QUEUE", 0, 7, "egress queue"),
    number("DSCP", 0, 63, "differentiated services code point"),
    number("TWO-BIT", 0, 3, "two-bit value"),
    number("VALUE", 0, ANY, "value kept for the interface"),
    number("NUMBER", 0, ANY, "a number; the daemon gives it no meaning"),
    number("VLAN", 1, 4094, "VLAN id", LiveNames::VLANS),
    text("NAME", "name of a time range", LiveNames::TIME_RANGES),
    text("INTERFACE", "name of a port or aggregate", LiveNames::INTERFACES),
    text("TEXT", "text, in double quotes when it has blanks"),
    // Of commands, not of statements.
    number("N", 1, ANY, "number of a checkpoint; 1 is the newest"),
    number("SECONDS", 1, 86400, "time to confirm a change in"),
    text("FILE", "name of a file", LiveNames::FILES),
    text("TOPIC", "a command, a statement or a match field", LiveNames::TOPICS),
};

using enum StatementContext;
using Id = StatementId;

// clang-format off
constexpr std::array STATEMENTS{
    Statement{Id::COS_FLAG, TOP, TOP, "cos flag SWITCH",
              "get_cos_flag", "set_cos_flag",
              "the switch-wide class-of-service flag", enter_cos_flag},
    Statement{Id::COS_SCHEDULE_MODE, TOP, TOP, "cos schedule mode MODE",
              "get_schedule_mode", "set_schedule_mode",
              "how the egress queues are scheduled", enter_cos_schedule_mode},
    Statement{Id::COS_SCHEDULE_ALGORITHM, TOP, TOP,
              "cos schedule algorithm ALGORITHM weights WEIGHT WEIGHT WEIGHT WEIGHT",
              "get_schedule_algorithm", "set_schedule_algorithm",
              "the scheduling algorithm and the weights of queues 0 to 3", enter_cos_schedule_algorithm},
    Statement{Id::COS_PRIORITY, TOP, TOP, "cos priority PRIORITY queue QUEUE",
              "get_priority_queue", "set_priority_queue",
              "the queue of frames of a priority, kept by the daemon", enter_cos_priority},
    Statement{Id::COS_MAPPING, TOP, TOP, "cos mapping PRIORITY queue QUEUE",
              "get_cos_mapping", "set_cos_mapping",
              "the queue of frames of a priority, as the line cards are programmed", enter_cos_mapping},
    Statement{Id::TIME_RANGE, TOP, TOP, "time-range NAME NUMBER NUMBER SWITCH NUMBER NUMBER",
              "get_time_ranges", "create_time_range, delete_time_range",
              "a named time range of five values", enter_time_range},
    Statement{Id::ACL, TOP, ACL, "acl ACL type TYPE [description TEXT]",
              "get_acls", "create_acl, set_acl_description, unset_acl_description, delete_acl",
              "an access control list; its rules follow", enter_acl},
    Statement{Id::INTERFACE, TOP, BINDINGS, "interface INTERFACE",
              "", "",
              "a port or aggregate; what is bound to it follows", enter_interface},
    Statement{Id::VLAN, TOP, BINDINGS, "vlan VLAN",
              "", "",
              "a VLAN; what is bound to it follows", enter_vlan},
    Statement{Id::RULE, ACL, TOP, "rule RULE ACTION FIELD... [description TEXT]",
              "get_rules, get_rule",
              "create_rule, set_rule_description, unset_rule_description, delete_rule",
              "a rule of the list above; it matches what each of its fields matches", enter_rule},
    Statement{Id::COS_VALUE, BINDINGS, TOP, "cos-value VALUE",
              "get_port_cos_value", "set_port_cos_value",
              "the class-of-service value of the interface above", enter_cos_value},
    Statement{Id::FILTER, BINDINGS, TOP, "filter acl ACL rule RULE",
              "get_port_packet_filters, get_vlan_packet_filters",
              "set_port_packet_filter, delete_port_packet_filter, set_vlan_packet_filter, "
              "delete_vlan_packet_filter",
              "binds a rule as a packet filter, behind those bound before", enter_filter},
    Statement{Id::REMARK_DSCP, BINDINGS, TOP, "remark acl ACL rule RULE dscp DSCP",
              "get_port_remark, get_vlan_remark",
              "remark_port_priority, unremark_port_priority, remark_vlan_priority, "
              "unremark_vlan_priority",
              "gives packets that a permit rule matches another DSCP", enter_remark_dscp},
    Statement{Id::REMARK_PRIORITY, BINDINGS, TOP, "remark acl ACL rule RULE priority PRIORITY",
              "get_port_remark, get_vlan_remark",
              "remark_port_priority, unremark_port_priority, remark_vlan_priority, "
              "unremark_vlan_priority",
              "gives packets that a permit rule matches another priority", enter_remark_priority},
    Statement{Id::REMARK_TWO_BIT, BINDINGS, TOP, "remark acl ACL rule RULE two-bit TWO-BIT",
              "get_port_remark, get_vlan_remark",
              "remark_port_priority, unremark_port_priority, remark_vlan_priority, "
              "unremark_vlan_priority",
              "gives packets that a permit rule matches a two-bit value", enter_remark_two_bit},
};
// clang-format on

static_assert([] {
  for (std::size_t i = 0; i < STATEMENTS.size(); ++i) {
    if (static_cast<std::size_t>(STATEMENTS[i].id) != i) return false;
  }
  return true;
}());

const Argument* find_argument(std::string_view name) {
  const auto* const at = std::find_if(ARGUMENTS.begin(), ARGUMENTS.end(),
                                      [name](const Argument& a) { return a.name == name; });
  XLOG_ASSERT(at != ARGUMENTS.end(), "argument " + std::string(name));
  return at;
}

}  // namespace

std::vector<PatternElement> parse_pattern(std::string_view pattern) {
  std::vector<PatternElement> elements;
  while (!pattern.empty()) {
    const std::size_t end = std::min(pattern.find(' '), pattern.size());
    std::string_view word = pattern.substr(0, end);
    pattern.remove_prefix(std::min(end + 1, pattern.size()));
    const bool optional = word.starts_with('[');
    if (optional) word.remove_prefix(1);
    if (word.ends_with(']')) word.remove_suffix(1);
    const bool is_literal = word[0] >= 'a' && word[0] <= 'z';
    if (is_literal) {
      elements.push_back({PatternElement::Kind::LITERAL, word, nullptr, optional});
    } else if (word.ends_with("...")) {
      elements.push_back({PatternElement::Kind::FIELDS, word, nullptr, optional});
    } else {
      elements.push_back({PatternElement::Kind::ARGUMENT, word, find_argument(word), optional});
    }
  }
  return elements;
}

std::span<const Statement> statements() {
  return STATEMENTS;
}

const Statement& statement(StatementId id) {
  return STATEMENTS[static_cast<std::size_t>(id)];
}

const std::vector<PatternElement>& pattern_of(const Statement& statement) {
  static const std::vector<std::vector<PatternElement>> PATTERNS = [] {
    std::vector<std::vector<PatternElement>> patterns;
    patterns.reserve(STATEMENTS.size());
    for (const Statement& each : STATEMENTS) patterns.push_back(parse_pattern(each.pattern));
    return patterns;
  }();
  return PATTERNS[static_cast<std::size_t>(statement.id)];
}

std::string argument_syntax(const Argument& argument) {
  switch (argument.syntax) {
    case ArgumentSyntax::NUMBER:
      return std::to_string(argument.lowest) + ".." + std::to_string(argument.highest);
    case ArgumentSyntax::CHOICE: {
      std::string words(argument.choices);
      for (std::size_t at = words.find('|'); at != std::string::npos; at = words.find('|', at)) {
        words.replace(at, 1, ", ");
      }
      return words;
    }
    case ArgumentSyntax::TEXT:
      break;
  }
  return "text";
}

std::string_view choice(const Argument& argument, std::uint32_t index) {
  std::string_view rest = argument.choices;
  for (; index > 0; --index) rest.remove_prefix(rest.find('|') + 1);
  return rest.substr(0, rest.find('|'));
}
