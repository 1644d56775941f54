// Access control lists, whose rules stand below them.
#pragma once

#include <cstdint>
#include <string_view>

#include "tools/policyctl/language/entry_kind.h"

extern const EntryKind& ACL;

[[nodiscard]] inline EntryValue acl_value(std::uint32_t type, std::string_view description) {
  return EntryValue({type}, description);
}
