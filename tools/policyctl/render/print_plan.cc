#include "tools/policyctl/render/print_plan.h"

#include <ostream>

#include "tools/policyctl/language/joined.h"

namespace {

const char* colour_of(ChangeSign sign) {
  switch (sign) {
    case ChangeSign::ADDED:
      return "\033[32m";
    case ChangeSign::REMOVED:
      return "\033[31m";
    case ChangeSign::CHANGED:
      break;
  }
  return "\033[33m";
}

}  // namespace

void print_plan(std::ostream& out, const Plan& plan, bool in_colour) {
  std::string where;
  for (const Change& change : plan.changes()) {
    const ChangeText text = describe(change, plan);
    if (text.where != where && !text.where.empty()) out << "  " << text.where << '\n';
    where = text.where;
    const char* const indentation = where.empty() ? " " : "   ";
    const std::string& now = change.sign == ChangeSign::REMOVED ? text.before : text.after;
    const std::string line = static_cast<char>(change.sign) + (indentation + now);
    out << coloured(change.sign, line, in_colour) << '\n';
    if (change.sign == ChangeSign::CHANGED)
      out << " " << indentation << "was: " << text.before << '\n';
  }
  const PlanCounts counts = plan.counts();
  out << counts.added << " added, " << counts.changed << " changed, " << counts.removed
      << " removed; " << counted(plan.steps().size(), "request") << ".\n";
}

std::string coloured(ChangeSign sign, const std::string& text, bool in_colour) {
  return in_colour ? colour_of(sign) + text + "\033[0m" : text;
}
