// Reads interface files
//
//     interface policy_config/0.1 {
//       change create_acl ? acl:u32 & type:u32;
//       read get_acls -> acls:list<u32> & descriptions:list<txt>;
//     }
//
// where each method is said to be one of read, change, control and admin (MethodKind),
// and target files
//
//     target policy {
//       implements common/0.1;
//       implements policy_config/0.1;
//     }
//
// Comments are // and /* */. One interface or one target a file. What the
// answer holds is well formed, but names are not yet checked (checker.h).
#pragma once

#include <string>
#include <string_view>

#include "framework/xrlgen/model.h"

namespace xrlgen {

// `file` names the text in messages. Both throw SourceError for the first
// mistake.
[[nodiscard]] Interface parse_interface(const std::string& file, std::string_view text);
[[nodiscard]] Target parse_target(const std::string& file, std::string_view text);

}  // namespace xrlgen
