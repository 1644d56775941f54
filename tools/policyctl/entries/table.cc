// The table of entry kinds: a row for each.
#include <array>

#include "tools/policyctl/entries/acl.h"
#include "tools/policyctl/entries/binding.h"
#include "tools/policyctl/entries/queue_map.h"
#include "tools/policyctl/entries/record.h"
#include "tools/policyctl/entries/remark.h"
#include "tools/policyctl/entries/rule.h"
#include "tools/policyctl/entries/setting.h"
#include "tools/policyctl/entries/time_range.h"

std::span<const EntryKind* const> entry_kinds() {
  static const std::array KINDS{
      &COS_FLAG,     &COS_SCHEDULE_MODE, &COS_SCHEDULE_ALGORITHM,
      &COS_PRIORITY, &COS_MAPPING,       &TIME_RANGE,
      &ACL,          &INTERFACE,         &VLAN,
      &RULE,         &COS_VALUE,         &FILTER,
      &REMARK,
  };
  return KINDS;
}
