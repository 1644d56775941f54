// The readers of the single formats.
#pragma once

#include <string_view>

#include "tools/policyctl/import/import_text.h"

void import_classbench(std::string_view text, const ImportOptions& options, Import& import);
void import_openconfig_acl(std::string_view text, const ImportOptions& options, Import& import);
void import_flat_config(std::string_view text, const ImportOptions& options, Import& import);
