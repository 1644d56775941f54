// How long any wait of a test may take before the test is called failed. Nothing
// waits this long when all is well.
#pragma once

#include <chrono>

inline constexpr std::chrono::seconds PATIENCE{60};

// The same as programs take it on their command lines.
inline constexpr const char* PATIENCE_S = "60";
