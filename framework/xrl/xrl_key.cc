#include "framework/xrl/xrl_key.h"

#include "framework/xrl/byte_order.h"

namespace {

// http://www.isthe.com/chongo/tech/comp/fnv, the 64-bit FNV-1a.
constexpr std::uint64_t FNV_OFFSET = 0xcbf29ce484222325U;
constexpr std::uint64_t FNV_PRIME = 0x100000001b3U;

std::uint64_t fnv1a(std::uint64_t hash, std::string_view text) {
  for (const char c : text) {
    hash ^= static_cast<std::uint8_t>(c);
    hash *= FNV_PRIME;
  }
  return hash;
}

}  // namespace

XrlKey well_known_xrl_key(std::string_view method) {
  XrlKey key;
  store_u64(key.data(), fnv1a(FNV_OFFSET, method));
  store_u64(key.data() + 8, fnv1a(~FNV_OFFSET, method));
  return key;
}
