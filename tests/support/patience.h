// How long any wait of a test may take before the test is called failed. Nothing
// waits this long when all is well.
#pragma once

#include <chrono>

inline constexpr std::chrono::seconds PATIENCE{60};
