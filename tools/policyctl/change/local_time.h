// The time of day, for people.
#pragma once

#include <string>

// "2026-01-31 23:59:59", where this machine is.
[[nodiscard]] std::string local_time();
