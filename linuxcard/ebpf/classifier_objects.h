// The classifier as the compiler made it for the kernel: ELF objects within this program.
#pragma once

#include <span>

// By where the tables are, and whether for FEW_DIMENSIONS_MASK alone.
namespace classifier_object {
[[nodiscard]] std::span<const unsigned char> array();
[[nodiscard]] std::span<const unsigned char> array_few();
[[nodiscard]] std::span<const unsigned char> arena();
[[nodiscard]] std::span<const unsigned char> arena_few();
}  // namespace classifier_object
