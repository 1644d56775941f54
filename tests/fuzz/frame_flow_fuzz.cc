// Frames that are said and taken in whatever pieces, slowly, with long answers, are
// answered as those that are said and taken at once.
#include <algorithm>

#include "tests/fuzz/frame_harness.h"

namespace {

// As many answers as matter, each of a size that matters.
constexpr std::size_t LONGEST_INPUT = 8192;
constexpr std::uint32_t FILLS_BELOW = 100000;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3 || size > LONGEST_INPUT) return 0;
  static frame_fuzz::FrameHarness harness(FILLS_BELOW);
  const frame_fuzz::Bytes stream(data + 3, size - 3);
  const frame_fuzz::Expected expected = frame_fuzz::expected_of(stream);
  const std::string whole = harness.run_whole(stream, expected);
  const OneStream::Manners bad_manners{.read_at_most = (std::size_t{data[0]} + 1) * 16,
                                       .write_at_most = (std::size_t{data[1]} + 1) * 1024,
                                       .look = std::chrono::milliseconds(6)};
  const std::string pieces =
      harness.run_in_pieces(stream, expected, bad_manners, (std::size_t{data[2]} + 1) * 16);
  if (!expected.damaged) FUZZ_CHECK(pieces == whole);
  return 0;
}
