// Changes to an input of frames as the fuzzer makes them, half of them such that the
// frames end where the input ends: by chance alone a length hardly ever fits. Of these,
// half lose a few bytes of their end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "framework/xrl/byte_order.h"
#include "framework/xrl/router/xrl_frame.h"

// Of the fuzzer; not there when inputs are only replayed.
extern "C" __attribute__((weak)) std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size,
                                                              std::size_t most);

namespace whole_frames {

// Lets the last frame that begins within `stream` end with it.
inline void end_with_stream(std::span<std::uint8_t> stream) {
  while (stream.size() >= xrl_frame::LENGTH_BYTES) {
    const std::size_t room = stream.size() - xrl_frame::LENGTH_BYTES;
    const std::size_t length = load_u32(stream.data());
    if (length == 0 || length + xrl_frame::LENGTH_BYTES >= room) {
      store_u32(stream.data(), static_cast<std::uint32_t>(room));
      return;
    }
    stream = stream.subspan(xrl_frame::LENGTH_BYTES + length);
  }
}

// `head` bytes before the frames belong to the target.
inline std::size_t mutate(std::uint8_t* data, std::size_t size, std::size_t most, unsigned seed,
                          std::size_t head) {
  size = LLVMFuzzerMutate(data, size, most);
  if (seed % 2 != 0) return size;
  const std::size_t lost = seed % 4 == 0 ? 1 + seed / 4 % 8 : 0;
  if (size <= head + lost) return size;
  size -= lost;
  end_with_stream({data + head, size - head});
  return size;
}

}  // namespace whole_frames
