// Whatever follows a right handshake: each whole request before the first damage gets
// one well-formed reply, in order; nothing else is said; damage closes with one log line;
// no memory is kept.
#include "tests/fuzz/frame_harness.h"
#include "tests/fuzz/whole_frames.h"

namespace {

// Short, so that many are tried; frame_flow has longer ones.
constexpr std::size_t LONGEST_INPUT = 1024;
constexpr std::uint32_t FILLS_BELOW = 200;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > LONGEST_INPUT) return 0;
  static frame_fuzz::FrameHarness harness(FILLS_BELOW);
  const frame_fuzz::Bytes stream(data, size);
  harness.run_whole(stream, frame_fuzz::expected_of(stream));
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t most, unsigned seed) {
  return whole_frames::mutate(data, size, most, seed, 0);
}
