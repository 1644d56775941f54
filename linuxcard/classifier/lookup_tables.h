// The tables that lead from a value of a packet to the vector of the rules that it does
// not rule out; their layout is told in table_layout.h.
#pragma once

#include <cstdint>
#include <span>

#include "linuxcard/classifier/cell_store.h"
#include "linuxcard/classifier/conditions.h"

// In each, `rule` of a condition is the position of the rule, and `vector` has the rules
// without a condition when given and again at the end. They answer the reference of the
// table.

[[nodiscard]] std::uint32_t build_range_table(std::span<const RangeCondition> conditions,
                                              bool of_bytes, ChangingVector& vector,
                                              CellStore& store);

// The conditions are sorted by prefix.
[[nodiscard]] std::uint32_t build_prefix4_table(std::span<const PrefixCondition> conditions,
                                                std::uint32_t root_bits, ChangingVector& vector,
                                                CellStore& store);
[[nodiscard]] std::uint32_t build_prefix6_table(std::span<const PrefixCondition> conditions,
                                                ChangingVector& vector, CellStore& store);
