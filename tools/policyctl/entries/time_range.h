// Time ranges: named, of five values to which the daemon gives no meaning.
#pragma once

#include <cstdint>

#include "tools/policyctl/language/entry_kind.h"

extern const EntryKind& TIME_RANGE;

struct TimeRange {
  std::uint32_t number1 = 0;
  std::uint32_t number2 = 0;
  bool flag = false;
  std::uint32_t number3 = 0;
  std::uint32_t number4 = 0;
  bool operator==(const TimeRange&) const = default;
};

[[nodiscard]] EntryValue value_of(const TimeRange& range);
[[nodiscard]] TimeRange time_range_of(const EntryValue& value);
