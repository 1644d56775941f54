// Whatever follows a right handshake, in whatever pieces: each whole request
// before the first damage gets one well-formed reply, in order; nothing else is
// said; damage closes with one log line; no memory is kept.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xrl/limits.h"
#include "framework/xrl/router/xrl_frame.h"
#include "framework/xrl/well_known_cmd_map.h"
#include "framework/xrl/xrl_args.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/wire_harness.h"
#include "tests/support/interfaces/echo_tgt.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

// As many answers as matter, each of a size that matters.
constexpr std::size_t LONGEST_INPUT = 8192;
constexpr std::uint32_t MAX_FILL = 100000;

class Target final : public XrlEchoTargetBase {
 public:
  explicit Target(XrlCmdMap* commands) : XrlEchoTargetBase(commands) {}
  XrlCmdError echo_0_1_say(std::string_view text, std::string& said) override {
    said = text;
    return XrlCmdError::OKAY();
  }
  XrlCmdError echo_0_1_sum(const XrlAtomList& numbers, std::uint64_t& sum) override {
    for (const std::uint32_t number : numbers.u32s()) sum += number;
    return XrlCmdError::OKAY();
  }
  XrlCmdError echo_0_1_refuse(std::string_view text) override {
    return XrlCmdError::COMMAND_FAILED(std::string(text));
  }
  XrlCmdError echo_0_1_fill(std::uint32_t bytes, std::string& text) override {
    text.assign(bytes % MAX_FILL, 'x');
    return XrlCmdError::OKAY();
  }
};

std::uint32_t number_at(Bytes bytes, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) number = number << 8U | bytes[at + i];
  return number;
}

// What the page about the wire format says of a stream, in its plainest form.
struct Expected {
  std::vector<std::uint32_t> requests;
  bool damaged = false;
};

Expected expected_of(Bytes stream) {
  Expected expected;
  while (stream.size() >= 4) {
    const std::uint32_t length = number_at(stream, 0);
    if (length == 0 || length > (16U << 20U)) {
      expected.damaged = true;
      return expected;
    }
    if (stream.size() - 4 < length) return expected;
    const Bytes frame = stream.subspan(4, length);
    if (frame[0] == 2 && frame.size() >= 21) {
      expected.requests.push_back(number_at(frame, 1));
    } else if (frame[0] != 3 || frame.size() < 9) {
      expected.damaged = true;
      return expected;
    }
    stream = stream.subspan(4 + std::size_t{length});
  }
  return expected;
}

void check_reply(Bytes frame, std::uint32_t sequence) {
  FUZZ_CHECK(frame.size() >= 9 && frame[0] == 3);
  FUZZ_CHECK(number_at(frame, 1) == sequence);
  const std::uint32_t code = number_at(frame, 5);
  FUZZ_CHECK(code == 100 || code == 101 || code == 102 || code == 202);
  XrlArgs results;
  if (code == 100) FUZZ_CHECK(XrlArgsReader(frame.subspan(9)).all(results));
  if (code == 101) FUZZ_CHECK(frame.size() > 9);
}

void check_replies(const std::string& heard, const std::vector<std::uint32_t>& requests) {
  Bytes stream(reinterpret_cast<const std::uint8_t*>(heard.data()), heard.size());
  stream = stream.subspan(4 + std::size_t{number_at(stream, 0)});  // the hello
  for (const std::uint32_t sequence : requests) {
    FUZZ_CHECK(stream.size() >= 4 && number_at(stream, 0) <= stream.size() - 4);
    check_reply(stream.subspan(4, number_at(stream, 0)), sequence);
    stream = stream.subspan(4 + std::size_t{number_at(stream, 0)});
  }
  FUZZ_CHECK(stream.empty());
}

// Damage closes at once, so that replies may be lost: those that were heard
// are then the first of those that are due.
std::string run(Bytes stream, const Expected& expected, OneStream::Manners manners,
                std::size_t piece) {
  WellKnownCmdMap commands("echo");
  Target target(&commands);
  WireHarness harness(commands, "", manners);
  ByteBuffer hello;
  xrl_frame::append_hello(hello, {"peer", ""});
  harness.say(hello.bytes());
  FUZZ_CHECK(harness.was_up());
  for (Bytes rest = stream; !rest.empty(); rest = rest.subspan(std::min(piece, rest.size()))) {
    harness.say(rest.first(std::min(piece, rest.size())));
  }
  FUZZ_CHECK(harness.is_open() != expected.damaged);
  FUZZ_CHECK(harness.log_lines() == (expected.damaged ? 1 : 0));
  FUZZ_CHECK(harness.held() <= 2 * stream.size() + 64 * 1024);
  harness.leave();
  FUZZ_CHECK(!harness.is_open());
  FUZZ_CHECK(harness.held() == 0);
  return harness.heard();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3 || size > LONGEST_INPUT) return 0;
  const Bytes stream(data + 3, size - 3);
  const Expected expected = expected_of(stream);
  const std::string whole = run(stream, expected, {}, SIZE_MAX);
  if (!expected.damaged) check_replies(whole, expected.requests);
  const OneStream::Manners bad_manners{.read_at_most = (std::size_t{data[0]} + 1) * 16,
                                       .write_at_most = (std::size_t{data[1]} + 1) * 1024,
                                       .look = std::chrono::milliseconds(6)};
  const std::string pieces = run(stream, expected, bad_manners, (std::size_t{data[2]} + 1) * 16);
  if (!expected.damaged) FUZZ_CHECK(pieces == whole);
  return 0;
}
