#include "tools/policyctl/json/json_output.h"

#include <cstdint>
#include <ostream>

#include "framework/base/hex.h"
#include "tools/policyctl/commands/change_switch.h"
#include "tools/policyctl/language/words.h"

namespace {

bool is_utf8(std::string_view text) {
  while (!text.empty()) {
    const auto first = static_cast<unsigned char>(text[0]);
    const bool is_ascii = first < 0x80;
    const bool is_c1 = first == 0xc2 && text.size() > 1 && (text[1] & 0xe0) == 0x80;
    const std::size_t length = is_ascii ? 1 : is_c1 ? 2 : shown_character(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string base16(std::string_view text) {
  return hex_text({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

const char* sign_word(ChangeSign sign) {
  switch (sign) {
    case ChangeSign::ADDED:
      return "added";
    case ChangeSign::REMOVED:
      return "removed";
    case ChangeSign::CHANGED:
      break;
  }
  return "changed";
}

}  // namespace

Json queues_json(const std::map<std::uint32_t, std::uint32_t>& queues) {
  Json list = Json::array();
  for (const auto& [priority, queue] : queues) {
    list.push_back({{"priority", priority}, {"queue", queue}});
  }
  return list;
}

void print_json(std::ostream& out, const Json& json) {
  out << json.dump(JSON_INDENTATION) << '\n' << std::flush;
}

void print_json_line(std::ostream& out, const Json& json) {
  out << json.dump() << '\n' << std::flush;
}

Json text_json(std::string_view text) {
  if (is_utf8(text)) return text;
  return {{"base16", base16(text)}};
}

Json faults_json(const std::string& file, const std::vector<Fault>& faults) {
  Json list = Json::array();
  for (const Fault& fault : faults) {
    list.push_back({{"line", fault.line},
                    {"column", fault.column},
                    {"length", fault.length},
                    {"message", text_json(fault.message)},
                    {"advice", text_json(fault.advice)}});
  }
  return {{"file", text_json(file)}, {"faults", std::move(list)}};
}

Json failure_json(const Failure& failure) {
  return {{"status", static_cast<int>(failure.status())},
          {"problem", text_json(failure.what())},
          {"advice", text_json(failure.advice())}};
}

Json counts_json(const PlanCounts& counts) {
  return {{"added", counts.added}, {"changed", counts.changed}, {"removed", counts.removed}};
}

Json change_json(const Change& change, const Plan& plan) {
  const ChangeText text = describe(change, plan);
  return {{"change", sign_word(change.sign)},
          {"below", text_json(text.where)},
          {"before", text_json(text.before)},
          {"after", text_json(text.after)}};
}

Json report_json(const std::string& what, const ChangeReport& report) {
  return {{"command", text_json(what)},
          {"status", static_cast<int>(report.status)},
          {"counts", counts_json(report.counts)},
          {"requests", report.requests},
          {"problem", text_json(report.problem)},
          {"outcome", text_json(report.outcome)},
          {"advice", text_json(report.advice)},
          {"mapping_differs", queues_json(report.mapping_differs)}};
}

Json record_json(const RecordName& record) {
  if (record.interface != nullptr) return {{"interface", text_json(*record.interface)}};
  return {{"vlan", record.vlan}};
}
