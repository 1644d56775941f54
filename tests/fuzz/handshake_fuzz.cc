// Whatever a stranger says to a listener with a cookie, in whatever pieces:
// only a right hello gets it served, anything else gets it nothing but the
// listener's own hello, and costs one log line at most.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "framework/xrl/router/xrl_frame.h"
#include "framework/xrl/well_known_cmd_map.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/whole_frames.h"
#include "tests/fuzz/wire_harness.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::string_view COOKIE = "0123456789abcdef";

enum class Verdict : std::uint8_t { RIGHT, WRONG, UNFINISHED };

// What the page about the wire format says of a hello, in its plainest form.
Verdict verdict_on(std::string_view said) {
  if (said.size() < 4) return Verdict::UNFINISHED;
  std::size_t length = 0;
  for (const char byte : said.substr(0, 4))
    length = length << 8U | static_cast<unsigned char>(byte);
  if (length == 0 || length > 1024) return Verdict::WRONG;
  if (said.size() - 4 < length) return Verdict::UNFINISHED;
  const std::string_view hello = said.substr(4, length);
  const std::string head = std::string("\1XRLW\0\1", 7);
  if (hello.substr(0, 7) != head || hello.size() < 8) return Verdict::WRONG;
  const std::size_t name = static_cast<unsigned char>(hello[7]);
  const std::string end = std::string(1, static_cast<char>(COOKIE.size())) + std::string(COOKIE);
  return hello.size() == 8 + name + end.size() && hello.ends_with(end) ? Verdict::RIGHT
                                                                       : Verdict::WRONG;
}

// What a listener says to one who says nothing.
std::string hello_of(WireHarness& harness) {
  harness.begin({});
  harness.say({});
  const std::string hello = harness.heard();
  harness.leave();
  return hello;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1 || size > 4096) return 0;
  const Bytes said(data + 1, size - 1);
  const Verdict verdict = verdict_on({reinterpret_cast<const char*>(said.data()), said.size()});

  static const WellKnownCmdMap commands("silent");
  static WireHarness harness(commands, std::string(COOKIE));
  static const std::string hello = hello_of(harness);
  // A few reads at most, for each of them costs time.
  harness.begin({.read_at_most = std::max(std::size_t{data[0]} + 1, size / 8)});
  harness.say(said);
  FUZZ_CHECK(harness.was_up() == (verdict == Verdict::RIGHT));
  if (verdict != Verdict::RIGHT) {
    FUZZ_CHECK(harness.heard() == hello);
    FUZZ_CHECK(harness.is_open() == (verdict == Verdict::UNFINISHED));
    FUZZ_CHECK(harness.log_lines() == (verdict == Verdict::WRONG ? 1 : 0));
  }
  harness.leave();
  FUZZ_CHECK(!harness.is_open());
  FUZZ_CHECK(harness.log_lines() <= 1);
  FUZZ_CHECK(harness.held() == 0);
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t most, unsigned seed) {
  return whole_frames::mutate(data, size, most, seed, 1);
}
