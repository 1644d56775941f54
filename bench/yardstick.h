// What the machine itself takes as sizes grow: the measure for what grows with them.
#pragma once

#include <cstddef>

// Seconds that one read takes in the memory of `things` things of `bytes` bytes,
// at a place that only the read before it tells.
[[nodiscard]] double seconds_of_dependent_read(std::size_t things, std::size_t bytes);

// Seconds that std::map takes to erase one of `things` numbers with `bytes`
// bytes each, the middle one of `samples` at random.
[[nodiscard]] double seconds_of_map_erase(std::size_t things, std::size_t bytes,
                                          std::size_t samples);
