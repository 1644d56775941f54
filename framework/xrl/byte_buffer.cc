#include "framework/xrl/byte_buffer.h"

#include <algorithm>

namespace {
constexpr std::size_t SMALLEST_CAPACITY = 256;
}  // namespace

void ByteBuffer::release_if_idle(std::size_t keep) {
  if (!empty() || _capacity <= keep) return;
  _bytes.reset();
  _begin = _end = _capacity = 0;
}

void ByteBuffer::grow(std::size_t count) {
  const std::size_t held = size();
  // Moving down what is held pays only when at least as much was consumed:
  // then every byte is moved once for each byte consumed, at most.
  if (_begin >= held && _capacity - held >= count) {
    std::memmove(_bytes.get(), data(), held);
  } else {
    const std::size_t capacity = std::max({SMALLEST_CAPACITY, 2 * _capacity, held + count});
    auto larger = std::make_unique_for_overwrite<std::uint8_t[]>(capacity);
    if (held != 0) std::memcpy(larger.get(), data(), held);
    _bytes = std::move(larger);
    _capacity = capacity;
  }
  _begin = 0;
  _end = held;
}
