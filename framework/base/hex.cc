#include "framework/base/hex.h"

#include <string_view>

std::string hex_text(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view DIGITS = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text += DIGITS[byte >> 4U];
    text += DIGITS[byte & 15U];
  }
  return text;
}
