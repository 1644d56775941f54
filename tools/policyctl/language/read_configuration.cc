#include "tools/policyctl/language/read_configuration.h"

#include <algorithm>
#include <utility>

#include "tools/policyctl/language/statement_candidates.h"

namespace {

bool is_before(const Fault& a, const Fault& b) {
  return std::pair(a.line, a.column) < std::pair(b.line, b.column);
}

}  // namespace

void ConfigurationReader::read_line(std::string_view line, std::size_t number) {
  _entry.begin_line(number);
  const std::optional<WordFault> broken = _words.split(line);
  _is_statement = false;
  if (broken) {
    _entry.faults().push_back({number, broken->column, broken->length, broken->message, ""});
    return;
  }
  if (_words.all().empty()) {
    _is_statement = true;
    return;
  }
  std::optional<Fault> fault = _match.match(_entry.context(), _words.all());
  if (fault) {
    fault->line = number;
    _entry.faults().push_back(std::move(*fault));
    return;
  }
  _is_statement = true;
  const Statement& statement = _match.statement();
  if (statement.context == StatementContext::TOP) _entry.close();
  statement.enter(_entry, _match.values());
}

void ConfigurationReader::read_on() {
  if (_is_statement || _words.all().empty()) return;
  const Statement* const meant = statement_meant(_entry.context(), _words.all()[0].text);
  if (meant != nullptr && meant->context == StatementContext::TOP) _entry.open_unread(meant->opens);
}

ReadConfiguration read_configuration(std::string_view text) {
  ReadConfiguration read;
  ConfigurationReader reader(read.configuration);
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = text.find('\n');
    reader.read_line(text.substr(0, end), number);
    reader.read_on();
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  read.faults = std::move(reader.entry().faults());
  read.bindings = std::move(reader.entry().bindings_placed());
  read.records = std::move(reader.entry().records_placed());
  read.denials = std::move(reader.entry().denials_placed());
  const std::vector<Fault> unbound = binding_faults(read.bindings, read.configuration, false);
  read.faults.insert(read.faults.end(), unbound.begin(), unbound.end());
  std::stable_sort(read.faults.begin(), read.faults.end(), is_before);
  return read;
}

std::vector<Fault> binding_faults(const std::vector<BindingPlace>& bindings,
                                  const Configuration& configuration, bool whole_switch) {
  std::vector<Fault> faults;
  for (const BindingPlace& binding : bindings) {
    const Rule* const rule = find_rule(configuration, binding.key);
    const auto refuse = [&](std::string message, std::string advice) {
      faults.push_back(
          {binding.line, binding.column, binding.length, std::move(message), std::move(advice)});
    };
    if (rule == nullptr && whole_switch) {
      refuse("there is no " + rule_name(binding.key) + ", neither here nor on the switch.",
             "Add the rule, or leave this out.");
    } else if (rule != nullptr && binding.is_remark && rule->action != PERMIT) {
      refuse(rule_name(binding.key) + " denies; only packets of a permit rule can be remarked.",
             "Make it a permit rule, or leave this out.");
    }
  }
  return faults;
}
