#include "tools/policyctl/language/write_configuration.h"

#include <charconv>
#include <initializer_list>

#include "common/match_fields.h"
#include "common/match_values.h"
#include "framework/base/xlog.h"
#include "tools/policyctl/language/statements.h"
#include "tools/policyctl/language/words.h"

namespace {

using Kind = PatternElement::Kind;

constexpr std::string_view INDENTATION = "  ";

struct Given {
  explicit Given(std::uint32_t n) : number(n) {}
  explicit Given(std::string_view t) : text(t) {}
  std::uint32_t number = 0;
  std::string_view text;
};

void append_number(std::string& line, std::uint32_t number) {
  char digits[10];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  line.append(digits, end);
}

void append_argument(std::string& line, const PatternElement& element, const Given& given) {
  switch (element.argument->syntax) {
    case ArgumentSyntax::NUMBER:
      append_number(line, given.number);
      return;
    case ArgumentSyntax::CHOICE:
      line += choice(*element.argument, given.number);
      return;
    case ArgumentSyntax::TEXT:
      // Descriptions look alike, names look like names.
      line += element.word == "TEXT" ? as_quoted_word(given.text) : as_word(given.text);
      return;
  }
}

// A statement with these arguments; an optional part is written when its
// argument is not empty.
void append_statement(std::string& line, StatementId id, std::initializer_list<Given> arguments,
                      const RuleFields& fields = {}) {
  const Given* given = arguments.begin();
  const std::size_t begin = line.size();
  for (const PatternElement& element : pattern_of(statement(id))) {
    if (element.optional && given->text.empty()) return;
    if (element.kind == Kind::FIELDS) {
      fields.for_each([&line](std::uint32_t number, std::string_view value) {
        line += ' ';
        append_field(line, number, value);
      });
      continue;
    }
    if (line.size() > begin) line += ' ';
    if (element.kind == Kind::LITERAL) {
      line += element.word;
    } else {
      XLOG_ASSERT(given != arguments.end(), "pattern element " + std::string(element.word));
      append_argument(line, element, *given++);
    }
  }
}

std::string written(StatementId id, std::initializer_list<Given> arguments) {
  std::string line;
  append_statement(line, id, arguments);
  return line;
}

void append_rule(std::string& text, std::uint32_t number, const Rule& rule) {
  append_statement(text, StatementId::RULE,
                   {Given(number), Given(rule.action), Given(rule.description)}, rule.fields);
}

void append_class_of_service(std::string& text, const ClassOfService& cos) {
  if (cos.flag) text += cos_flag_statement(*cos.flag) + '\n';
  if (cos.mode) text += cos_mode_statement(*cos.mode) + '\n';
  if (cos.schedule) text += cos_schedule_statement(*cos.schedule) + '\n';
  for (const auto& [priority, queue] : cos.priority_queues) {
    text += cos_priority_statement(priority, queue) + '\n';
  }
  for (const auto& [priority, queue] : cos.mapping) {
    text += cos_mapping_statement(priority, queue) + '\n';
  }
}

void append_bindings(std::string& text, const std::string& head, const Bindings& bindings,
                     Bare bare) {
  if (bindings.is_bare() && bare == Bare::LEFT_OUT) return;
  const auto line = [&text](const std::string& statement) {
    text.append(INDENTATION).append(statement) += '\n';
  };
  text += head + '\n';
  const bool has_value =
      bare == Bare::WRITTEN ? bindings.cos_value.has_value() : bindings.cos_value.value_or(0) != 0;
  if (has_value) line(cos_value_statement(*bindings.cos_value));
  for (const RuleKey& key : bindings.filters) line(filter_statement(key));
  for (const auto& [key, remark] : bindings.remarks) line(remark_statement(key, remark));
}

StatementId remark_id(std::uint32_t kind) {
  switch (kind) {
    case REMARK_DSCP:
      return StatementId::REMARK_DSCP;
    case REMARK_PRIORITY:
      return StatementId::REMARK_PRIORITY;
    default:
      return StatementId::REMARK_TWO_BIT;
  }
}

}  // namespace

void append_field(std::string& line, std::uint32_t number, std::string_view value) {
  const MatchField* const field = find_match_field(number);
  if (field != nullptr && match_value_problem(*field, value).empty()) {
    line.append(field->name) += ' ';
    line += as_word(value);
    return;
  }
  append_number(line, number);
  line += ' ';
  line += as_quoted_word(value);
}

std::string acl_statement(std::uint32_t number, const Acl& acl) {
  return written(StatementId::ACL, {Given(number), Given(acl.type), Given(acl.description)});
}

std::string rule_statement(std::uint32_t number, const Rule& rule) {
  std::string line;
  append_rule(line, number, rule);
  return line;
}

std::string time_range_statement(std::string_view name, const TimeRange& range) {
  return written(StatementId::TIME_RANGE,
                 {Given(name), Given(range.number1), Given(range.number2),
                  Given(std::uint32_t{range.flag}), Given(range.number3), Given(range.number4)});
}

std::string interface_statement(std::string_view name) {
  return written(StatementId::INTERFACE, {Given(name)});
}

std::string vlan_statement(std::uint32_t id) {
  return written(StatementId::VLAN, {Given(id)});
}

std::string filter_statement(const RuleKey& key) {
  return written(StatementId::FILTER, {Given(key.acl), Given(key.rule)});
}

std::string remark_statement(const RuleKey& key, const Remark& remark) {
  return written(remark_id(remark.kind), {Given(key.acl), Given(key.rule), Given(remark.value)});
}

std::string cos_value_statement(std::uint32_t value) {
  return written(StatementId::COS_VALUE, {Given(value)});
}

std::string cos_flag_statement(bool flag) {
  return written(StatementId::COS_FLAG, {Given(std::uint32_t{flag})});
}

std::string cos_mode_statement(std::uint32_t mode) {
  return written(StatementId::COS_SCHEDULE_MODE, {Given(mode)});
}

std::string cos_schedule_statement(const Schedule& schedule) {
  const auto& weights = schedule.weights;
  return written(StatementId::COS_SCHEDULE_ALGORITHM,
                 {Given(schedule.algorithm), Given(weights[0]), Given(weights[1]),
                  Given(weights[2]), Given(weights[3])});
}

std::string cos_priority_statement(std::uint32_t priority, std::uint32_t queue) {
  return written(StatementId::COS_PRIORITY, {Given(priority), Given(queue)});
}

std::string cos_mapping_statement(std::uint32_t priority, std::uint32_t queue) {
  return written(StatementId::COS_MAPPING, {Given(priority), Given(queue)});
}

void append_configuration(std::string& text, const Configuration& configuration, Bare bare) {
  append_class_of_service(text, configuration.cos);
  for (const auto& [name, range] : configuration.time_ranges) {
    text += time_range_statement(name, range) + '\n';
  }
  for (const auto& [number, acl] : configuration.acls) {
    text += acl_statement(number, acl) + '\n';
    for (const auto& [rule_number, rule] : acl.rules) {
      text += INDENTATION;
      append_rule(text, rule_number, rule);
      text += '\n';
    }
  }
  for (const auto& [name, bindings] : configuration.interfaces) {
    append_bindings(text, interface_statement(name), bindings, bare);
  }
  for (const auto& [id, bindings] : configuration.vlans) {
    append_bindings(text, vlan_statement(id), bindings, bare);
  }
}

std::string write_configuration(const Configuration& configuration, Bare bare) {
  std::string text;
  append_configuration(text, configuration, bare);
  return text;
}
