// Results as JSON, in the shape that docs/policyctl.schema.json describes.
#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tools/policyctl/change/plan.h"
#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/fault.h"

struct ChangeReport;

using Json = nlohmann::ordered_json;

constexpr int JSON_INDENTATION = 2;

// Indented, with a line break at the end.
void print_json(std::ostream& out, const Json& json);

// On one line.
void print_json_line(std::ostream& out, const Json& json);

// A string; of bytes that are no harmless UTF-8, an object
// {"base16": "00ff"}.
[[nodiscard]] Json text_json(std::string_view text);

[[nodiscard]] Json counts_json(const PlanCounts& counts);
[[nodiscard]] Json faults_json(const std::string& file, const std::vector<Fault>& faults,
                               Where where);
[[nodiscard]] Json failure_json(const Failure& failure, Where where);
[[nodiscard]] Json change_json(const Change& change, const Plan& plan);
[[nodiscard]] Json report_json(const std::string& what, const ChangeReport& report,
                               const std::string& advice);
// An entry by the members of its JsonForm; of one that says a single thing, that.
[[nodiscard]] Json entry_json(const EntryKind& kind, const EntryKey& key, const EntryValue& value);
