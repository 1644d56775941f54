// Configurations with anything in them that the language can say.
#pragma once

#include <rapidcheck.h>

#include <string>

#include "tests/support/typed_configuration.h"

// Of all byte values, those that need care more often.
rc::Gen<std::string> gen_text();

Configuration any_configuration();
