// Remarks: what packets that a permit rule matches are given, at an interface or VLAN.
#pragma once

#include <cstdint>

#include "tools/policyctl/language/entry_kind.h"

extern const EntryKind& REMARK;

enum RemarkKind : std::uint32_t { REMARK_DSCP = 0, REMARK_PRIORITY = 1, REMARK_TWO_BIT = 2 };

struct Remark {
  std::uint32_t kind = REMARK_DSCP;
  std::uint32_t value = 0;
  bool operator==(const Remark&) const = default;
};

[[nodiscard]] inline EntryValue value_of(const Remark& remark) {
  return {remark.kind, remark.value};
}
[[nodiscard]] inline Remark remark_of(const EntryValue& value) {
  return {value.number(0), value.number(1)};
}
