// Compiles an ordered list of rules, of which the first that matches decides, to tables
// by which that rule is found in a time that hardly grows with their number.
//
// Plain code without a kernel in it. The way is that of aggregated bit vectors: each
// field of a packet leads by a table to a vector with a bit for each rule that it does
// not rule out, and a rule that has its bit in all vectors matches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "linuxcard/classifier/conditions.h"
#include "linuxcard/classifier/policy.h"
#include "linuxcard/classifier/table_layout.h"

// Rules that hold in one VLAN, or in all of them. Parts follow each other in the list.
struct ListPart {
  std::uint16_t vlan = 0;  // 0: in all
  SharedRuleList rules;    // null for none
};

struct CompiledList {
  ListHeader header{};
  std::vector<std::uint32_t> cells;
  std::uint32_t rules = 0;
};

struct CompileRefusal {
  std::uint16_t vlan = 0;  // of the part
  std::optional<RuleKey> rule;
  std::string reason;  // a sentence
};

// What the tables of one list may take, in cells of four bytes.
constexpr std::size_t MOST_TABLE_CELLS = std::size_t{128} << 20U;

// Takes time in proportion to the number of rules, and some more for each distinct value;
// 10,000 rules take about 20 ms. A list beyond MAX_RULES, one whose tables would take more
// than `most_cells`, and one with a rule that cannot be honoured are refused.
[[nodiscard]] std::variant<CompiledList, CompileRefusal> compile(
    std::span<const ListPart> parts, const std::vector<PortNames>& ports,
    std::size_t most_cells = MOST_TABLE_CELLS);

// The bits of the rules that hold while these time ranges do, a word for each of the
// list: what belongs at ListHeader::enabled. `cells` are those of the list.
[[nodiscard]] std::vector<std::uint64_t> enabled_words(std::span<const ListPart> parts,
                                                       const ListHeader& header,
                                                       std::span<const std::uint32_t> cells,
                                                       const std::set<std::string>& active);
