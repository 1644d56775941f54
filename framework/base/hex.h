// Bytes as digits of base 16.
#pragma once

#include <cstdint>
#include <span>
#include <string>

// Two digits a byte, in lower case.
[[nodiscard]] std::string hex_text(std::span<const std::uint8_t> bytes);

// What the digit stands for, in either case; -1 when it is none.
[[nodiscard]] constexpr int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}
