// Numbers on the wire are big-endian and unaligned.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

static_assert(std::endian::native == std::endian::little ||
              std::endian::native == std::endian::big);

namespace byte_order_detail {
constexpr std::uint16_t swap(std::uint16_t v) {
  return __builtin_bswap16(v);
}
constexpr std::uint32_t swap(std::uint32_t v) {
  return __builtin_bswap32(v);
}
constexpr std::uint64_t swap(std::uint64_t v) {
  return __builtin_bswap64(v);
}

template <typename T>
T load(const void* from) {
  T value;
  std::memcpy(&value, from, sizeof value);
  return std::endian::native == std::endian::little ? swap(value) : value;
}
template <typename T>
void store(void* to, T value) {
  if constexpr (std::endian::native == std::endian::little) value = swap(value);
  std::memcpy(to, &value, sizeof value);
}
}  // namespace byte_order_detail

inline std::uint16_t load_u16(const void* from) {
  return byte_order_detail::load<std::uint16_t>(from);
}
inline std::uint32_t load_u32(const void* from) {
  return byte_order_detail::load<std::uint32_t>(from);
}
inline std::uint64_t load_u64(const void* from) {
  return byte_order_detail::load<std::uint64_t>(from);
}
inline void store_u16(void* to, std::uint16_t value) {
  byte_order_detail::store(to, value);
}
inline void store_u32(void* to, std::uint32_t value) {
  byte_order_detail::store(to, value);
}
inline void store_u64(void* to, std::uint64_t value) {
  byte_order_detail::store(to, value);
}
