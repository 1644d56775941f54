// Configuration as text: each statement a line, in the order of the table of
// statements, numbers and names ascending. Reading it back gives the same.
#pragma once

#include <string>
#include <string_view>

#include "tools/policyctl/language/configuration.h"

// Interfaces and VLANs with nothing bound, and class-of-service values of 0, which
// every interface has from the start.
enum class Bare { LEFT_OUT, WRITTEN };

[[nodiscard]] std::string write_configuration(const Configuration& configuration,
                                              Bare bare = Bare::LEFT_OUT);
// The same, behind what `text` holds already.
void append_configuration(std::string& text, const Configuration& configuration, Bare bare);

// Single statements, without indentation and line break.
[[nodiscard]] std::string acl_statement(std::uint32_t number, const Acl& acl);
[[nodiscard]] std::string rule_statement(std::uint32_t number, const Rule& rule);
[[nodiscard]] std::string time_range_statement(std::string_view name, const TimeRange& range);
[[nodiscard]] std::string interface_statement(std::string_view name);
[[nodiscard]] std::string vlan_statement(std::uint32_t id);
[[nodiscard]] std::string filter_statement(const RuleKey& key);
[[nodiscard]] std::string remark_statement(const RuleKey& key, const Remark& remark);
[[nodiscard]] std::string cos_value_statement(std::uint32_t value);
[[nodiscard]] std::string cos_flag_statement(bool flag);
[[nodiscard]] std::string cos_mode_statement(std::uint32_t mode);
[[nodiscard]] std::string cos_schedule_statement(const Schedule& schedule);
[[nodiscard]] std::string cos_priority_statement(std::uint32_t priority, std::uint32_t queue);
[[nodiscard]] std::string cos_mapping_statement(std::uint32_t priority, std::uint32_t queue);

// A match field as rules write it: by name when the value is one of the field's,
// by number otherwise.
void append_field(std::string& line, std::uint32_t number, std::string_view value);
