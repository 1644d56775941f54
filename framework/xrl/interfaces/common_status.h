// What common/0.1/get_status answers as the state of a target.
#pragma once

#include <cstdint>

inline constexpr std::uint32_t TARGET_READY = 3;
inline constexpr std::uint32_t TARGET_SHUTTING_DOWN = 4;
