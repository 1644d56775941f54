#include "tools/policyctl/render/print_report.h"

#include <algorithm>
#include <cstdlib>
#include <ostream>
#include <string_view>

#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/language/words.h"
#include "tools/policyctl/render/json_output.h"

namespace {

std::string counts_text(const PlanCounts& counts) {
  return std::to_string(counts.added) + " added, " + std::to_string(counts.changed) + " changed, " +
         std::to_string(counts.removed) + " removed";
}

}  // namespace

bool Output::in_colour() const {
  const char* const unwanted = std::getenv("NO_COLOR");
  return out_is_terminal && (unwanted == nullptr || *unwanted == '\0');
}

ExitStatus print_report(const Output& output, const std::string& what, const ChangeReport& report) {
  const std::string advice = harmless(worded(report.advice, output.where));
  if (output.change_is_made != nullptr) {
    *output.change_is_made = report.is_made && report.requests > 0;
  }
  if (output.json) {
    print_json(output.out, report_json(what, report, advice));
    return report.status;
  }
  if (report.problem.empty()) {
    output.out << harmless(report.outcome);
    if (report.requests > 0) {
      output.out << ' ' << counts_text(report.counts) << "; " << counted(report.requests, "request")
                 << '.';
    }
    output.out << '\n';
    if (!advice.empty()) output.out << advice << '\n';
    return report.status;
  }
  output.out << std::flush;
  output.err << "policyctl: " << harmless(what + ": " + report.problem) << "\n  "
             << harmless(report.outcome) << '\n';
  if (!advice.empty()) output.err << "  " << advice << '\n';
  return report.status;
}

ExitStatus report_faults(const Output& output, const SourceText& source,
                         const std::vector<Fault>& faults) {
  if (output.json) {
    print_json(output.out, faults_json(source.name, faults, output.where));
  } else {
    print_faults(output.err, source, faults, output.where);
    output.err << harmless(source.name) << ": " << counted(faults.size(), "fault") << ".\n";
  }
  return ExitStatus::BAD_FILE;
}

ExitStatus report_failure(const Output& output, const Failure& failure) {
  output.out << std::flush;
  if (output.json) {
    print_json(output.out, failure_json(failure, output.where));
    return failure.status();
  }
  output.err << "policyctl: " << harmless(failure.message()) << '\n';
  const std::string worded_advice = harmless(worded(failure.advice(), output.where));
  std::string_view advice = worded_advice;
  while (!advice.empty()) {
    const std::string_view line = advice.substr(0, advice.find('\n'));
    output.err << "  " << line << '\n';
    advice.remove_prefix(std::min(advice.size(), line.size() + 1));
  }
  return failure.status();
}
