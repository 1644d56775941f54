// The rules of an access control list as a table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tools/policyctl/entries/rule.h"
#include "tools/policyctl/render/tables_of_switch.h"

// How many interfaces and VLANs hold a rule, as a filter or remark.
using BindingCount = std::function<std::size_t(std::uint32_t rule)>;

// Numbers of rules, ascending, and what the rules say.
using NumberedRules = std::vector<std::pair<std::uint32_t, EntryValue>>;

// Appends a column for each match field that any of the rules has or, where the
// window is too narrow for them, the fields of each rule one after the other, on
// as many lines as they take. `rules` must not be empty.
void append_rule_table(std::string& out, const NumberedRules& rules, const BindingCount& bindings,
                       const TableStyle& style);
