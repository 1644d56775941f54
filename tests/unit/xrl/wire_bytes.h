// Arguments in wire form, put together byte by byte: what the tests hold
// writer and reader against, damaged arguments included.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wire_bytes {

using Bytes = std::string;

inline std::span<const std::uint8_t> span_of(std::string_view bytes) {
  return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

inline Bytes u8(unsigned value) {
  return Bytes(1, static_cast<char>(value));
}
inline Bytes u32(std::uint32_t value) {
  return u8(value >> 24U) + u8(value >> 16U & 255U) + u8(value >> 8U & 255U) + u8(value & 255U);
}
// A txt or binary value; `claimed` is the length it tells.
inline Bytes text(std::string_view value, std::uint32_t claimed) {
  return u32(claimed).append(value);
}
inline Bytes text(std::string_view value) {
  return text(value, static_cast<std::uint32_t>(value.size()));
}
inline Bytes atom(unsigned type, std::string_view name, std::string_view value) {
  return (u8(type) + u8(static_cast<unsigned>(name.size()))).append(name).append(value);
}
inline Bytes list(unsigned element_type, std::uint32_t count, std::string_view elements) {
  return (u8(element_type) + u32(count)).append(text(elements));
}

inline std::string hex(std::span<const std::uint8_t> bytes) {
  constexpr char DIGITS[] = "0123456789abcdef";
  std::string digits;
  for (const std::uint8_t byte : bytes) {
    digits += DIGITS[byte >> 4U];
    digits += DIGITS[byte & 15U];
  }
  return digits;
}

}  // namespace wire_bytes
