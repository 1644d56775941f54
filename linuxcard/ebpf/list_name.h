// A name for the contents of a list, so that equal ones are recognised, after a restart, too.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "linuxcard/classifier/compile.h"

// 128 bits as hexadecimal digits. Equal for equal rules and places only, up to chance;
// where a rule looks at ports, for equal names of ports, too. `kind` tells apart what is
// built differently from the same rules.
[[nodiscard]] std::string list_name(std::span<const ListPart> parts,
                                    const std::vector<PortNames>& ports, std::string_view kind);
